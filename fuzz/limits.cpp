// Files of limits: whatever they hold, they are refused with a place and a reason, or become limits
// that say the same each time, and that a report can be tested by.

#include <exception>
#include <string>
#include <vector>

#include "fuzz/Given.h"
#include "fuzz/known.h"
#include "host/limits/LimitTests.h"
#include "host/limits/Limits.h"
#include "host/writing/Sink.h"

namespace vesk::fuzz {
namespace {

using host::LimitResult;

host::Plugin& plugin() {
  static host::Plugin made(library(), {});
  return made;
}

/// Two reports of a kind that has limits: one is all zero, the other one as it is given.
std::vector<std::vector<std::uint8_t>> reportsOf(const host::ReportInfo& info,
                                                 std::string_view given) {
  std::vector<std::vector<std::uint8_t>> reports;
  for (const std::string_view content : {std::string_view(), given}) {
    auto& report = reports.emplace_back(info.smallest);
    report[0] = static_cast<std::uint8_t>(info.id);
    for (std::size_t i = 1; i < report.size() && i <= content.size(); ++i)
      report[i] = static_cast<std::uint8_t>(content[i - 1]);
  }
  return reports;
}

void check(const host::Verdict& verdict) {
  demand(verdict.panels.size() == 1, "one sender is one panel");
  for (const LimitResult& result : verdict.panels.front().tests) {
    using enum LimitResult::Outcome;
    demand(!result.test.empty(), "a test has a name");
    demand((result.outcome == Passed) == result.complaint.empty(), "what didn't pass says why");
    demand((result.failures != 0) == result.place.has_value(), "a failure has a place");
    demand(result.failures <= result.reports, "no more reports fail than come");
    if (!result.report.empty() && result.outcome == Passed)
      demand(result.reports != 0, "what passed was measured");
  }
  demand(!verdict.passed() || verdict.count(LimitResult::Outcome::Passed) > 1,
         "a file that passed kept a limit");
}

/// A pattern in which what repeats is repeated may take for ever, and whoever writes one has to wait.
bool mayTakeForEver(std::string_view text) {
  for (const std::string_view repeat : {")*", ")+", "){"})
    if (text.find(repeat) != std::string_view::npos) return true;
  return false;
}

void run(std::string_view text) {
  if (mayTakeForEver(text)) return;
  host::Limits limits;
  try {
    limits = host::parseLimits(text, "limits.json", known(), plugin());
  } catch (const host::LimitsFault& fault) {
    demand(fault.place().starts_with("limits.json"), "the file is named");
    demand(*fault.what() != '\0', "a refusal says why");
    return;
  }
  demand(!limits.reports.empty(), "limits are for reports");
  host::Collector sink;
  host::LimitTests tests({plugin(), known(), sink}, limits);
  tests.beginFile("a");
  check(tests.endFile({}));
  for (int time = 0; time < 2; ++time) {  // a file has nothing of the one before it
    tests.beginFile("b");
    for (const host::ReportLimits& each : limits.reports) {
      demand(!each.keys.empty(), "a report that has limits has some");
      for (const auto& bytes : reportsOf(*each.info, text)) {
        host::Report report;
        report.bytes = bytes;
        report.type = each.info->type;
        tests.write(report, each.info);
      }
    }
    check(tests.endFile({}));
  }
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::run({reinterpret_cast<const char*>(data), size});
  return 0;
}
