#include "host/Problem.h"

#include <array>
#include <utility>

namespace vesk::host {

namespace {

constexpr auto kProblemNames = std::to_array<std::string_view>({
    "bad_hex",
    "bad_dump",
    "bad_recording",
    "length_mismatch",
    "too_long",
    "empty_report",
    "short_report",
    "refused_length",
    "unknown_report",
    "truncated_capture",
    "failed_request",
    "unanswered_request",
    "mismatched_reply",
    "decoder_failed",
    "lost_reports",
    "device_lost",
    "unsupported_input",
    "unreadable_input",
});
static_assert(kProblemNames.size() == kProblemCodes);

}  // namespace

std::string_view nameOf(ProblemCode code) { return kProblemNames[static_cast<std::size_t>(code)]; }

Problem problemAt(const Place& place, ProblemCode code, std::string message) {
  Problem problem;
  problem.code = code;
  problem.message = std::move(message);
  problem.place = place;
  return problem;
}

std::optional<Problem> checkSize(const Place& place, std::size_t size) {
  if (size == 0) return problemAt(place, ProblemCode::EmptyReport, "a report of no bytes");
  if (size <= kLongestReport) return std::nullopt;
  Problem problem = problemAt(
      place,
      ProblemCode::TooLong,
      countedBytes(size) + ", and no report is longer than " + std::to_string(kLongestReport));
  problem.expected = kLongestReport;
  problem.got = size;
  return problem;
}

Problem problemWith(const Report& report, ProblemCode code, std::string_view complaint) {
  Problem problem = problemAt(
      report.place, code, describe(report.id(), report.type).append(": ").append(complaint));
  problem.microseconds = report.microseconds;
  problem.reportId = report.id();
  problem.reportType = report.type;
  problem.sender = report.sender;
  problem.device = report.device;
  return problem;
}

}  // namespace vesk::host
