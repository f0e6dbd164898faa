/// The parser of printf formats, for those that are known when the program is compiled and for
/// those that come as a value. What it understands, format.h says.
///
///     std::size_t at = 0;
///     const vesk::format::Piece piece = vesk::format::parsePiece("ID 0x%02X.", at);
///     // the literal text is that before piece.end, piece.conversion.letter is 'X', and `at` is 8
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace vesk::format {

/// One conversion: `%` with all that stands between it and its letter.
struct Conversion {
  bool left = false;       // -
  bool plus = false;       // +
  bool blank = false;      // a blank
  bool alternate = false;  // #
  bool zero = false;       // 0
  bool longLong = false;   // ll
  int width = 0;
  int precision = -1;  // -1: none given
  char letter = 0;     // s u i d x X f; 0: no conversion, the text behind the last one

  constexpr bool isInteger() const { return letter != 's' && letter != 'f'; }
  constexpr bool isSigned() const { return letter == 'i' || letter == 'd'; }

  friend constexpr bool operator==(const Conversion&, const Conversion&) = default;
};

/// The literal text from `begin` to `end` of a format, and the conversion behind it.
struct Piece {
  std::size_t begin = 0;
  std::size_t end = 0;
  Conversion conversion;
};

namespace detail {

constexpr int parseNumber(std::string_view text, std::size_t& at) {
  int number = 0;
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    number = number * 10 + (text[at] - '0');
    if (number > 999) throw std::invalid_argument("format: a width or precision over 999");
  }
  return number;
}

/// The conversion whose '%' stands before `at`; moves `at` behind it.
constexpr Conversion parseConversion(std::string_view text, std::size_t& at) {
  Conversion c;
  for (bool flag = true; flag && at < text.size();) {
    switch (text[at]) {
      case '-':
        c.left = true;
        break;
      case '+':
        c.plus = true;
        break;
      case ' ':
        c.blank = true;
        break;
      case '#':
        c.alternate = true;
        break;
      case '0':
        c.zero = true;
        break;
      default:
        flag = false;
    }
    if (flag) ++at;
  }
  c.width = parseNumber(text, at);
  if (at < text.size() && text[at] == '.') {
    ++at;
    c.precision = parseNumber(text, at);
  }
  if (text.substr(at, 2) == "ll") {
    c.longLong = true;
    at += 2;
  }
  if (at == text.size()) throw std::invalid_argument("format: ends within a conversion");
  c.letter = text[at++];
  if (std::string_view("suidxXf").find(c.letter) == std::string_view::npos)
    throw std::invalid_argument("format: a conversion other than %s %u %i %d %x %X %f");
  if (c.longLong && !c.isInteger()) throw std::invalid_argument("format: ll with %s or %f");
  if (c.alternate && (c.isSigned() || c.letter == 'u' || c.letter == 's'))
    throw std::invalid_argument("format: the flag # with %i, %d, %u or %s");
  if (c.zero && c.letter == 's') throw std::invalid_argument("format: the flag 0 with %s");
  return c;
}

}  // namespace detail

/// The piece of `text` that begins at `at`, which moves behind it. Throws std::invalid_argument for
/// a conversion that is not understood; while compiling, that is an error.
constexpr Piece parsePiece(std::string_view text, std::size_t& at) {
  Piece piece;
  piece.begin = at;
  while (at < text.size() && text[at] != '%') ++at;
  piece.end = at;
  if (at < text.size()) piece.conversion = detail::parseConversion(text, ++at);
  return piece;
}

}  // namespace vesk::format
