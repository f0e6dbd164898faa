/// Values at which conversions go wrong, if they do.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "tests/text/reference.h"

namespace vesk::test {

/// Zero, both ends, every power of ten and of two with their neighbours, and some random ones.
template <class T>
std::vector<T> boundaryIntegers(int random = 4) {
  using Unsigned = std::make_unsigned_t<T>;
  std::vector<T> values;
  const auto around = [&values](Unsigned value) {
    for (int step = -1; step <= 1; ++step) {
      const auto near = static_cast<Unsigned>(value + static_cast<Unsigned>(step));
      values.push_back(static_cast<T>(near));
      values.push_back(static_cast<T>(static_cast<Unsigned>(0 - near)));
    }
  };
  const auto most = std::numeric_limits<Unsigned>::max();
  for (Unsigned power = 1;; power = static_cast<Unsigned>(power * 10)) {
    around(power);
    if (power > most / 10) break;
  }
  for (int bit = 7; bit < std::numeric_limits<Unsigned>::digits; bit += 8)
    around(static_cast<Unsigned>(Unsigned{1} << bit));
  auto bits = generator();
  for (int i = 0; i < random; ++i) {
    values.push_back(static_cast<T>(bits()));
    values.push_back(static_cast<T>(static_cast<Unsigned>(bits()) >> (bits() % 32)));
  }
  return values;
}

template <class Float>
using BitsOf = std::conditional_t<sizeof(Float) == 4, std::uint32_t, std::uint64_t>;

/// Values of every kind: zeros, NaNs, infinities, denormals, ties, both sides of each limit that
/// the conversion has.
template <class Float>
std::vector<Float> boundaryFloats() {
  using Limits = std::numeric_limits<Float>;
  std::vector<Float> values;
  const auto add = [&values](auto value) {
    const auto narrowed = static_cast<Float>(value);
    const auto bits = std::bit_cast<BitsOf<Float>>(narrowed);
    for (const int step : {0, 1, -1}) {  // the neighbours in the order of bit patterns
      if (narrowed == 0 && step < 0) continue;
      const auto near =
          std::bit_cast<Float>(static_cast<BitsOf<Float>>(bits + static_cast<BitsOf<Float>>(step)));
      values.push_back(near);
      values.push_back(-near);
    }
  };
  for (const double value : {0.0, 1.0, 9.0, 10.0, 0.1, 0.2, 0.3, 99.0, 100.0, 1e3, 1e6, 1e9, 1e15})
    add(value);
  for (const double whole : {0.0, 1.0, 2.0, 7.0, 8.0, 1023.0, 4194303.0, 1048575.0})
    for (const double fraction : {0.5,
                                  0.25,
                                  0.125,
                                  0.0625,
                                  0.03125,
                                  0.0005,
                                  0.0015,
                                  0.0000005,
                                  0.0000015,
                                  0.9995,
                                  0.9999995,
                                  0.99999999})
      add(whole + fraction);
  for (const double limit : {0x1p23,
                             0x1p24,
                             0x1p31,
                             0x1p32,
                             0x1p51,
                             0x1p52,
                             0x1p53,
                             0x1p63,
                             0x1p64,
                             0x1p65,
                             1e19,
                             1e20,
                             1e21,
                             1e22,
                             1e38})
    add(limit);
  add(Limits::denorm_min());
  add(Limits::min());
  add(Limits::max());  // and its neighbour, the infinity
  for (const Float nan : {Limits::quiet_NaN(), Limits::infinity()}) {
    values.push_back(nan);
    values.push_back(-nan);
  }
  return values;
}

/// Calls `check` with floats of every exponent and both signs: the mantissas at both ends, those
/// with one bit, and `random` random ones.
template <class Float, class Check>
void sweep(int random, const Check& check) {
  using Bits = BitsOf<Float>;
  constexpr int mantissaBits = std::numeric_limits<Float>::digits - 1;
  constexpr Bits one = 1;
  constexpr Bits mantissas = one << mantissaBits;
  constexpr Bits exponents = one << (8 * sizeof(Float) - 1 - mantissaBits);
  auto source = generator();
  for (Bits exponent = 0; exponent < exponents; ++exponent) {
    const auto both = [&](Bits mantissa) {
      const Bits bits = exponent << mantissaBits | (mantissa & (mantissas - 1));
      check(std::bit_cast<Float>(bits));
      check(std::bit_cast<Float>(static_cast<Bits>(bits | one << (8 * sizeof(Float) - 1))));
    };
    for (const Bits mantissa : {Bits{0},
                                one,
                                static_cast<Bits>(mantissas - 1),
                                static_cast<Bits>(mantissas / 2),
                                static_cast<Bits>(mantissas / 4)})
      both(mantissa);
    for (int i = 0; i < random; ++i) {
      const auto bits = static_cast<Bits>(source());
      // Half of them with a short mantissa: those are the ones that end in a tie.
      both(i % 2 == 0 ? bits : static_cast<Bits>(bits << (mantissaBits - 12)));
    }
  }
}

}  // namespace vesk::test
