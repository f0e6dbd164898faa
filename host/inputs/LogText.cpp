#include "host/inputs/LogText.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>

#include "host/inputs/Hex.h"
#include "host/inputs/Times.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

using namespace std::string_view_literals;

/// Words of logs behind which a report's bytes stand.
constexpr auto kReportWords = std::to_array<std::string_view>(
    {"received", "recv",   "rx",    "read",    "report", "data",    "got",
     "hid",      "raw",    "bytes", "buf",     "buffer", "payload", "packet",
     "response", "answer", "input", "feature", "output", "<-",      "<<"});

constexpr auto kMonths = std::to_array<std::string_view>(
    {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"});

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Whether a text has a pattern's shape, in which 9 stands for a digit.
bool hasShape(std::string_view text, std::string_view pattern) {
  return text.size() == pattern.size() &&
         std::ranges::equal(text, pattern, [](char character, char wanted) {
           return wanted == '9' ? isDigit(character) : character == wanted;
         });
}

bool isNumber(std::string_view text) { return !text.empty() && std::ranges::all_of(text, isDigit); }

/// "17:02:37", and what may follow it: a fraction and a zone.
bool isClock(std::string_view text) {
  if (!hasShape(text.substr(0, 8), "99:99:99") || text[0] > '2') return false;
  const std::string_view rest = text.substr(8);
  return rest.empty() || (rest.find_first_not_of("0123456789.,:+-Z") == std::string_view::npos &&
                          "., Z+-"sv.find(rest.front()) != std::string_view::npos);
}

bool isDate(std::string_view text) {
  if (hasShape(text, "9999-99-99") || hasShape(text, "9999/99/99")) return true;
  return (hasShape(text, "99-99") || hasShape(text, "99/99")) && text[0] <= '1';
}

bool isMoment(std::string_view text) {
  constexpr std::size_t kDate = 10;
  if (text.size() > kDate && (text[kDate] == 'T' || text[kDate] == '_'))
    return isDate(text.substr(0, kDate)) && isClock(text.substr(kDate + 1));
  return isDate(text) || isClock(text);
}

/// "12.345678", which no digits of a report look like.
bool isSeconds(std::string_view text) {
  const std::size_t point = text.find('.');
  return point != std::string_view::npos && isNumber(text.substr(0, point)) &&
         isNumber(text.substr(point + 1));
}

/// What stands before a line's own text.
struct Stamp {
  bool found = false;
  std::optional<std::int64_t> microseconds;
};

std::string_view firstWord(std::string_view text) { return takeWord(text); }

/// Takes the time, and what a log writes along with it, off the front of a line.
Stamp takeStamp(std::string_view& text) {
  Stamp stamp;
  for (;;) {
    text = trim(text);
    std::string_view rest = text;
    if (text.starts_with('<')) {  // a priority
      const std::size_t end = text.find('>');
      if (end == std::string_view::npos || !isNumber(text.substr(1, end - 1))) return stamp;
      text.remove_prefix(end + 1);
      continue;
    }
    if (text.starts_with('[')) {
      const std::size_t end = text.find(']');
      if (end == std::string_view::npos) return stamp;
      std::string_view inside = trim(text.substr(1, end - 1));
      const bool thread = stamp.found && inside.size() > 1 &&
                          (inside[0] == 'T' || inside[0] == 'C') && isNumber(inside.substr(1));
      const std::string_view first = firstWord(inside);
      const bool weekday = inside.size() > 20 && isNumber(inside.substr(inside.size() - 4));
      if (isSeconds(inside))
        stamp.microseconds = microsecondsFrom(inside);
      else if (!thread && !isMoment(first) && !weekday)
        return stamp;
      stamp.found = true;
      text.remove_prefix(end + 1);
      continue;
    }
    const std::string_view word = takeWord(rest);
    if (isSeconds(word) && !stamp.found) {
      stamp.microseconds = microsecondsFrom(word);
    } else if (std::ranges::find(kMonths, word) != kMonths.end()) {  // "Nov 21 17:02:37 host"
      const std::string_view day = takeWord(rest);
      const std::string_view clock = takeWord(rest);
      if (!isNumber(day) || !isClock(clock)) return stamp;
      takeWord(rest);
    } else if (!isMoment(word)) {
      return stamp;
    }
    stamp.found = true;
    text = rest;
  }
}

/// Takes "1234  1250 D" of Android's logs.
void takeThreads(std::string_view& text) {
  std::string_view rest = text;
  const std::string_view process = takeWord(rest);
  const std::string_view thread = takeWord(rest);
  const std::string_view level = takeWord(rest);
  if (isNumber(process) && isNumber(thread) && level.size() == 1 &&
      "VDIWEF"sv.find(level.front()) != std::string_view::npos)
    text = rest;
}

std::string lowercase(std::string_view text) {
  std::string lower(text);
  for (char& character : lower)
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character | 0x20);
  return lower;
}

std::string_view withoutEnd(std::string_view word) {
  while (!word.empty() && ":=>"sv.find(word.back()) != std::string_view::npos)
    word.remove_suffix(1);
  return word;
}

bool isReportWord(std::string_view word) {
  const std::string lower = lowercase(withoutEnd(word));
  return word == "<-" || word == "<<" ||
         std::ranges::find(kReportWords, std::string_view(lower)) != kReportWords.end();
}

/// A kernel's address in front of a row: "00000010:".
std::optional<std::uint64_t> addressOf(std::string_view word) {
  if (word.size() < 9 || word.size() > 17 || !word.ends_with(':')) return std::nullopt;
  return parseNumber<std::uint64_t>(word.substr(0, word.size() - 1), 16);
}

/// A number or a word of hex letters is no report; no report has one byte.
constexpr std::size_t kFewest = 2;

struct Found {
  enum class What : std::uint8_t { Nothing, Bytes, Words, Bad };
  What what = What::Nothing;
  Stamp stamp;
  bool named = false;  // a word says that a report follows
  std::optional<ReportType> type;
  std::optional<std::uint64_t> address;
  std::vector<std::uint8_t> bytes;
  std::string complaint;
};

/// The bytes of a row behind an address; the characters behind two blanks are none.
void readAddressed(std::string_view text, Found& found) {
  text = trim(text);
  text = text.substr(0, text.find("  "));
  found.what = Found::What::Bytes;
  while (!text.empty()) {
    const std::string_view word = takeWord(text);
    if (word.size() != 2) {
      found.what = Found::What::Words;
      return;
    }
    if (const auto complaint = appendHex(word, found.bytes)) {
      found.what = Found::What::Bad;
      found.complaint = *complaint;
      return;
    }
  }
  if (found.bytes.empty()) found.what = Found::What::Nothing;
}

/// Without the colours of a terminal.
std::string withoutColours(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t begin = text.find("\x1B[");
    result += text.substr(0, begin);
    if (begin == std::string_view::npos) break;
    const std::size_t end = text.find('m', begin);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return result;
}

Found find(std::string_view line) {
  Found found;
  const std::string plain =
      line.find('\x1B') == std::string_view::npos ? std::string() : withoutColours(line);
  std::string_view text = trim(plain.empty() ? line : plain);
  found.stamp = takeStamp(text);
  if (found.stamp.found) takeThreads(text);
  if (constexpr auto kKernel = "kernel:"sv; text.starts_with(kKernel)) {
    text.remove_prefix(kKernel.size());
    const Stamp own = takeStamp(text);
    if (own.microseconds) found.stamp.microseconds = own.microseconds;
  }

  // Words up to the last one that ends as names of what follows do.
  std::string_view rest = text;
  std::string_view tail = text;
  std::size_t names = 0;
  while (!rest.empty()) {
    const std::string_view word = takeWord(rest);
    if (const auto address = addressOf(word)) {
      found.address = address;
      readAddressed(rest, found);
      return found;
    }
    const auto type = typeWord(withoutEnd(word));
    if (!word.ends_with(':') && !word.ends_with('=') && !isReportWord(word) && !type) continue;
    if (std::ranges::all_of(withoutEnd(word),
                            [](char c) { return hexDigit(c) >= 0 || c == ':'; }) &&
        hexDigit(word.front()) >= 0 && withoutEnd(word).size() <= 2)
      break;  // "de:" begins digits that colons separate
    if (!withoutEnd(word).empty() || word == "<<") found.named = isReportWord(word);
    if (type) found.type = type;
    tail = rest;
    ++names;
  }
  if (!found.named && names > (found.stamp.found ? 1u : 0u)) return found;
  const auto complaint = appendHex(tail, found.bytes);
  if (complaint) {
    found.bytes.clear();
    const std::string tidy = tidied(tail);
    if (tidy.empty() || appendHex(tidy, found.bytes)) {
      if (found.named && found.bytes.size() >= kFewest) found.what = Found::What::Bad;
      found.complaint = *complaint;
      return found;
    }
  }
  if (found.bytes.size() >= kFewest) found.what = Found::What::Bytes;
  return found;
}

}  // namespace

