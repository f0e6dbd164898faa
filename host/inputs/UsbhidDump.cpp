#include "host/inputs/UsbhidDump.h"

#include <utility>

#include "host/inputs/Hex.h"
#include "host/inputs/Times.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

struct Head {
  UsbSelection::Device device;
  bool isStream;
  std::optional<std::int64_t> microseconds;
};

/// "001:005:000:STREAM 1700000000.066668"
std::optional<Head> headOf(std::string_view line) {
  constexpr std::size_t kNumbers = 12;  // "001:005:000:"
  const std::string_view numbers = takeWord(line);
  if (numbers.size() <= kNumbers || numbers[3] != ':' || numbers[7] != ':' || numbers[11] != ':')
    return std::nullopt;
  const auto bus = parseNumber<std::uint16_t>(numbers.substr(0, 3));
  const auto device = parseNumber<std::uint16_t>(numbers.substr(4, 3));
  const auto interface = parseNumber<std::uint16_t>(numbers.substr(8, 3));
  const std::string_view kind = numbers.substr(kNumbers);
  if (!bus || !device || !interface || (kind != "STREAM" && kind != "DESCRIPTOR"))
    return std::nullopt;
  return Head{{*bus, *device}, kind == "STREAM", microsecondsFrom(takeWord(line))};
}

}  // namespace

RowInput::Next UsbhidDump::nextRow() {
  while (const auto line = _lines.next()) {
    const std::string_view text = trim(line->text);
    std::optional<Row> done;
    if (const auto head = headOf(text)) {
      done = std::exchange(_row, std::nullopt);
      const bool chosen = !_device || (_device->bus == head->device.bus &&
                                       _device->address == head->device.address);
      _passOver = !head->isStream || !chosen;
      if (!_passOver) {
        _row.emplace();
        _row->line = line->number;
        _row->type = ReportType::Input;
        _row->microseconds = head->microseconds;
        _row->apart = _row->whole = true;
      }
    } else if (text.empty()) {
      done = std::exchange(_row, std::nullopt);
    } else if (_row) {
      const auto complaint = appendHex(text, _row->bytes);
      const bool tooLong = _row->bytes.size() > kLongestReport;
      if (!complaint && !tooLong) continue;
      _row.reset();  // the rest of a report whose line is bad is none
      _passOver = true;
      const Place place = {Place::Unit::Line, line->number};
      return complaint ? problemAt(place, ProblemCode::BadHex, "bad hex: " + *complaint)
                       : problemAt(place, ProblemCode::TooLong, "more bytes than any report has");
    } else if (!_passOver) {
      _passOver = true;
      return problemAt({Place::Unit::Line, line->number},
                       ProblemCode::BadDump,
                       inQuotes(text) + " stands behind no head as \"001:005:000:STREAM\"");
    }
    if (done && !done->bytes.empty()) return *std::move(done);
  }
  if (auto last = std::exchange(_row, std::nullopt); last && !last->bytes.empty())
    return *std::move(last);
  return End{};
}

bool UsbhidDump::begins(const TextHead& head, const KnownReports& /*known*/) {
  return headOf(head.line).has_value();
}

}  // namespace vesk::host
