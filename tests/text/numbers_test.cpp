// Whole numbers out of text against the C library's strtoull, and hexadecimal digits.

#include "text/numbers.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "tests/text/reference.h"
#include "tests/text/values.h"

namespace vesk::test {
namespace {

TEST(Numbers, ParseAsTheCLibrary) {
  Printed printed;
  for (const std::uint64_t value : boundaryIntegers<std::uint64_t>(1000)) {
    const auto wide = static_cast<unsigned long long>(value);
    for (const auto& [format, base] :
         {std::pair("%llu", 10), {"%llo", 8}, {"%llx", 16}, {"%llX", 16}}) {
      const std::string text(printed(format, wide));
      ASSERT_EQ(std::strtoull(text.c_str(), nullptr, base), value);
      EXPECT_EQ(parseNumber<std::uint64_t>(text, base), value) << text;
      const auto narrow = parseNumber<std::uint32_t>(text, base);
      EXPECT_EQ(narrow.has_value(), value <= 0xFFFFFFFF) << text;
      if (narrow.has_value()) {
        EXPECT_EQ(*narrow, value);
      }
    }
  }
}

TEST(Numbers, HoldNoMoreThanTheirType) {
  EXPECT_EQ(parseNumber<std::uint8_t>("255"), 255);
  EXPECT_EQ(parseNumber<std::uint8_t>("256"), std::nullopt);
  EXPECT_EQ(parseNumber<std::uint16_t>("65535"), 65535);
  EXPECT_EQ(parseNumber<std::uint16_t>("65536"), std::nullopt);
  EXPECT_EQ(parseNumber<std::uint64_t>("18446744073709551615"), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(parseNumber<std::uint64_t>("18446744073709551616"), std::nullopt);
  EXPECT_EQ(parseNumber<std::uint64_t>("000000000000000000000000000000000000000007"), 7u);
}

TEST(Numbers, AreTheWholeText) {
  using namespace std::string_view_literals;
  for (const std::string_view text : {""sv,
                                      " "sv,
                                      " 1"sv,
                                      "1 "sv,
                                      "+1"sv,
                                      "-1"sv,
                                      "-0"sv,
                                      "0x1"sv,
                                      "1,"sv,
                                      "1.0"sv,
                                      "1e3"sv,
                                      "a"sv,
                                      "1\0"sv,
                                      "\0"sv,
                                      "8a"sv})
    EXPECT_EQ(parseNumber<std::uint32_t>(text), std::nullopt) << '"' << text << '"';
  for (const std::string_view text : {""sv, "0x1"sv, "g"sv, "fg"sv, "-f"sv, "8 "sv})
    EXPECT_EQ(parseNumber<std::uint32_t>(text, 16), std::nullopt) << '"' << text << '"';
  EXPECT_EQ(parseNumber<std::uint32_t>("8", 8), std::nullopt);
  EXPECT_EQ(parseNumber<std::uint32_t>(std::string_view()), std::nullopt);
  // Nothing behind the text is looked at.
  EXPECT_EQ(parseNumber<std::uint32_t>(std::string_view("12345", 3)), 123u);
}

TEST(Numbers, AreHexadecimalBehindTheirPrefix) {
  EXPECT_EQ(parseDecimalOrHex<std::uint32_t>("0x76"), 118u);
  EXPECT_EQ(parseDecimalOrHex<std::uint32_t>("0XfF"), 255u);
  EXPECT_EQ(parseDecimalOrHex<std::uint32_t>("76"), 76u);
  EXPECT_EQ(parseDecimalOrHex<std::uint32_t>("010"), 10u);
  EXPECT_EQ(parseDecimalOrHex<std::uint32_t>("0"), 0u);
  EXPECT_EQ(parseDecimalOrHex<std::uint8_t>("0xff"), 255);
  EXPECT_EQ(parseDecimalOrHex<std::uint8_t>("0x100"), std::nullopt);
  for (const char* const text : {"", "0x", "0X", "x1", "ff", "0x0x1", "0x-1", "0x ", "-0x1", "0xg"})
    EXPECT_EQ(parseDecimalOrHex<std::uint32_t>(text), std::nullopt) << text;
}

static_assert(hexDigit('0') == 0 && hexDigit('9') == 9 && hexDigit('a') == 10 &&
              hexDigit('F') == 15);

/// Every character against the digits put down by hand.
TEST(HexDigit, HasAValueForTwentyTwoCharacters) {
  constexpr std::string_view lower = "0123456789abcdef";
  constexpr std::string_view upper = "0123456789ABCDEF";
  for (int i = 0; i < 256; ++i) {
    const auto character = static_cast<char>(i);
    std::size_t value = lower.find(character);
    if (value == lower.npos) value = upper.find(character);
    EXPECT_EQ(hexDigit(character), value == lower.npos ? -1 : static_cast<int>(value)) << i;
  }
}

TEST(HexByte, PrintsEachByteAsTheCLibrary) {
  Printed printed;
  for (unsigned byte = 0; byte < 256; ++byte) {
    char out[3] = {'\0', '\0', '!'};
    EXPECT_EQ(writeHexByte(out, static_cast<std::uint8_t>(byte)), out + 2);
    EXPECT_EQ(std::string_view(out, 3), std::string(printed("%02x", byte)) + '!');
  }
}

}  // namespace
}  // namespace vesk::test
