#include "host/inputs/HexText.h"

#include "host/inputs/Hex.h"

namespace vesk::host {

Item HexText::next() {
  while (const auto line = _lines.next()) {
    if (line->tooLong && !line->text.starts_with('#'))
      return problemAt({Place::Unit::Line, line->number},
                       ProblemCode::TooLong,
                       "the line is longer than any report; reports are lines of hex digits");
    const std::string_view text = trim(line->text.substr(0, line->text.find('#')));
    if (!text.empty()) return parse(*line, text);
  }
  return End{};
}

Item HexText::parse(const LineReader::Line& line, std::string_view text) {
  Report report;
  report.place = {Place::Unit::Line, line.number};
  std::string_view rest = text;
  report.type = reportTypeNamed(takeWord(rest));
  if (report.type) text = rest;

  _bytes.clear();
  if (const auto complaint = appendHex(text, _bytes))
    return problemAt(report.place, ProblemCode::BadHex, "bad hex: " + *complaint);
  if (auto problem = checkSize(report.place, _bytes.size())) return *problem;
  report.bytes = _bytes;
  return report;
}

}  // namespace vesk::host
