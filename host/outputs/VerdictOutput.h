/// What the forms that show what limits say have in common.
#pragma once

#include "host/limits/Verdict.h"
#include "host/outputs/Output.h"

namespace vesk::host {

/// Of the reports nothing is written, but all of them are decoded: that one can't be is told. A
/// report without an object may still fail as lines, as it does in every other form.
class VerdictOutput : public DecodingOutput {
 public:
  using DecodingOutput::DecodingOutput;

 private:
  void writeChecked(const Report& /*report*/, const ReportInfo& info) final {
    if (decode(info, Plugin::Mode::Object).form() == VESK_NIL) decodeLines(info);
  }
};

}  // namespace vesk::host
