/// What a number may be, compared exactly.
///
/// All limits are of one of three types, which holds every number of a kind as it is: int64_t for
/// int and long long, uint64_t for unsigned kinds and bool, double for float (as shown()) and double.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace vesk::host {

template <class T>
struct NumberLimits {
  // Both ends belong to the range. NaN and the infinities are in none.
  T low = std::numeric_limits<T>::lowest();
  T high = std::numeric_limits<T>::max();
  std::vector<T> allowed{};                  // sorted; empty: all
  std::vector<std::uint64_t> divisors{};     // of its magnitude; whole numbers only
  std::string lowText{}, highText{};         // "minimum 3"; empty where there is none
  std::string allowedText{}, divisorText{};  // "0", "one of 1, 2"; "a multiple of 4"

  bool holds(T value) const { return value >= low && value <= high && holdsRest(value); }

  /// What is wrong with a number that doesn't hold: "below the minimum 3".
  std::string complaint(T value) const;

 private:
  bool holdsRest(T value) const {
    return (allowed.empty() || isAllowed(value)) && (divisors.empty() || isMultiple(value));
  }
  bool isAllowed(T value) const;
  bool isMultiple(T value) const;
};

}  // namespace vesk::host
