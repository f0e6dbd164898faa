/// Numbers as characters: shortest digits, no locale.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "plugin/vesk_plugin.h"
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
