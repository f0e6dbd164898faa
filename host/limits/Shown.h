/// A float as what is shown of it: its shortest digits.
#pragma once

#include <array>
#include <charconv>

#include "host/writing/Numbers.h"

namespace vesk::host {

/// The double nearest to the digits that every output shows of a finite float. Whoever reads 0.1 and
/// writes "maximum": 0.1 means that; the float itself is 0.100000001490116.
inline double shown(float value) {
  std::array<char, kNumberRoom> digits;
  double result = 0;
  std::from_chars(digits.data(), putNumber(digits.data(), value), result);
  return result;
}

}  // namespace vesk::host
