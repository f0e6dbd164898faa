/// Numbers as characters: shortest digits, no locale.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "text/decimal_table.h"

namespace vesk::host {

/// Room that any number fits in: "-1.7976931348623157e+308" has 24 characters.
inline constexpr std::size_t kNumberRoom = 32;
static_assert(kNumberRoom >= 11 + kernels::kTableSlack);  // "-2147483648"

/// Writes a number and returns its end; no more than kNumberRoom is overwritten. The digits of a
/// floating-point number are the fewest that read back to the same value.
template <class T>
char* putNumber(char* out, T value) {
  static_assert(std::is_arithmetic_v<T>);
  if constexpr (std::is_floating_point_v<T> || sizeof(T) == 8)
    return std::to_chars(out, out + kNumberRoom, value).ptr;
  else if constexpr (std::is_signed_v<T>)
    return kernels::decimalByTable(out, std::int32_t{value});
  else
    return kernels::decimalByTable(out, std::uint32_t{value});
}

}  // namespace vesk::host
