/// What a conversion of a printf format makes of its argument, and how many characters that takes
/// at most. format.h and run_time_format.h are made of it.
#pragma once

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "text/always_inline.h"
#include "text/constant_text.h"
#include "text/digits.h"
#include "text/format_parse.h"

namespace vesk::format {

// ------------------------------------------------------------------------------------ arguments

/// What an argument of type T converts as: itself. A type that stands for a value of another one
/// specialises this:
///
///     template <>
///     struct vesk::format::Argument<Celsius> {
///       static float value(const Celsius& argument) { return argument.degrees; }
///     };
template <class T>
struct Argument {
  static constexpr const T& value(const T& argument) { return argument; }
};

/// Text that writes itself, in no more than kMaximumSize characters: T::write(out) gives back its
/// end. For "%s" without width and precision.
template <class T>
concept SelfWriting = requires(const T& text, char* out) {
  { text.write(out) } -> std::same_as<char*>;
  { T::kMaximumSize } -> std::convertible_to<std::size_t>;
};

namespace detail {

template <std::size_t capacity>
constexpr bool isText(const Text<capacity>&) {
  return true;
}

template <class T>
concept ConstantText = requires(const T& text) {
  isText(text);
};

template <class T>
concept String = ConstantText<T> || SelfWriting<T> ||
    std::convertible_to<const T&, std::string_view> || std::convertible_to<const T&, const char*>;

/// Whether a conversion takes an argument of type T.
template <class T>
constexpr bool takes(const Conversion& c) {
  if (c.letter == 's') {
    if constexpr (SelfWriting<T>)
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

/// The most characters that a conversion of `argument` takes.
template <class T>
VESK_ALWAYS_INLINE constexpr std::size_t bound(const Conversion& c, const T& argument) {
  const auto width = static_cast<std::size_t>(c.width);
  if constexpr (SelfWriting<T>) {
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

/// The most characters that a conversion of any value of type T takes.
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
// Always inlined: where the Conversion is a constant, only the path that it takes is left.

VESK_ALWAYS_INLINE char* copy(char* out, const char* characters, std::size_t size) {
  if (size != 0) std::memcpy(out, characters, size);  // an empty view may be null
  return out + size;
}

VESK_ALWAYS_INLINE char* fill(char* out, char character, std::size_t count) {
  std::memset(out, character, count);
  return out + count;
}

/// The `size` characters of `body`, with blanks around them up to the width of `c`.
VESK_ALWAYS_INLINE char* pad(char* out, const Conversion& c, const char* body, std::size_t size) {
  const auto width = static_cast<std::size_t>(c.width);
  const std::size_t blanks = size < width ? width - size : 0;
  fill(out, ' ', width);
  copy(c.left ? out : out + blanks, body, size);
  return out + size + blanks;
}

/// The sign in front of a signed number; 0 for none.
VESK_ALWAYS_INLINE char signOf(const Conversion& c, bool negative) {
  return negative ? '-' : c.plus ? '+' : c.blank ? ' ' : '\0';
}

/// A prefix (a sign or 0x), `zeros` zeros and the `size` digits of a number, with blanks around them
/// up to the width of `c`; where `zeroFill` is set, with zeros behind the prefix instead.
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

/// Whether a kernel of digits.h makes this conversion of integers of type T: the common ones.
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

/// %f without a kernel: any flags, precision and value.
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
  if constexpr (SelfWriting<T>) {
    return argument.write(out);
  } else {
    return convertText(out, c, argument);
  }
}

}  // namespace detail

}  // namespace vesk::format
