/// Recordings: any input written as the inputs/Recording form reads it.
#pragma once

#include "host/outputs/Output.h"

namespace vesk::host {

/// Converts without decoding: reports that no decoder knows, or that are too short for theirs,
/// pass.
class RecordingOutput final : public Output {
 public:
  RecordingOutput(const ReportTable& table, Sink& sink) : _table(table), _sink(sink) {}

  std::optional<Problem> write(const Report& report, const ReportKind* kind) override;

 private:
  void writePreamble(std::string_view preamble);

  const ReportTable& _table;
  Sink& _sink;
  bool _preambleWritten = false;
};

}  // namespace vesk::host
