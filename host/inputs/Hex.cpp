#include "host/inputs/Hex.h"

#include <array>

#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::int8_t kNotHex = -1;  // as hexDigit() has it
constexpr std::int8_t kSeparator = -2;

/// What each character is: the value of a digit, a separator, or neither.
constexpr std::array<std::int8_t, 256> makeClasses() {
  std::array<std::int8_t, 256> classes{};
  for (std::size_t i = 0; i < classes.size(); ++i)
    classes[i] = static_cast<std::int8_t>(hexDigit(static_cast<char>(i)));
  for (const char separator : {' ', '\t', ',', ':'})
    classes[static_cast<unsigned char>(separator)] = kSeparator;
  return classes;
}

constexpr auto kClasses = makeClasses();

int classOf(char character) { return kClasses[static_cast<unsigned char>(character)]; }

/// Appends bytes from the front of the text for as long as they are written as the first one is: two
/// digits, and one separator or none behind them. Where it came to.
std::size_t appendPairs(std::string_view text, std::vector<std::uint8_t>& bytes) {
  const bool apart = text.size() > 2 && classOf(text[2]) == kSeparator;
  // The same for all, so that no step waits for what the one before it has read.
  const std::size_t step = apart ? 3 : 2;
  const std::size_t before = bytes.size();
  bytes.resize(before + text.size() / step);
  auto next = bytes.begin() + static_cast<std::ptrdiff_t>(before);
  std::size_t i = 0;
  for (; i + step <= text.size(); i += step) {
    const int high = classOf(text[i]);
    const int low = classOf(text[i + 1]);
    if ((high | low) < 0 || (apart && classOf(text[i + 2]) != kSeparator)) break;
    *next++ = static_cast<std::uint8_t>(high << 4 | low);
  }
  bytes.erase(next, bytes.end());
  return i;
}

/// The run of characters around `at` that no separator interrupts.
std::string_view tokenAt(std::string_view text, std::size_t at) {
  std::size_t begin = at;
  while (begin > 0 && classOf(text[begin - 1]) != kSeparator) --begin;
  std::size_t end = at;
  while (end < text.size() && classOf(text[end]) != kSeparator) ++end;
  return text.substr(begin, end - begin);
}

}  // namespace

std::string_view trim(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
  return text;
}

std::string_view takeWord(std::string_view& text) {
  text = trim(text);
  std::size_t end = 0;
  while (end < text.size() && !isBlank(text[end])) ++end;
  const std::string_view word = text.substr(0, end);
  text = trim(text.substr(end));
  return word;
}

std::optional<ReportType> typeWord(std::string_view word) {
  constexpr std::size_t kLongest = 8;
  if (word.empty() || word.size() > kLongest) return std::nullopt;
  std::string lower(word);
  for (char& character : lower)
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character | 0x20);
  return reportTypeNamed(lower);
}

std::optional<std::string> appendHex(std::string_view text, std::vector<std::uint8_t>& bytes) {
  for (std::size_t i = appendPairs(text, bytes); i < text.size();) {
    const int high = classOf(text[i]);
    if (high == kSeparator) {
      ++i;
      continue;
    }
    const int low = i + 1 < text.size() ? classOf(text[i + 1]) : kSeparator;
    if (high >= 0 && low >= 0) {
      bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
      i += 2;
    } else if (high == 0 && low == kNotHex && (text[i + 1] | 0x20) == 'x' && i + 2 < text.size() &&
               hexDigit(text[i + 2]) >= 0) {
      i += 2;
    } else if (high >= 0 && low == kSeparator) {
      return "odd number of digits in " + inQuotes(tokenAt(text, i));
    } else {
      const std::size_t bad = high >= 0 ? i + 1 : i;
      return inQuotes(text.substr(bad, 1)) + " is no hexadecimal digit, in " +
             inQuotes(tokenAt(text, bad));
    }
  }
  return std::nullopt;
}

std::string tidied(std::string_view text) {
  text = text.substr(0, text.find("//"));
  if (const std::size_t begin = text.find("/*"); begin != std::string_view::npos) {
    const std::size_t end = text.find("*/", begin);
    if (end == std::string_view::npos || trim(text.substr(end + 2)).empty())
      text = text.substr(0, begin);
  }
  constexpr std::string_view kAround = " \t[]{}(),;\"'";
  const std::size_t first = text.find_first_not_of(kAround);
  if (first == std::string_view::npos) return {};
  std::string result(text.substr(first, text.find_last_not_of(kAround) - first + 1));
  for (std::size_t i = 1; i + 1 < result.size(); ++i) {
    const bool between = hexDigit(result[i - 1]) >= 0 && hexDigit(result[i + 1]) >= 0;
    if (result[i] == '-' && between) result[i] = ' ';
  }
  for (std::size_t i = 0; i + 1 < result.size(); ++i)
    if (result[i] == '\\' && result[i + 1] == 'x') result[i] = '0';
  return result;
}

std::string inQuotes(std::string_view text) {
  constexpr std::size_t kLongest = 24;
  std::string result = "\"";
  for (const char character : text.substr(0, kLongest)) {
    const bool shown = character >= ' ' && character <= '~';
    result += shown ? character : '?';
  }
  return result + (text.size() > kLongest ? "...\"" : "\"");
}

}  // namespace vesk::host
