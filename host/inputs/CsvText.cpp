#include "host/inputs/CsvText.h"

#include <algorithm>
#include <array>
#include <string>

#include "host/inputs/Hex.h"
#include "host/inputs/Times.h"

namespace vesk::host {

namespace {

constexpr auto kDataNames = std::to_array<std::string_view>(
    {"data", "hex", "bytes", "payload", "report", "raw", "miso", "value"});
constexpr auto kTimeNames =
    std::to_array<std::string_view>({"time", "timestamp", "start_time", "start time", "start"});

std::vector<std::string> fieldsOf(std::string_view line, char separator) {
  std::vector<std::string> fields(1);
  bool quoted = false;
  for (const char character : line) {
    if (character == '"')
      quoted = !quoted;
    else if (character == separator && !quoted)
      fields.emplace_back();
    else
      fields.back() += character;
  }
  return fields;
}

/// "Time [s]" is "time" with the unit "s".
struct Name {
  std::string text;
  std::string unit;
};

Name nameOf(std::string_view field) {
  Name name;
  const std::size_t begin = field.find_first_of("[(");
  for (const char character : trim(field.substr(0, begin)))
    name.text +=
        character >= 'A' && character <= 'Z' ? static_cast<char>(character | 0x20) : character;
  if (begin != std::string_view::npos)
    name.unit = field.substr(begin + 1, field.find_first_of("])", begin) - begin - 1);
  return name;
}

/// Seconds with more decimals than a microsecond has lose those.
std::optional<std::int64_t> timeFrom(std::string_view seconds) {
  constexpr std::size_t kDecimals = 6;
  const std::size_t point = seconds.find('.');
  if (point == std::string_view::npos) return microsecondsFrom(seconds);
  const std::string_view rest = seconds.substr(std::min(point + 1 + kDecimals, seconds.size()));
  if (rest.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;
  return microsecondsFrom(seconds.substr(0, point + 1 + kDecimals));
}

}  // namespace

std::optional<CsvText::Columns> CsvText::columnsOf(std::string_view names) {
  for (const char separator : {',', ';', '\t'}) {
    const auto fields = fieldsOf(names, separator);
    if (fields.size() < 2) continue;
    Columns columns{separator, fields.size(), {}};
    std::size_t best = kDataNames.size();
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const Name name = nameOf(fields[i]);
      const auto rank =
          static_cast<std::size_t>(std::ranges::find(kDataNames, name.text) - kDataNames.begin());
      if (rank < best) {
        best = rank;
        columns.data = i;
      }
      const bool isTime = std::ranges::find(kTimeNames, name.text) != kTimeNames.end();
      if (isTime && !columns.seconds && (name.unit.empty() || name.unit == "s"))
        columns.seconds = i;
    }
    if (columns.data < fields.size()) return columns;
  }
  return std::nullopt;
}

RowInput::Next CsvText::nextRow() {
  while (const auto line = _ended ? std::nullopt : _lines.next()) {
    const std::string_view text = trim(line->text);
    if (text.empty() || text.starts_with('#')) continue;
    const Place place = {Place::Unit::Line, line->number};
    if (line->tooLong) return problemAt(place, ProblemCode::TooLong, "the line is too long");
    if (!_columns) {
      _columns = columnsOf(text);
      if (_columns) continue;
      _ended = true;
      return problemAt(place,
                       ProblemCode::UnsupportedInput,
                       "the first line of a table names its columns, and none is named data, hex, "
                       "bytes, payload, report, raw, miso or value");
    }
    const auto fields = fieldsOf(text, _columns->separator);
    if (fields.size() <= _columns->data) continue;
    const std::string& data = fields[_columns->data];
    if (trim(data).empty()) continue;  // an event without data
    Row row;
    row.line = line->number;
    row.apart = row.exact = true;
    if (_columns->seconds && *_columns->seconds < fields.size())
      row.microseconds = timeFrom(trim(fields[*_columns->seconds]));
    if (const auto complaint = appendHex(tidied(data), row.bytes))
      return problemAt(place, ProblemCode::BadHex, "bad hex: " + *complaint);
    if (auto problem = checkSize(place, row.bytes.size())) return *std::move(problem);
    return row;
  }
  return End{};
}

bool CsvText::begins(const TextHead& head, const KnownReports& /*known*/) {
  std::vector<std::uint8_t> bytes;
  return appendHex(head.line, bytes) && !head.line.starts_with("source,") &&
         columnsOf(head.line).has_value();
}

}  // namespace vesk::host
