#include "host/outputs/Output.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>

namespace vesk::host {

namespace {

std::size_t longestBuffer(const KnownReports& known) {
  std::size_t longest = kLongestReport;
  for (const ReportInfo& info : known.all()) longest = std::max(longest, info.smallest);
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
std::optional<Problem> checkLength(const Report& report, const ReportInfo& info) {
  const std::size_t length = report.bytes.size();
  const bool tooShort = length < info.smallest;
  if (!tooShort && !(info.exactLength && length != info.smallest)) return std::nullopt;
  Problem problem = problemWith(report,
                                tooShort ? ProblemCode::ShortReport : ProblemCode::RefusedLength,
                                countedBytes(length) + ", its layout needs " +
                                    (tooShort ? "" : "exactly ") + std::to_string(info.smallest));
  problem.expected = info.smallest;
  problem.got = length;
  return problem;
}

/// Decoders name their report, and so do problems: once is enough.
Problem decoderFailed(const Report& report, std::string_view complaint) {
  const std::string named = describe(report.id(), std::nullopt) + ": ";
  if (complaint.starts_with(named)) complaint.remove_prefix(named.size());
  return problemWith(
      report, ProblemCode::DecoderFailed, std::string("its decoder failed: ").append(complaint));
}

}  // namespace

std::optional<Problem> Output::write(const Report& report, const ReportInfo* info) {
  auto problem = tryToWrite(report, info);
  if (problem) write(*problem);
  return problem;
}

void Output::writeToDevice(const Report& report, const ReportInfo* info) {
  if (tellsDirection()) tryToWrite(report, info);
}

DecodingOutput::DecodingOutput(const OutputContext& context)
    : _plugin(context.plugin), _buffer(longestBuffer(context.known) + 1) {}

std::optional<Problem> DecodingOutput::tryToWrite(const Report& report, const ReportInfo* info) {
  if (info == nullptr) return unknownReport(report);
  if (auto problem = checkLength(report, *info)) return problem;
  copy(report.bytes);
  try {
    writeChecked(report, *info);
    return std::nullopt;
  } catch (const DecoderFault& fault) {
    return decoderFailed(report, fault.what());
  }
}

/// Text reports run to their NUL, and a capture may have lost it: the copy always has one.
void DecodingOutput::copy(std::span<const std::uint8_t> bytes) {
  std::memcpy(_buffer.data(), bytes.data(), bytes.size());
  _buffer[bytes.size()] = 0;
  _report = {_buffer.data(), bytes.size()};
}

Decoded DecodingOutput::decode(const ReportInfo& info, Plugin::Mode mode) {
  return _plugin.decode(_report, info, mode);
}

Decoded DecodingOutput::decodeLines(const ReportInfo& info) {
  Decoded lines = decode(info, Plugin::Mode::Text);
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
