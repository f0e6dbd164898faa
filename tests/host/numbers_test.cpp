// Numbers as characters, against the C++ library.

#include <gtest/gtest.h>

#include <array>
#include <charconv>
#include <limits>
#include <string>

#include "host/Kinds.h"
#include "host/outputs/Output.h"
#include "host/writing/Numbers.h"
#include "host/writing/Utf8.h"

namespace vesk::host {
namespace {

template <class T>
void expectSameDigits(T value) {
  std::array<char, kNumberRoom> ours;
  std::array<char, kNumberRoom> theirs;
  const std::string_view written(
      ours.data(), static_cast<std::size_t>(putNumber(ours.data(), value) - ours.data()));
  const auto end = std::to_chars(theirs.data(), theirs.data() + theirs.size(), value).ptr;
  ASSERT_EQ(written,
            std::string_view(theirs.data(), static_cast<std::size_t>(end - theirs.data())));
}

TEST(Numbers, EachLengthAndEachGroupOfDigits) {
  for (std::uint32_t value = 0; value < 200000; ++value) expectSameDigits(value);
  for (std::uint64_t power = 1; power < 10'000'000'000; power *= 10)
    for (std::uint64_t step = 0; step < 20000; step += 7) {
      expectSameDigits(static_cast<std::uint32_t>(power + step));
      expectSameDigits(static_cast<std::uint32_t>(power - step));
      expectSameDigits(static_cast<std::int32_t>(power - step));
      expectSameDigits(-static_cast<std::int64_t>(power + step));
    }
}

TEST(Numbers, AcrossAllValues) {
  for (std::uint64_t value = 0; value < (std::uint64_t{1} << 32); value += 99991) {
    expectSameDigits(static_cast<std::uint32_t>(value));
    expectSameDigits(static_cast<std::int32_t>(static_cast<std::uint32_t>(value)));
  }
}

TEST(Numbers, Limits) {
  expectSameDigits(std::numeric_limits<std::uint32_t>::max());
  expectSameDigits(std::numeric_limits<std::int32_t>::min());
  expectSameDigits(std::numeric_limits<std::uint64_t>::max());
  expectSameDigits(std::numeric_limits<std::int64_t>::min());
  expectSameDigits(std::numeric_limits<double>::lowest());
  expectSameDigits(std::numeric_limits<double>::denorm_min());
}

TEST(Numbers, EveryKindOfArrayAndOfNumber) {
  const std::uint16_t shorts[] = {1, 65535};
  std::size_t width = 0;
  withValues(VESK_UNSIGNED_SHORT, shorts, 2, [&](auto values) {
    width = sizeof values[0];
    EXPECT_EQ(values.back(), 65535);
  });
  EXPECT_EQ(width, 2u);

  const std::pair<std::int32_t, std::size_t> widths[] = {{VESK_BOOL, 1},
                                                         {VESK_UNSIGNED_CHAR, 1},
                                                         {VESK_UNSIGNED_INT, 4},
                                                         {VESK_INT, 4},
                                                         {VESK_LONG_LONG, 8},
                                                         {VESK_UNSIGNED_LONG_LONG, 8},
                                                         {VESK_FLOAT, 4},
                                                         {VESK_DOUBLE, 8}};
  const std::uint64_t zero = 0;
  for (const auto& [kind, expected] : widths) {
    withValues(kind, &zero, 1, [&](auto values) { width = sizeof values[0]; });
    EXPECT_EQ(width, expected) << kind;
  }

  vesk_number number{};
  number.kind = VESK_FLOAT;
  number.value.d = 0.1F;
  withValue(number, [](auto value) { expectSameDigits(value); });
  number.kind = VESK_LONG_LONG;
  number.value.i = -1;
  withValue(number, [](auto value) { EXPECT_LT(static_cast<double>(value), 0); });
}

TEST(Numbers, Seconds) {
  EXPECT_EQ(secondsText(0), "0.000000");
  EXPECT_EQ(secondsText(12'000'034), "12.000034");
  EXPECT_EQ(secondsText(-1), "-0.000001");
  EXPECT_EQ(secondsText(std::numeric_limits<std::int64_t>::min()), "-9223372036854.775808");
}

TEST(Utf8, WhatIsValidStays) {
  for (const char* text : {"",
                           "plain",
                           "\xC2\x80",
                           "\xDF\xBF",
                           "\xE0\xA0\x80",
                           "\xED\x9F\xBF",
                           "\xEE\x80\x80",
                           "\xF0\x90\x80\x80",
                           "\xF4\x8F\xBF\xBF"})
    EXPECT_EQ(asUtf8(text), text);
}

TEST(Utf8, WhatIsNotIsReplacedByteByByte) {
  const std::string mark = "\xEF\xBF\xBD";
  for (const char* text : {"\x80",
                           "\xC0\xAF",
                           "\xC1\xBF",
                           "\xE0\x9F\xBF",
                           "\xED\xA0\x80",
                           "\xE2\x82",
                           "\xF0\x8F\xBF\xBF",
                           "\xF4\x90\x80\x80",
                           "\xF5\x80\x80\x80",
                           "\xFF"}) {
    std::string expected;
    for (std::size_t i = 0; i < std::string_view(text).size(); ++i) expected += mark;
    EXPECT_EQ(asUtf8(text), expected);
  }
  EXPECT_EQ(asUtf8("a\xC3"), "a" + mark);
}

}  // namespace
}  // namespace vesk::host
