/// Recordings: any input written as the inputs/Recording form reads it.
#pragma once

#include "host/outputs/Output.h"

namespace vesk::host {

/// Converts without decoding: reports that no decoder knows, or that are too short for theirs,
/// pass.
class RecordingOutput final : public Output {
 public:
  explicit RecordingOutput(const OutputContext& context)
      : _known(context.known), _sink(context.sink) {}

 private:
  std::optional<Problem> tryToWrite(const Report& report, const ReportInfo* info) override;
  void writePreamble(std::string_view preamble);

  const KnownReports& _known;
  Sink& _sink;
  bool _preambleWritten = false;
};

}  // namespace vesk::host
