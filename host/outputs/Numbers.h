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

/// The eight digits of a number below 10^8, the first one in the lowest byte.
inline std::uint64_t eightDigits(std::uint32_t value) {
  return kFourDigits[value / 10000] | std::uint64_t{kFourDigits[value % 10000]} << 32;
}

/// Stores a word so that its lowest byte is the first character.
inline void putWord(char* out, std::uint64_t word) {
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  std::memcpy(out, &word, sizeof word);
}

}  // namespace detail

/// Writes a number and gives back its end. Up to seven more characters are overwritten: sensor data
/// is long runs of 32-bit values, and with digits that are looked up, and leading zeros that are
/// shifted out, no branch depends on how many digits a value has unless there are nine or ten.
inline char* putNumber(char* out, std::uint32_t value) {
  constexpr std::uint64_t kZeros = 0x3030303030303030;
  constexpr std::uint64_t kLastDigit = std::uint64_t{1} << 56;  // which is shown even if it is 0
  if (value >= 100000000) {
    const std::uint32_t head = value / 100000000;  // 1 to 42
    const unsigned size = head < 10 ? 1 : 2;
    detail::putWord(out, detail::kFourDigits[head] >> (32 - 8 * size));
    detail::putWord(out + size, detail::eightDigits(value % 100000000));
    return out + size + 8;
  }
  const std::uint64_t digits = detail::eightDigits(value);
  const int leading = std::countr_zero((digits ^ kZeros) | kLastDigit) / 8;
  detail::putWord(out, digits >> (8 * leading));
  return out + 8 - leading;
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
