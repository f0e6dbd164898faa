/// printf formats, understood while the program is compiled.
///
/// A format is a template argument; it becomes straight-line code that writes its literal text and
/// converts its arguments, with the characters that the C library's printf gives in the "C" locale
/// (and in no other). The room must hold size<format>(arguments...) characters and kernels::kSlack
/// more:
///
///     char line[64];
///     char* end = vesk::format::write<"%20s: 0x%04X">(line, "PSE", std::uint16_t{0xAB});
///
/// Conversions: %s, %u, %i, %d, %x, %X, %f, with the flags `-+ #0`, a width and a precision (both
/// up to 999), and `ll` for 64-bit integers. Anything else does not compile, nor does a wrong
/// number or type of arguments, nor what C leaves undefined (`#` with %i %d %u %s, `0` with %s).
///   - Integers of up to 32 bits go with the plain conversions, integers of 64 bits with `ll`. The
///     conversion decides whether the bits read as signed: %i shows 0xFFFFFFFFu as -1.
///   - %s takes a NUL-terminated string (a null one prints "(null)"), a std::string, a
///     std::string_view or a Text.
///   - %f takes float and double. Infinities and NaN print as inf, -inf, nan, -nan.
///   - A wire field converts as its value.
///
/// The run-time form is a Format: one conversion with text around it, parsed by the same parser.
///
///     const vesk::format::Format format("%14d ");  // throws std::invalid_argument for others
///     end = format.write(line, -1);
#pragma once

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "model/wire.h"
#include "text/digits.h"

#define VESK_ALWAYS_INLINE inline __attribute__((always_inline))

namespace vesk::format {

/// A string literal as a template argument.
template <std::size_t size>
struct Literal {
  char characters[size]{};

  consteval Literal(const char (&literal)[size]) { std::copy_n(literal, size, characters); }
  constexpr std::string_view view() const { return {characters, size - 1}; }
};

/// Constant text that is copied whole, in as many 16-byte steps as its capacity has, and then
/// counts only as far as it is long: for labels that are known when the program is compiled.
template <std::size_t capacity>
struct Text {
  static_assert(capacity % 16 == 0 && capacity < 256);

  char characters[capacity]{};
  unsigned char size = 0;

  constexpr Text() = default;

  /// `text`, with blanks before it up to `width` characters.
  constexpr explicit Text(std::string_view text, std::size_t width = 0) {
    const std::size_t blanks = text.size() < width ? width - text.size() : 0;
    if (blanks + text.size() > capacity) throw std::length_error("Text: longer than its capacity");
    std::fill_n(characters, blanks, ' ');
    std::copy_n(text.data(), text.size(), characters + blanks);
    size = static_cast<unsigned char>(blanks + text.size());
  }

  /// Several texts, one behind the other.
  template <std::convertible_to<std::string_view>... More>
  constexpr Text(std::string_view first, std::string_view second, const More&... more) {
    const auto append = [this](std::string_view text) {
      if (size + text.size() > capacity) throw std::length_error("Text: longer than its capacity");
      std::copy_n(text.data(), text.size(), characters + size);
      size = static_cast<unsigned char>(size + text.size());
    };
    append(first);
    append(second);
    (append(more), ...);
  }

