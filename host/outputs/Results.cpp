#include "host/outputs/Results.h"

#include <initializer_list>
#include <string>
#include <string_view>

#include "host/writing/CsvField.h"

namespace vesk::host {

namespace {

std::string_view nameOf(LimitResult::Outcome outcome) {
  switch (outcome) {
    case LimitResult::Outcome::Passed:
      return "PASS";
    case LimitResult::Outcome::Skipped:
      return "SKIP";
    default:
      return "FAIL";
  }
}

}  // namespace

ResultsOutput::ResultsOutput(const OutputContext& context)
    : VerdictOutput(context), _sink(context.sink) {
  _sink.append("file,serial,report,test,value,low,high,unit,result\n");
}

bool ResultsOutput::writeVerdict(const Verdict& verdict) {
  for (const PanelResults& panel : verdict.panels) {
    for (const LimitResult& result : panel.tests) {
      std::string row;
      appendCsvField(row, verdict.nameOf(panel));
      const std::initializer_list<std::string_view> fields = {panel.serial,
                                                              result.report,
                                                              result.test,
                                                              result.value,
                                                              result.low,
                                                              result.high,
                                                              result.unit,
                                                              nameOf(result.outcome)};
      for (const std::string_view field : fields) {
        row += ',';
        appendCsvField(row, field);
      }
      _sink.append(row + "\n");
    }
  }
  return true;
}

}  // namespace vesk::host
