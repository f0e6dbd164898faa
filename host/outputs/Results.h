/// Test results as CSV: a header line and a row a test, for a plant's database.
#pragma once

#include "host/outputs/VerdictOutput.h"

namespace vesk::host {

class ResultsOutput final : public VerdictOutput {
 public:
  explicit ResultsOutput(const OutputContext& context);

  bool writeVerdict(const Verdict& verdict) override;

 private:
  Sink& _sink;
};

}  // namespace vesk::host
