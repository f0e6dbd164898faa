#include "host/inputs/Dump.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/inputs/Hex.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::size_t kAddressDigits = 6;

/// A line of a hostile dump may claim that the row before it came 10^18 times.
constexpr std::uint64_t kLongestRepetition = 16 << 20;

constexpr std::string_view kWordsHint =
    "this dump shows words in the machine's order, not bytes; make it with: hexdump -C FILE";

constexpr std::string_view kOdHint = "make it with: od -A x -t x1 -v FILE";

std::size_t digitsAtFront(std::string_view text) {
  const auto isNone = [](char character) { return hexDigit(character) < 0; };
  return static_cast<std::size_t>(std::ranges::find_if(text, isNone) - text.begin());
}

std::size_t longestWord(std::string_view text) {
  std::size_t longest = 0;
  while (!text.empty()) longest = std::max(longest, takeWord(text).size());
  return longest;
}

/// Whether the bytes are one report and nothing else, but for zeros that fill it up.
bool isOneReport(const std::vector<std::uint8_t>& bytes, const ReportInfo& info) {
  const auto size = static_cast<std::ptrdiff_t>(info.smallest);
  if (std::ssize(bytes) < size) return false;
  const auto end = info.nulTerminated ? std::ranges::find(bytes, 0) : bytes.begin() + size;
  if (info.nulTerminated && end == bytes.end()) return false;
  return std::all_of(end, bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

/// The bytes as a dump's right-hand column shows them.
std::string asPrinted(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes)
    text += byte >= ' ' && byte <= '~' ? static_cast<char>(byte) : '.';
  return text;
}

/// The bytes of `digits` with each of its words turned around.
std::vector<std::uint8_t> swapped(std::string_view digits) {
  std::vector<std::uint8_t> bytes;
  while (!digits.empty()) {
    const std::size_t begin = bytes.size();
    appendHex(takeWord(digits), bytes);
    std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(begin), bytes.end());
  }
  return bytes;
}

/// Whether a row is one by xxd -b: eight binary digits a byte, and a character for each.
bool showsBits(std::string_view groups, std::string_view line) {
  std::size_t count = 0;
  for (; !groups.empty(); ++count) {
    const std::string_view word = takeWord(groups);
    if (word.size() != 8 || word.find_first_not_of("01") != std::string_view::npos) return false;
  }
  const std::size_t end = line.rfind("  ");
  return count != 0 && end != std::string_view::npos && line.size() - end - 2 <= count;
}

/// What od shows that takes four columns a byte: with -t u1, -t o1 or -c; empty if it is none of it.
std::string_view whatColumnsShow(std::string_view rest) {
  constexpr std::size_t kColumns = 4;
  if (rest.empty() || rest.size() % kColumns != 0) return {};
  bool octal = true;
  bool decimal = true;
  for (; !rest.empty(); rest.remove_prefix(kColumns)) {
    const std::string_view cell = trim(rest.substr(0, kColumns));
    if (rest.front() != ' ' || (!cell.empty() && rest[kColumns - 1] == ' ')) return {};
    octal = octal && cell.size() == 3 && parseNumber<std::uint8_t>(cell, 8);
    decimal = decimal && parseNumber<std::uint8_t>(cell);
  }
  return octal ? "octal numbers" : decimal ? "decimal numbers" : "characters";
}

/// What to say of a line that does not go on where the one before it ended.
std::string misplaced(std::string_view text, std::uint64_t expected) {
  const std::string_view address = text.substr(0, digitsAtFront(text));
  std::array<char, 24> wanted;
  std::snprintf(wanted.data(), wanted.size(), "%06llx", static_cast<unsigned long long>(expected));
  std::string message = "address " + inQuotes(address) + " where " + wanted.data() + " should be";
  if (parseNumber<std::uint64_t>(address, 8) == expected ||
      parseNumber<std::uint64_t>(address) == expected)
    message += "; addresses must be hexadecimal: od -A x -t x1 -v FILE";
  return message;
}

}  // namespace

