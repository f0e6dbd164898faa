/// Numbers as the C types that their kinds name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "plugin/vesk_plugin.h"

namespace vesk::host {

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

/// How many bytes a number of this kind takes; 0 if the kind isn't known.
inline std::size_t sizeOfKind(std::int32_t kind) {
  std::size_t size = 0;
  withValues(kind, nullptr, 0, [&](auto numbers) { size = sizeof(*numbers.data()); });
  return size;
}

}  // namespace vesk::host
