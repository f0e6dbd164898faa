#include "host/Report.h"

#include <array>
#include <cstdio>
#include <utility>

namespace vesk::host {

namespace {

constexpr std::array<std::string_view, 3> kTypeNames = {"input", "output", "feature"};

constexpr std::array<std::string_view, kProblemCodes> kProblemNames = {
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
    "unsupported_input",
    "unreadable_input",
};

}  // namespace

std::string_view nameOf(ReportType type) { return kTypeNames[static_cast<std::size_t>(type)]; }

std::optional<ReportType> reportTypeNamed(std::string_view name) {
  for (std::size_t i = 0; i < kTypeNames.size(); ++i)
    if (kTypeNames[i] == name) return static_cast<ReportType>(i);
  return std::nullopt;
}

std::string describe(std::string_view file, const Place& place) {
  std::string text(file);
  switch (place.unit) {
    case Place::Unit::File:
      return text;
    case Place::Unit::Line:
      text += ':';
      break;
    case Place::Unit::Packet:
      text += ": packet ";
      break;
    case Place::Unit::Offset:
      text += ": byte ";
      break;
  }
  return text + std::to_string(place.number);
}

std::string describe(std::uint32_t id, std::optional<ReportType> type) {
  std::array<char, 24> name;
  std::snprintf(name.data(), name.size(), "report 0x%02X", id);
  std::string text = name.data();
  if (type) text.append(" (").append(nameOf(*type)).append(")");
  return text;
}

std::string countedBytes(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

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
  return problem;
}

}  // namespace vesk::host