std::size_t DumpBytes::read(char* into, std::size_t room) {
  while (_given == _row.size())
    if (!nextRow()) return 0;
  const std::size_t count = std::min(room, _row.size() - _given);
  std::memcpy(into, _row.data() + _given, count);
  _given += count;
  return count;
}

bool DumpBytes::nextRow() {
  _given = 0;
  while (_fill == 0 && _next.empty()) {
    if (readLine()) continue;
    _row.clear();
    return false;
  }
  if (_fill != 0)
    _fill -= _row.size();
  else
    _row = std::exchange(_next, {});
  // The second row tells what the addresses of the first may mean.
  if (_rows == 1 && _sevenDigits)
    while (_next.empty() && readLine()) continue;
  if (_octal) _row.clear();
  return !_octal;
}

/// Reads a line; false at the end of the dump: after the last line, or at a wrong one.
bool DumpBytes::readLine() {
  const auto line = _problem ? std::nullopt : _lines.next();
  if (!line) return false;
  const std::string_view text = trim(line->text);
  if (text.empty()) return true;
  if (text == "*") {
    _repeated = true;
    return true;
  }
  auto row = parse(*line);
  if (!row) return false;
  if (countsInOctal(*line, *row)) {
    _octal = true;
    complain(*line,
             ProblemCode::UnsupportedInput,
             "the addresses of this dump are octal; " + std::string(kOdHint));
    return false;
  }
  if (!follows(*line, *row)) return false;
  ++_rows;
  _next = std::move(row->bytes);
  return true;
}

/// The row in a line; none if the line is wrong.
std::optional<DumpBytes::Row> DumpBytes::parse(const LineReader::Line& line) {
  if (line.tooLong) {
    complain(line, ProblemCode::TooLong, "the line is longer than a dump's");
    return std::nullopt;
  }
  if (_style == Style::Addressed) return parseAddressed(line);
  Row row{_address.value_or(0), {}};
  if (const auto complaint = appendHex(line.text, row.bytes)) {
    complain(line, ProblemCode::BadDump, "bad hex: " + *complaint);
    return std::nullopt;
  }
  return row;
}

std::optional<DumpBytes::Row> DumpBytes::parseAddressed(const LineReader::Line& line) {
  std::string_view rest = trim(line.text);
  const std::size_t digits = digitsAtFront(rest);
  const auto address = parseNumber<std::uint64_t>(rest.substr(0, digits), 16);
  if (!address || digits < kAddressDigits) {
    complain(line, ProblemCode::BadDump, inQuotes(rest) + " does not begin with an address");
    return std::nullopt;
  }
  if (!_address) _sevenDigits = digits == 7;
  rest.remove_prefix(digits);
  Row row{*address, {}};
  if (const std::string complaint = unlikeHex(line, rest); !complaint.empty()) {
    complain(line, ProblemCode::UnsupportedInput, complaint);
    return std::nullopt;
  }
  const bool grouped = rest.starts_with(':');  // only xxd writes a colon, and groups of bytes
  if (grouped) {
    rest.remove_prefix(1);
    rest = rest.starts_with("  ") ? rest : trim(rest.substr(0, rest.find("  ", 1)));
  } else {
    rest = rest.substr(0, rest.find_first_of("|>"));
  }
  const std::size_t width = longestWord(rest);
  if (grouped ? rest.starts_with(' ') : width > 2) {
    complain(line, ProblemCode::UnsupportedInput, std::string(kWordsHint));
    return std::nullopt;
  }
  if (const auto complaint = appendHex(rest, row.bytes)) {
    complain(line, ProblemCode::BadDump, "bad hex: " + *complaint);
    return std::nullopt;
  }
  if (width > 2 && !inByteOrder(line, rest, row.bytes)) {
    complain(line, ProblemCode::UnsupportedInput, std::string(kWordsHint));
    return std::nullopt;
  }
  return row;
}

/// What other bases a first row is in. `rest` is what stands behind its address.
std::string DumpBytes::unlikeHex(const LineReader::Line& line, std::string_view rest) const {
  if (_address) return {};
  if (rest.starts_with(": ") && showsBits(rest.substr(2, rest.rfind("  ") - 2), line.text))
    return "this dump shows bits; make it with: xxd FILE";
  std::string_view shown = line.text;
  shown.remove_prefix(static_cast<std::size_t>(rest.data() - shown.data()));
  const std::string_view what = whatColumnsShow(shown);
  if (what.empty()) return {};
  return "this dump shows " + std::string(what) + "; " + std::string(kOdHint);
}

