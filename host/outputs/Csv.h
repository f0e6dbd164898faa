/// CSV: a header line and one row a report, for spreadsheets and data frames.
///
/// A table has one set of columns, so one run writes the reports of one decoder: that of the first
/// report that decodes. Others are left out, and told at the end; --report chooses.
#pragma once

#include <map>

#include "host/outputs/Output.h"

namespace vesk::host {

class CsvOutput final : public DecodingOutput {
 public:
  explicit CsvOutput(const OutputContext& context) : DecodingOutput(context), _sink(context.sink) {}

  void beginFile(std::string_view name) override { _file = name; }
  std::string leftOut() const override;

 private:
  class Row;

  void writeChecked(const Report& report, const ReportInfo& info) override;

  Sink& _sink;
  std::string _file;
  std::string _decoder;                             // of the table; empty until there is one
  std::map<std::uint32_t, std::uint64_t> _leftOut;  // reports by ID
};

}  // namespace vesk::host
