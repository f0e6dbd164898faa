/// What a run has seen: reports by kind, problems by code, and frames that got lost on the way.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnownReports.h"
#include "host/Problem.h"
#include "host/Report.h"

namespace vesk::host {

class Statistics {
 public:
  /// Counts what `known` numbers; it must outlive the counts.
  explicit Statistics(const KnownReports& known);

  /// Counters start afresh with each file.
  void beginFile(std::string_view name);

  void count(const Report& report, const ReportInfo* info);
  void countToDevice() { ++_toDevice; }
  void count(ProblemCode code) { ++_problems[static_cast<std::size_t>(code)]; }

  struct KindCount {
    std::uint32_t id;
    ReportType type;
    const ReportInfo* info;  // null if no decoder knows it
    std::uint64_t reports;
  };

  /// A place where a counter in the reports jumped.
  struct Gap {
    std::string before;  // the place of the first report after the gap
    std::uint32_t first;
    std::uint32_t last;
  };

  /// What a counter says about reports that are missing.
  struct Losses {
    std::string_view counter;  // "FRAME_NUMBER"; lives as long as the known reports
    std::uint64_t lost = 0;
    std::uint64_t gapCount = 0;
    std::vector<Gap> gaps;  // the first ones
  };

  const std::vector<KindCount>& kinds() const { return _kinds; }
  std::uint64_t problems(ProblemCode code) const {
    return _problems[static_cast<std::size_t>(code)];
  }
  std::vector<Losses> losses() const;
  std::uint64_t reports() const { return _reports; }

  /// What hosts sent, which counts nowhere else.
  std::uint64_t toDevice() const { return _toDevice; }

  /// All of it as a table for people.
  std::string table() const;

 private:
  struct Counter {
    const ReportInfo* info;  // of the stream's reports
    bool occurred = false;
    Losses losses;
    std::optional<std::uint32_t> previous;
  };

  KindCount& entryFor(const Report& report, const ReportInfo* info);
  void follow(Counter& counter, std::uint32_t number, const Place& place);

  std::string _file;
  std::uint64_t _reports = 0;
  std::uint64_t _toDevice = 0;
  std::vector<KindCount> _kinds;  // in the order in which they came
  std::size_t _latest = 0;        // index of the kind that came last, which mostly comes again
  std::array<std::uint64_t, kProblemCodes> _problems{};
  std::vector<Counter> _counters;  // in the order of the known reports
};

}  // namespace vesk::host
