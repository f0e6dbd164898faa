#include "host/inputs/ArrayText.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/inputs/Hex.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

/// A line without its comments, of which the last may go on in the next line.
std::string withoutComments(std::string_view line, bool& inComment) {
  std::string text;
  while (!line.empty()) {
    if (inComment) {
      const std::size_t end = line.find("*/");
      if (end == std::string_view::npos) return text;
      line.remove_prefix(end + 2);
      inComment = false;
    }
    const std::size_t begin = std::min(line.find("//"), line.find("/*"));
    text += line.substr(0, begin);
    text += ' ';
    if (begin == std::string_view::npos || line[begin + 1] == '/') return text;
    line.remove_prefix(begin + 2);
    inComment = true;
  }
  return text;
}

}  // namespace

RowInput::Next ArrayText::nextRow() {
  for (;;) {
    while (_taken < _text.size())
      if (auto next = takeFrom(_line)) return *std::move(next);
    const auto line = _lines.next();
    if (!line) break;
    _line = line->number;
    if (line->tooLong)
      return problemAt({Place::Unit::Line, _line}, ProblemCode::TooLong, "the line is too long");
    _text = withoutComments(line->text, _inComment);
    _taken = 0;
  }
  const auto open = std::exchange(_row, std::nullopt);
  if (!open && !std::exchange(_found, true))
    return problemAt(
        {}, ProblemCode::UnsupportedInput, "taken for arrays in a program, and has none");
  if (!open) return End{};
  return problemAt({Place::Unit::Line, open->line},
                   ProblemCode::BadHex,
                   "the array that begins here has no end");
}

/// Takes the next element or brace off the line at hand. A report, or what is wrong, if it gives one.
std::optional<RowInput::Next> ArrayText::takeFrom(std::uint64_t line) {
  const std::string_view rest = std::string_view(_text).substr(_taken);
  const std::size_t end = std::min(rest.find_first_of("{},"), rest.size());
  const std::string_view element = trim(rest.substr(0, end));
  const char mark = end < rest.size() ? rest[end] : ' ';
  _taken += std::min(end + 1, rest.size());
  if (mark == '{') {  // what stands before it names the array
    _found = true;
    _row.emplace();
    _row->line = line;
    _row->apart = _row->exact = true;
    _bad = false;
    return std::nullopt;
  }
  if (!_row) return std::nullopt;
  auto problem = addElement(element, line);
  std::optional<Row> row;
  if (mark == '}') row = std::exchange(_row, std::nullopt);
  if (problem) return *std::move(problem);
  if (!row || _bad || row->bytes.empty()) return std::nullopt;
  return *std::move(row);
}

std::optional<Problem> ArrayText::addElement(std::string_view element, std::uint64_t line) {
  if (element.empty() || _bad) return std::nullopt;
  const auto value = parseDecimalOrHex<std::uint8_t>(element);
  const bool octal = element.size() > 1 && element[0] == '0' && (element[1] | 0x20) != 'x';
  const bool tooLong = _row->bytes.size() >= kLongestReport;
  _bad = !value || octal || tooLong;
  if (!_bad) {
    _row->bytes.push_back(*value);
    return std::nullopt;
  }
  const Place place = {Place::Unit::Line, line};
  if (tooLong) return problemAt(place, ProblemCode::TooLong, "more bytes than any report has");
  return problemAt(place,
                   ProblemCode::BadHex,
                   inQuotes(element) + " is no byte of an array, such as 0xDE or 222");
}

bool ArrayText::begins(const TextHead& head, const KnownReports& /*known*/) {
  // A line of "{0xDE, 0x01}," is digits, and many of them may follow it.
  constexpr auto kWords = std::to_array<std::string_view>(
      {"static", "const", "constexpr", "unsigned", "uint8_t", "u8", "char", "BYTE"});
  std::string_view line = head.line;
  if (line.starts_with("//") || line.starts_with("/*")) {
    const std::string_view rest = head.following;
    return rest.find('{') != std::string_view::npos;
  }
  if (line.starts_with('{')) return true;
  const std::string_view word = takeWord(line);
  return std::ranges::find(kWords, word) != kWords.end() &&
         line.find_first_of("[{=") != std::string_view::npos;
}

}  // namespace vesk::host
