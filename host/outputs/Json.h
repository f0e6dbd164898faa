/// JSON: one record for each report and each problem, a line each or in one array.
#pragma once

#include <map>
#include <memory>

#include "host/outputs/Output.h"

namespace vesk::host {

class JsonRecord;

class JsonOutput : public DecodingOutput {
 public:
  enum class Framing : std::uint8_t { Lines, Array };

  JsonOutput(const OutputContext& context, Framing framing);
  ~JsonOutput() override;

  void beginFile(std::string_view name) override;
  using DecodingOutput::write;
  void write(const Problem& problem) override;
  bool writeStatistics(const Statistics& statistics) override;
  void finish() override;

 protected:
  bool tellsDirection() const override { return true; }
  void writeChecked(const Report& report, const ReportInfo& info) override;

  /// The record at hand, with what records on this report begin with.
  JsonRecord& beginReport(const Report& report, const ReportInfo& info);
  void endRecord();

 private:
  template <class Found>
  void beginRecord(const Found& found);
  const std::string& membersOf(const ReportInfo& info);

  Sink& _sink;
  Framing _framing;
  bool _withLines;
  bool _first = true;
  std::unique_ptr<JsonRecord> _record;  // complete before any of it is written

  // Most of what stands around a value is the same for all records of a file, or of a kind of
  // report.
  std::string _fileMembers;
  std::map<const ReportInfo*, std::string> _kindMembers;
};

}  // namespace vesk::host
