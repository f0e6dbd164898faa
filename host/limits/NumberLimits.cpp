#include "host/limits/NumberLimits.h"

#include <algorithm>
#include <type_traits>

namespace vesk::host {

template <class T>
std::string NumberLimits<T>::complaint(T value) const {
  if (value < low) return "below the " + lowText;
  if (value > high) return "above the " + highText;
  if (!allowed.empty() && !isAllowed(value)) return "not " + allowedText;
  return "not " + divisorText;
}

template <class T>
bool NumberLimits<T>::isAllowed(T value) const {
  return std::ranges::binary_search(allowed, value);
}

template <class T>
bool NumberLimits<T>::isMultiple(T value) const {
  if constexpr (std::is_floating_point_v<T>) {
    return true;  // never asked for
  } else {
    auto magnitude = static_cast<std::uint64_t>(value);
    if constexpr (std::is_signed_v<T>)
      if (value < 0) magnitude = 0 - magnitude;
    return std::ranges::all_of(divisors,
                               [&](std::uint64_t divisor) { return magnitude % divisor == 0; });
  }
}

template struct NumberLimits<std::int64_t>;
template struct NumberLimits<std::uint64_t>;
template struct NumberLimits<double>;

}  // namespace vesk::host