RowInput::Next LogText::nextRow() {
  if (_behind) return std::exchange(_behind, std::nullopt).value();
  for (;;) {
    Next next = readRow();
    if (std::holds_alternative<End>(next) && !std::exchange(_ended, true)) {
      if (_dump) return std::exchange(_dump, std::nullopt).value();
      if (!_found)
        return problemAt(
            {},
            ProblemCode::UnsupportedInput,
            "taken for a log, and no line of it has a report's digits behind a time or a "
            "word like \"Received:\"");
      return End{};
    }
    auto* row = std::get_if<Row>(&next);
    if (row != nullptr && row->whole) {  // a piece of a dump, with its address
      if (auto whole = std::exchange(_dump, std::nullopt)) {
        _dump = std::move(*row);
        return std::move(*whole);
      }
      _dump = std::move(*row);
      continue;
    }
    if (auto whole = std::exchange(_dump, std::nullopt)) {
      _behind = std::move(next);
      return std::move(*whole);
    }
    return next;
  }
}

/// The next row of a line; one that goes on with a dump is added to it.
RowInput::Next LogText::readRow() {
  while (const auto line = _lines.next()) {
    if (line->tooLong) {
      _apart = true;
      continue;
    }
    Found found = find(line->text);
    const Place place = {Place::Unit::Line, line->number};
    const auto bad = [&](std::string message) {
      _apart = true;
      return problemAt(place, ProblemCode::BadDump, std::move(message));
    };
    switch (found.what) {
      case Found::What::Nothing:
        _apart = true;
        continue;
      case Found::What::Words:
        return bad("the kernel printed words in the machine's order; print bytes: groups of 1");
      case Found::What::Bad:
        return bad("bad hex: " + found.complaint);
      case Found::What::Bytes:
        break;
    }
    _found = true;
    Row row;
    row.bytes = std::move(found.bytes);
    row.line = line->number;
    row.type = found.type;
    row.unnamed = !found.named && !found.type;
    row.microseconds = found.stamp.microseconds;
    row.apart = std::exchange(_apart, false) || row.type;
    if (!found.address) return row;
    row.whole = true;
    if (*found.address == 0) {
      _lost = false;
      return row;
    }
    if (!_dump && _lost) continue;
    if (!_dump || *found.address != _dump->bytes.size() ||
        _dump->bytes.size() + row.bytes.size() > kLongestReport) {
      _dump.reset();
      _lost = true;
      return bad("a row of a dump whose rows before it are missing");
    }
    _dump->bytes.insert(_dump->bytes.end(), row.bytes.begin(), row.bytes.end());
  }
  return End{};
}

bool LogText::begins(const TextHead& head, const KnownReports& known) {
  std::vector<std::uint8_t> bytes;
  const bool digits = !appendHex(head.line, bytes);
  if (digits && (bytes.empty() || known.find(bytes.front(), std::nullopt) != nullptr ||
                 !find(head.line).stamp.found))
    return false;
  if (!digits && !appendHex(tidied(head.line), bytes)) return false;
  std::string_view line = head.line;
  std::string_view rest = head.following;
  for (;;) {
    const Found found = find(line);
    const bool report =
        found.what == Found::What::Bytes && known.find(found.bytes.front(), found.type) != nullptr;
    if (found.stamp.found || (report && found.named && !typeWord(firstWord(line))) ||
        (report && found.address && addressOf(firstWord(line)) == std::nullopt))
      return true;
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) return false;
    line = trim(rest.substr(0, end));
    rest.remove_prefix(end + 1);
  }
}

}  // namespace vesk::host
