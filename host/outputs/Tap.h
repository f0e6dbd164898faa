/// TAP, the Test Anything Protocol, version 14: a line a test, and what is wrong below those that
/// failed.
#pragma once

#include <cstddef>

#include "host/outputs/VerdictOutput.h"

namespace vesk::host {

class TapOutput final : public VerdictOutput {
 public:
  explicit TapOutput(const OutputContext& context);

  bool writeVerdict(const Verdict& verdict) override;
  void finish() override;

 private:
  void writeDiagnostics(const PanelResults& panel, const LimitResult& result,
                        const std::string& file);

  Sink& _sink;
  std::size_t _tests = 0;
};

}  // namespace vesk::host
