#include "host/inputs/HexText.h"

#include <utility>

#include "host/inputs/Hex.h"

namespace vesk::host {

namespace {

bool appendTidied(std::string_view text, std::vector<std::uint8_t>& bytes) {
  const std::string tidy = tidied(text);
  return !tidy.empty() && !appendHex(tidy, bytes);
}

}  // namespace

RowInput::Next HexText::nextRow() {
  while (const auto line = _lines.next()) {
    if (line->tooLong && !line->text.starts_with('#'))
      return problemAt({Place::Unit::Line, line->number},
                       ProblemCode::TooLong,
                       "the line is longer than any report; reports are lines of hex digits");
    const std::string_view text = trim(line->text.substr(0, line->text.find('#')));
    if (!text.empty()) return parse(*line, text);
    _apart = true;
  }
  return End{};
}

RowInput::Next HexText::parse(const LineReader::Line& line, std::string_view text) {
  Row row;
  row.bytes = spare();
  row.line = line.number;
  row.apart = std::exchange(_apart, false);
  std::string_view rest = text;
  row.type = typeWord(takeWord(rest));
  if (row.type) {
    text = rest;
    row.apart = true;
  }
  const Place place = {Place::Unit::Line, line.number};
  if (const auto complaint = appendHex(text, row.bytes)) {
    row.bytes.clear();
    if (!appendTidied(text, row.bytes))
      return problemAt(place, ProblemCode::BadHex, "bad hex: " + *complaint);
  }
  if (auto problem = checkSize(place, row.bytes.size())) return *problem;
  return row;
}

bool HexText::begins(const TextHead& head, const KnownReports& /*known*/) {
  std::string_view text = trim(head.line.substr(0, head.line.find('#')));
  std::string_view rest = text;
  if (typeWord(takeWord(rest))) text = rest;
  std::vector<std::uint8_t> bytes;
  if (!appendHex(text, bytes)) return true;
  bytes.clear();
  return appendTidied(text, bytes);
}

}  // namespace vesk::host
