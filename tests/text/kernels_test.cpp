// Each kernel against the C library, or against digits that are counted on by hand where the whole
// range is walked through. VESK_EXHAUSTIVE=1 leaves no value out.

#include "text/digits.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>

#include "tests/text/reference.h"
#include "tests/text/values.h"
#include "text/decimal_table.h"

namespace vesk::test {
namespace {

// ------------------------------------------------------------------------------------ hexadecimal

void checkHex(std::uint64_t value) {
  static Printed printed;
  const auto wide = static_cast<unsigned long long>(value);
  expectWritten(printed("%016llx", wide),
                [=](char* out) { return kernels::hex16(out, value, false); });
  expectWritten(printed("%016llX", wide),
                [=](char* out) { return kernels::hex16(out, value, true); });
}

TEST(Hex16, PrintsAsTheCLibrary) {
  for (const std::uint64_t value : boundaryIntegers<std::uint64_t>(1000)) checkHex(value);
  // Each digit at each place, alone and among Fs.
  for (std::uint64_t digit = 0; digit < 16; ++digit)
    for (int place = 0; place < 64; place += 4) {
      checkHex(digit << place);
      checkHex(~(digit << place));
    }
}

TEST(Hex, PrintsEveryShortAsTheCLibrary) {
  Printed printed;
  for (std::uint32_t value = 0; value <= 0xFFFF; ++value) {
    expectWritten(printed("%04x", value),
                  [=](char* out) { return kernels::hex(out, value, 4, false); });
    expectWritten(printed("%04X", value),
                  [=](char* out) { return kernels::hex(out, value, 4, true); });
  }
  for (std::uint32_t value = 0; value <= 0xFF; ++value) {
    expectWritten(printed("%02x", value),
                  [=](char* out) { return kernels::hex(out, value, 2, false); });
    expectWritten(printed("%02X", value),
                  [=](char* out) { return kernels::hex(out, value, 2, true); });
  }
}

TEST(Hex, PrintsEveryNumberOfDigits) {
  Printed printed;
  auto bits = generator();
  for (int digits = 1; digits <= 16; ++digits)
    for (int i = 0; i < 100; ++i) {
      const auto value = static_cast<unsigned long long>(bits() >> (64 - 4 * digits));
      for (const bool upper : {false, true})
        expectWritten(printed(upper ? "%0*llX" : "%0*llx", digits, value),
                      [=](char* out) { return kernels::hex(out, value, digits, upper); });
    }
}

// ---------------------------------------------------------------------------------------- decimal

static_assert(kernels::eightDigits(0) == 0);
static_assert(kernels::eightDigits(7) == 0x0700000000000000);
static_assert(kernels::eightDigits(12345678) == 0x0807060504030201);
static_assert(kernels::eightDigits(99999999) == 0x0909090909090909);
static_assert(kernels::eightDigits(10203040) == 0x0004000300020001);
static_assert(kernels::eightDigits(99990000) == 0x0000000009090909);

/// A number as a row of digits, the last one first, that is counted on digit by digit.
template <std::size_t size>
class Odometer {
 public:
  void step() {
    std::size_t i = 0;
    for (; i < size && _digits[i] == 9; ++i) _digits[i] = 0;
    if (i < size) ++_digits[i];
  }

  void set(std::uint64_t value) {
    for (unsigned char& digit : _digits) {
      digit = static_cast<unsigned char>(value % 10);
      value /= 10;
    }
  }

  unsigned char operator[](std::size_t i) const { return _digits[i]; }