/// od counts in octal unless it is told otherwise, and writes addresses of seven digits: whether the
/// row behind the first one says so.
bool DumpBytes::countsInOctal(const LineReader::Line& line, const Row& row) const {
  if (_rows != 1 || !_sevenDigits || row.address == *_address) return false;
  const std::string_view text = trim(line.text);
  const auto octal = parseNumber<std::uint64_t>(text.substr(0, digitsAtFront(text)), 8);
  return octal && (_repeated || *octal == *_address);
}

/// xxd -e turns the bytes of each group around, and looks otherwise as xxd does: the characters at
/// the right-hand side tell which it was. Where they can't (none is printable), groups of four
/// bytes or more are what xxd -e writes, and groups of two what xxd writes.
bool DumpBytes::inByteOrder(const LineReader::Line& line, std::string_view digits,
                            const std::vector<std::uint8_t>& bytes) {
  const bool straight = line.text.ends_with(asPrinted(bytes));
  const bool turned = line.text.ends_with(asPrinted(swapped(digits)));
  if (straight != turned) {
    _orderProven = straight;
    return straight;
  }
  return _orderProven || longestWord(digits) <= 4;
}

/// Checks a row's address, and finds out how often the row before it was repeated.
bool DumpBytes::follows(const LineReader::Line& line, const Row& row) {
  const std::uint64_t expected = _address.value_or(row.address);
  if (row.address != expected) {
    const std::uint64_t gap = row.address - expected;
    if (!_repeated || row.address < expected || _row.empty() || gap % _row.size() != 0) {
      complain(line, ProblemCode::BadDump, misplaced(trim(line.text), expected));
      return false;
    }
    if (gap > kLongestRepetition) {
      complain(line,
               ProblemCode::TooLong,
               "\"*\" stands for " + countedBytes(gap) + ", and no more than " +
                   std::to_string(kLongestRepetition) + " are filled in");
      return false;
    }
    _fill = gap;
  }
  _repeated = false;
  _address = row.address + row.bytes.size();
  return true;
}

void DumpBytes::complain(const LineReader::Line& line, ProblemCode code, std::string message) {
  _problem = problemAt({Place::Unit::Line, line.number}, code, std::move(message));
}

/// The reports first, and then why there are no more of them.
Item Dump::next() {
  Item item = _reports.next();
  if (!std::holds_alternative<End>(item) || !_bytes.problem() || _told) return item;
  _told = true;
  return *_bytes.problem();
}

/// Dumps begin at address 0, or with an address that xxd or hexdump -C marks as one.
bool Dump::beginsAddressed(const TextHead& head, const KnownReports& /*known*/) {
  const std::string_view line = head.line;
  const std::size_t digits = digitsAtFront(line);
  if (digits < kAddressDigits) return false;
  const std::string_view rest = line.substr(digits);
  const bool marked = (rest.starts_with(": ") || rest.starts_with("  ")) && digits >= 8;
  const bool zero = line.find_first_not_of('0') >= digits;
  return marked || (zero && rest.starts_with(' '));
}

/// xxd -p writes a file in lines of 30 bytes, without anything between them. That looks as reports
/// written a line each do, but for the first line being no report, or more than one.
bool Dump::beginsPlain(const TextHead& head, const KnownReports& known) {
  constexpr std::size_t kLineDigits = 60;
  if (head.line.size() != kLineDigits || digitsAtFront(head.line) != kLineDigits) return false;
  std::vector<std::uint8_t> bytes;
  appendHex(head.line, bytes);
  const ReportInfo* info = known.find(bytes.front(), std::nullopt);
  if (info == nullptr || isOneReport(bytes, *info)) return false;
  const std::string_view following = head.following.substr(0, head.following.find_first_of("\r\n"));
  return digitsAtFront(following) == following.size() && following.size() <= kLineDigits;
}

}  // namespace vesk::host
