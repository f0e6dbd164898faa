#include "host/outputs/Output.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace vesk::host {

namespace {

std::size_t longestBuffer(const ReportTable& table) {
  std::size_t longest = kLongestReport;
  for (const ReportKind& kind : table.kinds()) longest = std::max(longest, kind.smallest);
  return longest;
}

Problem unknownReport(const Report& report) {
  std::string complaint = "unknown; --list-reports shows the known ones";
  if (report.sender)
    complaint += "; it came from device " + std::to_string(report.sender->bus) + ":" +
                 std::to_string(report.sender->device) + ", and --device BUS:DEV chooses one";
  return problemWith(report, ProblemCode::UnknownReport, complaint);
}

/// What is wrong with a report's length, if anything.
std::optional<Problem> checkLength(const Report& report, const ReportKind& kind) {
  const std::size_t length = report.bytes.size();
  const bool tooShort = length < kind.smallest;
  if (!tooShort && !(kind.exactLength && length != kind.smallest)) return std::nullopt;
  Problem problem = problemWith(report,
                                tooShort ? ProblemCode::ShortReport : ProblemCode::RefusedLength,
                                countedBytes(length) + ", its layout needs " +
                                    (tooShort ? "" : "exactly ") + std::to_string(kind.smallest));
  problem.expected = kind.smallest;
  problem.got = length;
  return problem;
}

}  // namespace

DecodingOutput::DecodingOutput(Plugin& plugin, const ReportTable& table)
    : _plugin(plugin), _buffer(longestBuffer(table) + 1) {}

std::optional<Problem> DecodingOutput::write(const Report& report, const ReportKind* kind) {
  if (kind == nullptr) return unknownReport(report);
  if (auto problem = checkLength(report, *kind)) return problem;
  copy(report.bytes);
  try {
    writeChecked(report, *kind);
    return std::nullopt;
  } catch (const DecoderFault& fault) {
    return problemWith(
        report, ProblemCode::DecoderFailed, std::string("its decoder failed: ") + fault.what());
  }
}

/// Text reports run to their NUL, and a capture may have lost it: the copy always has one.
void DecodingOutput::copy(std::span<const std::uint8_t> bytes) {
  std::memcpy(_buffer.data(), bytes.data(), bytes.size());
  _buffer[bytes.size()] = 0;
  _report = {_buffer.data(), bytes.size()};
}

Result DecodingOutput::decode(const ReportKind& kind, Plugin::Mode mode) {
  return _plugin.decode(_report, kind, mode);
}

Result DecodingOutput::decodeLines(const ReportKind& kind) {
  Result lines = decode(kind, Plugin::Mode::Text);
  if (lines.form() != VESK_LINES) throw DecoderFault("it gives no lines");
  return lines;
}

std::string secondsText(std::int64_t microseconds) {
  const bool negative = microseconds < 0;
  const std::uint64_t magnitude = negative ? 0 - static_cast<std::uint64_t>(microseconds)
                                           : static_cast<std::uint64_t>(microseconds);
  std::array<char, 32> text;
  std::snprintf(text.data(),
                text.size(),
                "%s%" PRIu64 ".%06" PRIu64,
                negative ? "-" : "",
                magnitude / 1000000,
                magnitude % 1000000);
  return text.data();
}

}  // namespace vesk::host
