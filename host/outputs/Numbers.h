/// Numbers as characters: shortest digits, no locale.
#pragma once

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

#include "plugin/vesk_plugin.h"

namespace vesk::host {

/// Room that any number fits in: "-1.7976931348623157e+308" has 24 characters.
inline constexpr std::size_t kNumberRoom = 32;

namespace detail {

/// "0000" to "9999", each as one word with the first character in its lowest byte.
inline constexpr auto kFourDigits = [] {
  std::array<std::uint32_t, 10000> words{};
  for (std::uint32_t i = 0; i < words.size(); ++i)
    words[i] = 0x30303030 + (i / 1000 | i / 100 % 10 << 8 | i / 10 % 10 << 16 | i % 10 << 24);
  return words;
}();

inline void putWord(char* out, std::uint32_t word) {
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap32(word);
  std::memcpy(out, &word, sizeof word);
}

inline char* putFour(char* out, std::uint32_t group) {
  putWord(out, kFourDigits[group]);
  return out + 4;
}

/// The first group of a number, without its leading zeros.
inline char* putFirst(char* out, std::uint32_t group) {
  const unsigned zeros = (group < 1000) + (group < 100) + (group < 10);
  putWord(out, kFourDigits[group] >> (8 * zeros));
  return out + 4 - zeros;
}

}  // namespace detail

/// Writes a number and gives back its end. Up to three more characters are overwritten: sensor data
/// is long runs of 32-bit values, and without branches on their digits, of which there are groups
/// of four in a table, the machine works on several of them at a time.
inline char* putNumber(char* out, std::uint32_t value) {
  if (value < 10000) return detail::putFirst(out, value);
  const std::uint32_t high = value / 10000;
  const std::uint32_t low = value % 10000;
  if (high < 10000) return detail::putFour(detail::putFirst(out, high), low);
  out = detail::putFirst(out, high / 10000);
  return detail::putFour(detail::putFour(out, high % 10000), low);
}

inline char* putNumber(char* out, std::int32_t value) {
  *out = '-';
  const auto bits = static_cast<std::uint32_t>(value);
  return putNumber(out + (value < 0), value < 0 ? 0 - bits : bits);
}

/// The digits of a floating-point number are the fewest that read back to the same value.
template <class T>
requires(std::is_floating_point_v<T> || sizeof(T) == 8) char* putNumber(char* out, T value) {
  return std::to_chars(out, out + kNumberRoom, value).ptr;
}

/// Calls use(values) with a span of the C type that `kind` names.
template <class Use>
void withValues(std::int32_t kind, const void* values, std::size_t count, Use use) {
  const auto as = [&]<class T>(T) { use(std::span(static_cast<const T*>(values), count)); };
  switch (kind) {
    case VESK_BOOL:
    case VESK_UNSIGNED_CHAR:
      return as(std::uint8_t{});
    case VESK_UNSIGNED_SHORT:
      return as(std::uint16_t{});
    case VESK_UNSIGNED_INT:
      return as(std::uint32_t{});
    case VESK_INT:
      return as(std::int32_t{});
    case VESK_LONG_LONG:
      return as(std::int64_t{});
    case VESK_UNSIGNED_LONG_LONG:
      return as(std::uint64_t{});
    case VESK_FLOAT:
      return as(float{});
    case VESK_DOUBLE:
      return as(double{});
    default:
      return;
  }
}

/// Calls use(value) with a number as std::uint64_t, std::int64_t, float or double.
template <class Use>
void withValue(const vesk_number& number, Use use) {
  switch (number.kind) {
    case VESK_INT:
    case VESK_LONG_LONG:
      return use(number.value.i);
    case VESK_FLOAT:
      return use(static_cast<float>(number.value.d));
    case VESK_DOUBLE:
      return use(number.value.d);
    default:
      return use(number.value.u);
  }
}

}  // namespace vesk::host
