/// Recordings of a HID device's reports, in the text form of hid-recorder:
///
///     # a comment
///     D: 0
///     R: 3 06 00 ff
///     N: name of the device
///     P: where it is plugged in
///     I: 3 1209 0001
///     E: 000012.345678 2 de 01
///     F: 000012.400000 2 de 01
///
/// E: is an input report, its ID first. That form has no line for other reports; F: is a feature
/// report and O: an output report, with the same fields, and other readers pass them over.
#pragma once

#include <vector>

#include "host/inputs/Input.h"

namespace vesk::host {

class Recording final : public Input {
 public:
  Recording(Bytes& bytes, const InputContext& /*context*/) : _lines(bytes) {}
  Item next() override;

  /// Whether a text begins as recordings do.
  static bool begins(const TextHead& head, const KnownReports& known);

 private:
  Item parseReport(const LineReader::Line& line, ReportType type);
  std::optional<Problem> keepForPreamble(const LineReader::Line& line);

  LineReader _lines;
  std::vector<std::uint8_t> _bytes;  // the report handed out last
  std::string _preamble;             // lines on the device since the last report
  bool _preambleUsed = false;        // it went out with the last report
};

}  // namespace vesk::host
