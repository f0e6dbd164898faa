#include "host/outputs/Recording.h"

#include <algorithm>
#include <array>

namespace vesk::host {

namespace {

constexpr std::size_t kTextReportRoom = 255;  // a version text has no length of its own

void appendHexByte(std::string& text, std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  text += ' ';
  text += kDigits[byte >> 4];
  text += kDigits[byte & 0xF];
}

/// A report descriptor that declares what the tables know as vendor-defined bytes: with it, others
/// that read recordings learn how long each report is.
std::vector<std::uint8_t> reportDescriptor(const KnownReports& known) {
  // Usage page 0xFF00, usage 1, application collection, logical 0 to 255, size 8 bits.
  std::vector<std::uint8_t> bytes = {
      0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08};
  for (const ReportInfo& info : known.all()) {
    const std::size_t count = info.nulTerminated ? kTextReportRoom : info.smallest - 1;
    const auto id = static_cast<std::uint8_t>(info.id);
    const std::uint8_t mainItem = info.type == ReportType::Feature ? 0xB1 : 0x81;
    // Report ID, usage, 16-bit count, and the item itself: data, variable, absolute.
    for (const std::size_t byte : {std::size_t{0x85},
                                   std::size_t{id},
                                   std::size_t{0x09},
                                   std::size_t{id},
                                   std::size_t{0x96},
                                   count & 0xFF,
                                   count >> 8,
                                   std::size_t{mainItem},
                                   std::size_t{0x02}})
      bytes.push_back(static_cast<std::uint8_t>(byte));
  }
  bytes.push_back(0xC0);
  return bytes;
}

/// The lines on the device, where the input had none.
std::string ownPreamble(const KnownReports& known) {
  const std::vector<std::uint8_t> descriptor = reportDescriptor(known);
  std::string text = "D: 0\nR: " + std::to_string(descriptor.size());
  for (const std::uint8_t byte : descriptor) appendHexByte(text, byte);
  return text + "\nN: Vesk controller\nP: vesk-decode\nI: 3 0000 0000\n";
}

constexpr char prefixOf(ReportType type) {
  constexpr std::string_view kPrefixes = "EOF";  // input (event), output, feature
  return kPrefixes[static_cast<std::size_t>(type)];
}

/// Seconds in at least six digits, as recordings have them.
std::string paddedSeconds(std::int64_t microseconds) {
  std::string text = secondsText(std::max<std::int64_t>(microseconds, 0));
  constexpr std::size_t kDigits = 13;
  return std::string(kDigits - std::min(kDigits, text.size()), '0') + text;
}

}  // namespace

std::optional<Problem> RecordingOutput::tryToWrite(const Report& report,
                                                   const ReportInfo* /*info*/) {
  if (!report.type)
    return problemWith(
        report,
        ProblemCode::UnknownReport,
        "unknown, and nothing says which type it has; write feature, input or output "
        "before its bytes");
  writePreamble(report.preamble);
  std::string line;
  line.reserve(64 + 3 * report.bytes.size());
  line += prefixOf(*report.type);
  line += ": " + paddedSeconds(report.microseconds.value_or(0)) + ' ' +
          std::to_string(report.bytes.size());
  for (const std::uint8_t byte : report.bytes) appendHexByte(line, byte);
  line += '\n';
  _sink.append(line);
  return std::nullopt;
}

void RecordingOutput::writePreamble(std::string_view preamble) {
  if (!preamble.empty())
    _sink.append(preamble);
  else if (!_preambleWritten)
    _sink.append(ownPreamble(_known));
  _preambleWritten = true;
}

}  // namespace vesk::host