  constexpr std::string_view view() const { return {characters, size}; }
};

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

// ------------------------------------------------------------------------------------ arguments

namespace detail {

template <class T>
struct Unwrap {
  static constexpr const T& value(const T& argument) { return argument; }
};

template <class T>
struct Unwrap<wire::Field<T>> {
  static T value(const wire::Field<T>& argument) { return argument.value(); }
};

template <std::size_t capacity>
constexpr bool isText(const Text<capacity>&) {
  return true;
}

template <class T>
concept ConstantText = requires(const T& text) {
  isText(text);
};

/// Text that writes itself, in no more than kMaximumSize characters: T::write(out) gives back its
/// end. For "%s" without width and precision.
template <class T>
concept Writer = requires(const T& text, char* out) {
  { text.write(out) } -> std::same_as<char*>;
  { T::kMaximumSize } -> std::convertible_to<std::size_t>;
};

template <class T>
concept String = ConstantText<T> || Writer<T> || std::convertible_to<const T&, std::string_view> ||
    std::convertible_to<const T&, const char*>;

/// Whether a conversion takes an argument of type T.
template <class T>
constexpr bool takes(const Conversion& c) {
  if (c.letter == 's') {
    if constexpr (Writer<T>)
      return c.width == 0 && c.precision < 0;
    else
      return String<T>;
  }
  if (c.letter == 'f') return std::is_same_v<T, float> || std::is_same_v<T, double>;
  return std::is_integral_v<T> && (c.longLong ? sizeof(T) == 8 : sizeof(T) <= 4);
}

inline std::string_view viewOf(const char* text, const Conversion& c) {
  // The C library prints a null string whole or not at all.
  constexpr std::string_view null = "(null)";
  if (text != nullptr) return text;
  return c.precision < 0 || c.precision >= static_cast<int>(null.size()) ? null : "";
}

inline std::string_view viewOf(std::string_view text, const Conversion&) { return text; }

template <std::size_t capacity>
std::string_view viewOf(const Text<capacity>& text, const Conversion&) {
  return text.view();
}

/// Characters that a conversion of `argument` takes at most.
template <class T>
VESK_ALWAYS_INLINE constexpr std::size_t bound(const Conversion& c, const T& argument) {
  const auto width = static_cast<std::size_t>(c.width);
  if constexpr (Writer<T>) {
    return T::kMaximumSize;
  } else if constexpr (ConstantText<T>) {
    return std::max(width, sizeof argument.characters);
  } else if constexpr (String<T>) {
    return std::max(width, viewOf(argument, c).size());
  } else if constexpr (std::is_integral_v<T>) {
    const bool hexadecimal = c.letter == 'x' || c.letter == 'X';
    const std::size_t digits = sizeof(T) == 8 ? (hexadecimal ? 16 : 20) : (hexadecimal ? 8 : 10);
    const auto precision = static_cast<std::size_t>(std::max(c.precision, 0));
    const std::size_t prefix = c.alternate ? 2 : hexadecimal ? 0 : 1;
    return std::max(width, std::max(digits, precision) + prefix);
  } else {
    // The whole part of a number below 2^64 has 20 digits, that of any float 39, of any double 309.
    const std::size_t longest = std::is_same_v<T, float> ? 39 : 309;
    const std::size_t digits = std::fabs(argument) < 0x1p64 ? 20 : longest;
    const auto precision = static_cast<std::size_t>(c.precision < 0 ? 6 : c.precision);
    return std::max(width, digits + precision + 2);
  }
}

/// Characters that a conversion of any value of type T takes at most.
template <class T>
consteval std::size_t maximumBound(const Conversion& c) {
  static_assert(ConstantText<T> || std::is_integral_v<T> || std::is_same_v<T, float>);
  if constexpr (std::is_same_v<T, float>) {
    const auto precision = static_cast<std::size_t>(c.precision < 0 ? 6 : c.precision);
    return std::max(static_cast<std::size_t>(c.width), 39 + precision + 2);
  } else {
    return bound(c, T{});  // the same for all of them
  }
}

// ---------------------------------------------------------------------------------- conversions
// Always inlined: with a constant Conversion, all but the path that it takes falls away.

VESK_ALWAYS_INLINE char* copy(char* out, const char* characters, std::size_t size) {
  if (size != 0) std::memcpy(out, characters, size);  // an empty view may be null
  return out + size;
}

VESK_ALWAYS_INLINE char* fill(char* out, char character, std::size_t count) {
  std::memset(out, character, count);
  return out + count;
}

/// `body`, which is `size` characters long, in the field of `c`, blanks around it.
VESK_ALWAYS_INLINE char* pad(char* out, const Conversion& c, const char* body, std::size_t size) {
  const auto width = static_cast<std::size_t>(c.width);
  const std::size_t blanks = size < width ? width - size : 0;
  fill(out, ' ', width);
  copy(c.left ? out : out + blanks, body, size);
  return out + size + blanks;
}

/// The sign that a signed number shows; 0 for none.
VESK_ALWAYS_INLINE char signOf(const Conversion& c, bool negative) {
  return negative ? '-' : c.plus ? '+' : c.blank ? ' ' : '\0';
}

/// A number of `size` digits behind a prefix (sign or 0x), after as many zeros as its precision or
/// its `0` flag ask for. `zeroFill`: whether that flag counts.
VESK_ALWAYS_INLINE char* padNumber(char* out, const Conversion& c, std::string_view prefix,
                                   std::size_t zeros, const char* digits, std::size_t size,
                                   bool zeroFill) {
  const auto width = static_cast<std::size_t>(c.width);
  std::size_t total = prefix.size() + zeros + size;
  if (zeroFill && !c.left && total < width) {
    zeros += width - total;
    total = width;
  }
  const std::size_t blanks = total < width ? width - total : 0;
  if (!c.left) out = fill(out, ' ', blanks);
  out = copy(out, prefix.data(), prefix.size());
  out = fill(out, '0', zeros);
  out = copy(out, digits, size);
  if (c.left) out = fill(out, ' ', blanks);
  return out;
}

VESK_ALWAYS_INLINE char* writeInteger(char* out, const Conversion& c, std::uint64_t magnitude,
                                      bool negative) {
  const bool hexadecimal = c.letter == 'x' || c.letter == 'X';
  char digits[20 + kernels::kSlack];
  char* const end = hexadecimal ? kernels::hex16(digits, magnitude, c.letter == 'X')
                                : kernels::decimal(digits, magnitude);
  char* begin = digits;
  if (hexadecimal) begin = end - std::max(1, (64 - std::countl_zero(magnitude) + 3) / 4);
  if (magnitude == 0 && c.precision == 0) begin = end;
  const auto size = static_cast<std::size_t>(end - begin);
  const auto precision = static_cast<std::size_t>(std::max(c.precision, 0));
  const std::size_t zeros = size < precision ? precision - size : 0;

  const char sign = c.isSigned() ? signOf(c, negative) : '\0';
  const char base[2] = {'0', c.letter};
  std::string_view prefix(&sign, sign != '\0' ? 1 : 0);
  if (hexadecimal && c.alternate && magnitude != 0) prefix = {base, 2};
  return padNumber(out, c, prefix, zeros, begin, size, c.zero && c.precision < 0);
}

/// Whether a conversion of integers of type T is one of those that the reports use most.
template <class T>
VESK_ALWAYS_INLINE bool hasKernel(const Conversion& c) {
  if (c.left || c.plus || c.blank || c.alternate || c.precision >= 0) return false;
  if (c.letter == 'x' || c.letter == 'X')
    return c.zero && c.width == static_cast<int>(2 * sizeof(T)) &&
           (std::is_unsigned_v<T> || sizeof(T) >= sizeof(int));
  return c.width == 0 || (c.width >= 11 && c.width <= 14 && !c.zero && sizeof(T) <= 4);
}

template <std::integral T>
VESK_ALWAYS_INLINE char* convert(char* out, const Conversion& c, T argument) {
  // As printf is handed it: what is narrower than int becomes an int.
  using Bits = std::conditional_t<sizeof(T) == 8, std::uint64_t, std::uint32_t>;
  const auto bits = static_cast<Bits>(argument);
  const bool negative = c.isSigned() && (bits >> (8 * sizeof bits - 1)) != 0;
  const Bits magnitude = negative ? 0 - bits : bits;
  if (!hasKernel<T>(c)) return writeInteger(out, c, magnitude, negative);
  if (c.letter == 'x' || c.letter == 'X')
    return kernels::hex(out, bits, 2 * sizeof(T), c.letter == 'X');
  if (c.width != 0)
    return kernels::decimalColumn(out, static_cast<std::uint32_t>(magnitude), negative, c.width);
  *out = '-';
  return kernels::decimal(out + (negative ? 1 : 0), magnitude);
}

/// %f where no kernel serves: every flag, precision and value.
inline char* writeFixed(char* out, const Conversion& c, double value) {
  const char sign = signOf(c, std::signbit(value));
  const std::string_view prefix(&sign, sign != '\0' ? 1 : 0);
  if (!std::isfinite(value))
    return padNumber(out, c, prefix, 0, std::isnan(value) ? "nan" : "inf", 3, false);
  const int precision = c.precision < 0 ? 6 : c.precision;
  char digits[309 + 1 + 999 + 1];
  char* end =
      std::to_chars(
          digits, digits + sizeof digits, std::fabs(value), std::chars_format::fixed, precision)
          .ptr;
  if (precision == 0 && c.alternate) *end++ = '.';
  return padNumber(out, c, prefix, 0, digits, static_cast<std::size_t>(end - digits), c.zero);
}

template <std::floating_point T>
VESK_ALWAYS_INLINE char* convert(char* out, const Conversion& c, T argument) {
  const double value = argument;
  const int precision = c.precision < 0 ? 6 : c.precision;
  const bool kernel = (precision == 3 || precision == 6) && !c.zero && c.width <= 16;
  if (!kernel || !kernels::isFixed(value)) return writeFixed(out, c, value);

  const char sign = signOf(c, std::signbit(value));
  const auto number = [&](char* at) {
    *at = sign;
    at += sign != '\0' ? 1 : 0;
    return precision == 3 ? kernels::fixedMagnitude<3>(at, value)
                          : kernels::fixedMagnitude<6>(at, value);
  };
  if (c.left || c.width == 0) {
    char* const end = number(out);
    std::memset(end, ' ', 16);
    return std::max(end, out + c.width);
  }
  char body[48 + kernels::kSlack];  // a sign, 39 digits, a point, 6 more
  const auto size = static_cast<int>(number(body) - body);
  if (size > c.width) return pad(out, c, body, static_cast<std::size_t>(size));
  std::memset(out, ' ', 16);
  std::memcpy(out + c.width - size, body, 16);
  return out + c.width;
}

template <class T>
VESK_ALWAYS_INLINE char* convertText(char* out, const Conversion& c, const T& argument) {
  if constexpr (ConstantText<T>) {
    if (c.precision < 0 && argument.size >= c.width) {
      std::memcpy(out, argument.characters, sizeof argument.characters);
      return out + argument.size;
    }
  }
  std::string_view text = viewOf(argument, c);
  if (c.precision >= 0) text = text.substr(0, static_cast<std::size_t>(c.precision));
  return pad(out, c, text.data(), text.size());
}

template <String T>
VESK_ALWAYS_INLINE char* convert(char* out, const Conversion& c, const T& argument) {
  if constexpr (Writer<T>) {
    return argument.write(out);
  } else {
    return convertText(out, c, argument);
  }
}

}  // namespace detail

// -------------------------------------------------------------------------- compile-time formats

namespace detail {

template <Literal format>
consteval std::size_t countPieces() {
  std::size_t count = 0;
  for (std::size_t at = 0; at < format.view().size(); ++count) parsePiece(format.view(), at);
  return count;
}

template <Literal format>
struct Pieces {
  Piece piece[countPieces<format>() + 1];  // one more: an array has at least one element
  std::size_t conversions = 0;
};

template <Literal format>
consteval Pieces<format> parsePieces() {
  Pieces<format> pieces{};
  for (std::size_t at = 0, i = 0; at < format.view().size(); ++i) {
    pieces.piece[i] = parsePiece(format.view(), at);
    if (pieces.piece[i].conversion.letter != 0) ++pieces.conversions;
  }
  return pieces;
}

template <Literal format>
inline constexpr Pieces<format> kPieces = parsePieces<format>();

template <class T>
using ValueOf = std::remove_cvref_t<decltype(Unwrap<T>::value(std::declval<const T&>()))>;

/// Piece `index` with its argument.
template <Literal format, std::size_t index, class T>
VESK_ALWAYS_INLINE char* writePiece(char* out, const T& argument) {
  constexpr Piece piece = kPieces<format>.piece[index];
  static_assert(takes<ValueOf<T>>(piece.conversion), "a conversion does not take its argument");
  out = copy(out, format.characters + piece.begin, piece.end - piece.begin);
  return convert(out, piece.conversion, Unwrap<T>::value(argument));
}

template <Literal format, std::size_t... index, class... T>
VESK_ALWAYS_INLINE char* writePieces(char* out, std::index_sequence<index...>,
                                     const T&... argument) {
  ((out = writePiece<format, index>(out, argument)), ...);
  constexpr Piece last = kPieces<format>.piece[sizeof...(index)];
  return copy(out, format.characters + last.begin, last.end - last.begin);
}

template <Literal format, std::size_t... index, class... T>
VESK_ALWAYS_INLINE std::size_t boundPieces(std::index_sequence<index...>, const T&... argument) {
  constexpr std::size_t literals =
      (std::size_t{0} + ... +
       (kPieces<format>.piece[index].end - kPieces<format>.piece[index].begin));
  constexpr Piece last = kPieces<format>.piece[sizeof...(index)];
  return ((literals + (last.end - last.begin)) + ... +
          bound(kPieces<format>.piece[index].conversion, Unwrap<T>::value(argument)));
}

}  // namespace detail

/// Characters that write<format>() makes of these arguments at most. It needs kernels::kSlack more,
/// which it may overwrite.
template <Literal format, class... T>
VESK_ALWAYS_INLINE std::size_t size(const T&... argument) {
  return detail::boundPieces<format>(std::index_sequence_for<T...>{}, argument...);
}

/// The same for all values of types that have a largest size: texts of constant capacity, whole
/// numbers and floats.
template <Literal format, class... T>
consteval std::size_t maximumSize() {
  std::size_t size = 0;
  for (const Piece& piece : detail::kPieces<format>.piece) size += piece.end - piece.begin;
  std::size_t i = 0;
  ((size +=
    detail::maximumBound<detail::ValueOf<T>>(detail::kPieces<format>.piece[i++].conversion)),
   ...);
  return size;
}

/// Writes `argument...` as `format` says, without a NUL behind it, and gives back the end.
template <Literal format, class... T>
VESK_ALWAYS_INLINE char* write(char* out, const T&... argument) {
  static_assert(detail::kPieces<format>.conversions == sizeof...(T),
                "as many arguments as the format has conversions");
  return detail::writePieces<format>(out, std::index_sequence_for<T...>{}, argument...);
}

/// The same as a string.
template <Literal format, class... T>
std::string string(const T&... argument) {
  std::string text(size<format>(argument...) + kernels::kSlack, '\0');
  text.resize(static_cast<std::size_t>(write<format>(text.data(), argument...) - text.data()));
  return text;
}

// ------------------------------------------------------------------------------ run-time formats

/// A format of exactly one conversion that comes as a value. It refers to the text that it was made
/// from, which must outlive it.
class Format {
 public:
  /// Throws std::invalid_argument for a format that is not understood, or that has no or more than
  /// one conversion.
  constexpr explicit Format(std::string_view text) {
    std::size_t at = 0;
    const Piece first = parsePiece(text, at);
    const Piece second = parsePiece(text, at);
    if (first.conversion.letter == 0 || second.conversion.letter != 0)
      throw std::invalid_argument("format: other than one conversion");
    _conversion = first.conversion;
    _before = text.substr(0, first.end);
    _behind = text.substr(second.begin);
  }

  /// Whether the conversion takes arguments of type T.
  template <class T>
  constexpr bool takes() const {
    return detail::takes<T>(_conversion);
  }

  /// Characters that write() makes of `argument` at most; it may overwrite kernels::kSlack more.
  template <class T>
  std::size_t size(const T& argument) const {
    return _before.size() + detail::bound(_conversion, argument) + _behind.size();
  }

  /// Requires takes<T>().
  template <class T>
  char* write(char* out, const T& argument) const {
    out = detail::copy(out, _before.data(), _before.size());
    out = detail::convert(out, _conversion, argument);
    return detail::copy(out, _behind.data(), _behind.size());
  }

 private:
  std::string_view _before;
  std::string_view _behind;
  Conversion _conversion;
};

}  // namespace vesk::format
