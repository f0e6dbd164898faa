/// JUnit's XML, as CI servers read it: a suite a panel, a test case a test.
#pragma once

#include <cstddef>
#include <string>

#include "host/outputs/VerdictOutput.h"

namespace vesk::host {

class JunitOutput final : public VerdictOutput {
 public:
  explicit JunitOutput(const OutputContext& context)
      : VerdictOutput(context), _sink(context.sink) {}

  bool writeVerdict(const Verdict& verdict) override;
  void finish() override;

 private:
  void addSuite(const Verdict& verdict, const PanelResults& panel);

  Sink& _sink;
  std::string _title;
  std::string _suites;  // kept to the end: their sums stand before them
  std::size_t _tests = 0;
  std::size_t _failures = 0;
  std::size_t _skipped = 0;
};

}  // namespace vesk::host
