/// Decimal numbers by a table of four digits at a time.
///
/// For long lists of 32-bit values of any size, such as samples, this takes about half the time of
/// decimal() in digits.h: no branch depends on how many digits a value has, unless there are nine or
/// ten. decimal() is for counters, most of which are below 1000 (it takes a third of the time for
/// those), and for what stands alone: the table here has 40 KB, and a cache has to hold it.
///
///     for (const std::uint32_t sample : samples) {
///       out = vesk::kernels::decimalByTable(out, sample);
///       *out++ = ',';
///     }
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

#include "text/digits.h"

namespace vesk::kernels {

/// Bytes behind the end of its characters that decimalByTable() may overwrite.
inline constexpr std::size_t kTableSlack = 7;

namespace detail {

/// "0000" to "9999", each as one word with the first character in its lowest byte.
inline constexpr auto kFourDigits = [] {
  std::array<std::uint32_t, 10000> words{};
  for (std::uint32_t i = 0; i < words.size(); ++i)
    words[i] = 0x30303030 + (i / 1000 | i / 100 % 10 << 8 | i / 10 % 10 << 16 | i % 10 << 24);
  return words;
}();

/// The eight characters of a number below 10^8, the first one in the lowest byte.
inline std::uint64_t eightCharacters(std::uint32_t value) {
  return kFourDigits[value / 10000] | std::uint64_t{kFourDigits[value % 10000]} << 32;
}

}  // namespace detail

/// "%u".
inline char* decimalByTable(char* out, std::uint32_t value) {
  constexpr std::uint64_t kLastDigit = std::uint64_t{1} << 56;  // which is shown even if it is 0
  if (value >= 100000000) {
    const std::uint32_t head = value / 100000000;  // 1 to 42
    const unsigned size = head < 10 ? 1 : 2;
    storeLittle(out, detail::kFourDigits[head] >> (32 - 8 * size));
    storeLittle(out + size, detail::eightCharacters(value % 100000000));
    return out + size + 8;
  }
  const std::uint64_t digits = detail::eightCharacters(value);
  const int leading = std::countr_zero((digits ^ kZeros) | kLastDigit) / 8;
  storeLittle(out, digits >> (8 * leading));
  return out + 8 - leading;
}

/// "%d".
inline char* decimalByTable(char* out, std::int32_t value) {
  *out = '-';
  const auto bits = static_cast<std::uint32_t>(value);
  return decimalByTable(out + (value < 0), value < 0 ? 0 - bits : bits);
}

}  // namespace vesk::kernels