 private:
  unsigned char _digits[size]{};
};

/// The stride over a whole range.
std::uint32_t stride(std::uint32_t fast, std::uint32_t slow) {
  return exhaustive() ? 1 : kSlowBuild ? slow : fast;
}

TEST(EightDigits, AreRightForEveryValue) {
  if (kSlowBuild && !exhaustive()) {
    for (std::uint32_t value = 0; value < 100000000; value += 101) {
      std::uint32_t rest = value;
      for (int i = 7; i >= 0; --i, rest /= 10)
        ASSERT_EQ(kernels::eightDigits(value) >> (8 * i) & 0xFF, rest % 10) << value;
    }
    return;
  }
  Odometer<8> digits;
  for (std::uint32_t value = 0; value < 100000000; ++value, digits.step()) {
    std::uint64_t expected = 0;
    for (std::size_t i = 0; i < 8; ++i) expected = expected << 8 | digits[i];
    if (kernels::eightDigits(value) != expected) FAIL() << value;
  }
}

TEST(Decimal8, PrintsAsTheCLibrary) {
  Printed printed;
  for (std::uint32_t value : boundaryIntegers<std::uint32_t>(1000)) {
    value %= 100000000;
    expectWritten(printed("%08u", value), [=](char* out) { return kernels::decimal8(out, value); });
  }
}

void checkDecimal(std::uint32_t value) {
  static Printed printed;
  expectWritten(printed("%u", value), [=](char* out) { return kernels::decimal(out, value); });
}

TEST(Decimal, PrintsUnsignedIntsAsTheCLibrary) {
  for (const std::uint32_t value : boundaryIntegers<std::uint32_t>(10000)) checkDecimal(value);
  for (std::uint32_t value = 0; value < 70000; ++value) checkDecimal(value);
  const std::uint32_t step = stride(3001, 30011);
  for (std::uint64_t value = 0; value <= 0xFFFFFFFF; value += step) {
    checkDecimal(static_cast<std::uint32_t>(value));
    if (failedOftenEnough()) return;
  }
}

TEST(Decimal, PrintsUnsignedLongLongsAsTheCLibrary) {
  Printed printed;
  const auto one = [&](std::uint64_t value) {
    expectWritten(printed("%llu", static_cast<unsigned long long>(value)),
                  [=](char* out) { return kernels::decimal(out, value); });
  };
  for (const std::uint64_t value : boundaryIntegers<std::uint64_t>(10000)) one(value);
  auto bits = generator();
  for (int i = 0; i < (kSlowBuild ? 20000 : 200000); ++i) {
    const std::uint64_t value = bits();
    one(value >> (value % 64));
  }
  // On both sides of where the heads and tails of eight digits meet.
  for (std::uint64_t head = 1; head < 184467440737; head = head * 3 + 1)
    for (const std::uint64_t tail : {0u, 1u, 9u, 10000u, 99999u, 99999999u})
      one(head * 100000000 + tail);
}

void checkByTable(std::uint32_t bits) {
  static Printed printed;
  static Guarded guarded;
  const auto check = [&](std::string_view expected, auto value) {
    const std::string_view got = guarded.withSlack(
        kernels::kTableSlack, [=](char* out) { return kernels::decimalByTable(out, value); });
    if (got != expected || !guarded.intact())
      ADD_FAILURE() << got << " instead of " << expected
                    << (guarded.intact() ? "" : ", and overwrote more than its slack");
  };
  check(printed("%u", bits), bits);
  check(printed("%d", static_cast<std::int32_t>(bits)), static_cast<std::int32_t>(bits));
}

TEST(DecimalByTable, PrintsAsTheCLibrary) {
  for (const std::uint32_t bits : boundaryIntegers<std::uint32_t>(10000)) checkByTable(bits);
  for (std::uint32_t bits = 0; bits < 70000; ++bits) checkByTable(bits);
  const std::uint32_t step = stride(3001, 30011);
  for (std::uint64_t bits = 0; bits <= 0xFFFFFFFF; bits += step) {
    checkByTable(static_cast<std::uint32_t>(bits));
    if (failedOftenEnough()) return;
  }
}

void checkColumn(std::uint32_t bits) {
  static Printed printed;
  const auto value = static_cast<std::int32_t>(bits);
  const std::uint32_t magnitude = value < 0 ? 0 - bits : bits;
  for (const int width : {11, 12, 13, 14}) {
    expectWritten(printed("%*d", width, value), [=](char* out) {
      return kernels::decimalColumn(out, magnitude, value < 0, width);
    });
    expectWritten(printed("%*u", width, bits),
                  [=](char* out) { return kernels::decimalColumn(out, bits, false, width); });
  }
}

TEST(DecimalColumn, PrintsAsTheCLibrary) {
  for (const std::uint32_t bits : boundaryIntegers<std::uint32_t>(1000)) checkColumn(bits);
  for (std::uint32_t bits = 0; bits <= 11000; ++bits) {
    checkColumn(bits);
    checkColumn(0 - bits);
  }
  const std::uint32_t step = stride(30011, 300007);
  for (std::uint64_t bits = 0; bits <= 0xFFFFFFFF; bits += step) {
    checkColumn(static_cast<std::uint32_t>(bits));
    if (failedOftenEnough()) return;
  }
}

// ------------------------------------------------------------------------------------ fixed point

void checkFixed(double value) {
  static Printed printed;
  ASSERT_TRUE(kernels::isFixed(value)) << value;
  const double magnitude = std::fabs(value);
  expectWritten(printed("%.3f", magnitude),
                [=](char* out) { return kernels::fixedMagnitude<3>(out, value); });
  expectWritten(printed("%.6f", magnitude),
                [=](char* out) { return kernels::fixedMagnitude<6>(out, value); });
}

TEST(FixedMagnitude, PrintsFloatsOfEveryExponentAsTheCLibrary) {
  const auto one = [](float value) {
    if (std::isfinite(value) && !failedOftenEnough()) checkFixed(value);
  };
  for (const float value : boundaryFloats<float>()) one(value);
  sweep<float>(exhaustive() ? 100000 : kSlowBuild ? 200 : 2000, one);
}

TEST(FixedMagnitude, RoundsTiesToEven) {
  // n / 2^k with an odd n: those with k over the precision end in ...5 behind the last digit, and
  // k = precision + 1 makes a tie of each.
  for (std::uint32_t n = 1; n < 200000; n += kSlowBuild ? 22 : 2) {
    checkFixed(n / 16.0);
    checkFixed(n / 32.0);
    checkFixed(n / 128.0);
    checkFixed(n / 2048.0);
    checkFixed(-(n / 16.0));
    if (failedOftenEnough()) return;
  }
}

TEST(FixedMagnitude, CarriesIntoTheWholePart) {
  char out[64];
  const auto print3 = [&](float value) {
    return std::string(out, kernels::fixedMagnitude<3>(out, value));
  };
  EXPECT_EQ(print3(0.9999f), "1.000");
  EXPECT_EQ(print3(9.99999f), "10.000");
  EXPECT_EQ(print3(99999.9999f), "100000.000");
  EXPECT_EQ(print3(0.0f), "0.000");
  EXPECT_EQ(print3(-0.0f), "0.000");
  EXPECT_EQ(print3(0.001f), "0.001");
  EXPECT_EQ(print3(-12.25f), "12.250");
  EXPECT_EQ(print3(99999.9921875f), "99999.992");
  EXPECT_EQ(print3(2147483520.0f), "2147483520.000");
  EXPECT_EQ(print3(2147483648.0f), "2147483648.000");
  EXPECT_EQ(print3(-0x1p127f), "170141183460469231731687303715884105728.000");
}

/// Just the finite floats, whatever type they come in.
TEST(IsFixed, HoldsForFloats) {
  const auto isFloat = [](double value) {
    // No more than 24 bits from the highest to the lowest that is set, and none below 2^-149.
    if (value == 0) return true;
    int exponent;
    const double fraction = std::frexp(std::fabs(value), &exponent);
    const double scaled = std::ldexp(fraction, std::min(24, exponent + 149));
    return scaled == std::floor(scaled);
  };
  const auto one = [&](double value) {
    const bool expected = std::fabs(value) < 0x1p128 && isFloat(value);  // false for NaN
    if (kernels::isFixed(value) != expected) ADD_FAILURE() << std::hexfloat << value;
  };
  for (const double value : boundaryFloats<double>()) one(value);
  for (const float value : boundaryFloats<float>()) one(value);
  sweep<double>(kSlowBuild ? 4 : 40, one);
  sweep<float>(kSlowBuild ? 4 : 40, [&](float value) { one(value); });
  for (const double limit : {0x1p31, 0x1p32, 0x1.fffffep30, 0x1p127, 0x1p128, 0x1.fffffep127})
    for (const double value :
         {limit, -limit, std::nextafter(limit, 0), std::nextafter(limit, 1e300)}) {
      one(value);
      one(-value);
    }
}

}  // namespace
}  // namespace vesk::test
