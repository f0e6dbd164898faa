// Formats that are template arguments, against the C library: those of strings and floats that the
// reports use, and the other kinds of arguments.

#include "text/format.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/text/compiled.h"
#include "tests/text/reference.h"
#include "tests/text/values.h"

namespace vesk::test {
namespace {

using format::Literal;
using format::Text;

// ------------------------------------------------------------------------ the reports' own formats

template <Literal... text>
void checkStringFormats() {
  for (const std::string& value : kStrings) {
    (check<text>(value), ...);
    (check<text>(value.c_str()), ...);
    (check<text>(std::string_view(value)), ...);
  }
  (check<text>(static_cast<const char*>(nullptr)), ...);
}

TEST(CompiledFormat, PrintsTheReportsStrings) {
  checkStringFormats<"%s",
                     "%40s",
                     "[%s I]",
                     "[%s Q]",
                     "Severity Level: %s",
                     "\tOpen  BOTH %s",
                     "Open/Short Test %s Data:",
                     "ADC Dump State: %s",
                     "Brownout: %s">();
  for (const std::string& name : kStrings)
    for (const std::string& value : kStrings) {
      check<"%40s:  %s">(name, value);
      check<"%40s: %s %s">(name, value, name);
      check<"%s %s">(name, value);
      check<"%s%s">(name, value);
    }
}

template <Literal... text>
void checkFloatFormats() {
  const auto one = [](auto value) {
    (check<text>(value), ...);
    (check<text>(wire::Field<decltype(value)>::of(value)), ...);
  };
  for (const float value : boundaryFloats<float>()) one(value);
  for (const double value : boundaryFloats<double>()) one(value);
  sweep<float>(kSlowBuild ? 8 : 60, [&](float value) {
    if (!failedOftenEnough()) one(value);
  });
  sweep<double>(kSlowBuild ? 0 : 4, [&](double value) {
    if (!failedOftenEnough()) one(value);
  });
}

TEST(CompiledFormat, PrintsTheReportsFloats) {
  checkFloatFormats<"% -13.3f ", "[TMON = %f degC]", "Feed Wallclock:%15.3f">();
}

// --------------------------------------------------------------------------------- other arguments

TEST(CompiledFormat, WritesTextWithoutConversions) {
  EXPECT_EQ(format::string<"text">(), "text");
  EXPECT_EQ(format::string<"">(), "");
}

TEST(CompiledFormat, KeepsTextBetweenConversions) {
  EXPECT_EQ((format::string<"a%ub%sc%.3fd">(1u, "x", 2.5)), "a1bxc2.500d");
  EXPECT_EQ((format::string<"%u%u%u">(1u, 22u, 333u)), "122333");
  EXPECT_EQ((format::string<"%02x%08x%.3f%s%14d%u">(std::uint8_t{10}, 1u, 1.5f, "s", -7, 0u)),
            "0a000000011.500s            -70");
}

TEST(CompiledFormat, TakesConstantTexts) {
  static constexpr Text<16> kShort("PSE");
  static constexpr Text<48> kPadded("PSE", 40);
  static constexpr Text<16> kFull("0123456789ABCDEF");
  static constexpr Text<16> kEmpty;
  static_assert(kPadded.view().size() == 40 && kPadded.view().ends_with(" PSE"));

  EXPECT_EQ((format::string<"<%s>">(kShort)), "<PSE>");
  EXPECT_EQ((format::string<"<%s>">(kPadded)), "<" + std::string(37, ' ') + "PSE>");
  EXPECT_EQ((format::string<"<%s>">(kFull)), "<0123456789ABCDEF>");
  EXPECT_EQ((format::string<"<%s>">(kEmpty)), "<>");
  EXPECT_EQ((format::string<"<%5s|%-5s|%2s|%.2s>">(kShort, kShort, kShort, kShort)),
            "<  PSE|PSE  |PSE|PS>");
  EXPECT_EQ((format::string<"<%4s|%-4s|%3s>">(kShort, kShort, kShort)), "< PSE|PSE |PSE>");
  EXPECT_EQ((format::string<"<%20s>">(kFull)), "<    0123456789ABCDEF>");
}

TEST(Text, JoinsTexts) {
  EXPECT_EQ(Text<32>("a", "bc", std::string_view("def")).view(), "abcdef");
  EXPECT_EQ(Text<16>("0123456789", "ABCDEF").view(), "0123456789ABCDEF");
  EXPECT_EQ(Text<16>("", "").view(), "");
}

/// Text that writes itself.
struct Twice {
  static constexpr std::size_t kMaximumSize = 2;
  char letter;
  char* write(char* out) const { return std::fill_n(out, 2, letter); }
};

TEST(CompiledFormat, TakesTextThatWritesItself) {
  EXPECT_EQ(format::string<"<%s|%u>">(Twice{'x'}, 7u), "<xx|7>");
  EXPECT_EQ(format::size<"<%s>">(Twice{'x'}), 4u);
}

}  // namespace
}  // namespace vesk::test

/// A type that stands for a value of another one.
struct Celsius {
  float degrees;
};

template <>
struct vesk::format::Argument<Celsius> {
  static float value(const Celsius& argument) { return argument.degrees; }
};

namespace vesk::test {
namespace {

TEST(CompiledFormat, TakesWhatConvertsAsAnotherValue) {
  EXPECT_EQ(format::string<"[TMON = %.3f degC]">(Celsius{36.5f}), "[TMON = 36.500 degC]");
  EXPECT_GE(format::size<"%.3f">(Celsius{36.5f}), 6u);
  EXPECT_EQ((format::maximumSize<"%f", Celsius>()), (format::maximumSize<"%f", float>()));
}

TEST(Text, RefusesWhatDoesNotFit) {
  EXPECT_THROW(Text<16>("0123456789ABCDEF0"), std::length_error);
  EXPECT_THROW(Text<16>("a", 17), std::length_error);
  EXPECT_THROW(Text<16>("0123456789", "ABCDEFG"), std::length_error);
  EXPECT_NO_THROW(Text<16>("a", 16));
}

/// No value needs more than the maximum of its type.
template <Literal text, class T>
void checkMaximumSize(const std::vector<T>& values) {
  for (const T value : values) {
    const std::string printed = format::string<text>(value);
    EXPECT_LE(printed.size(), (format::maximumSize<text, T>())) << printed;
  }
}

TEST(CompiledFormat, KnowsTheMaximumOfItsSize) {
  checkMaximumSize<"%d">(boundaryIntegers<std::int32_t>());
  checkMaximumSize<"x%14dy">(boundaryIntegers<std::int32_t>());
  checkMaximumSize<"%#.30x">(boundaryIntegers<std::uint32_t>());
  checkMaximumSize<"%+lld">(boundaryIntegers<std::int64_t>());
  checkMaximumSize<"%40llX">(boundaryIntegers<std::uint64_t>());
  checkMaximumSize<"%02x">(boundaryIntegers<std::uint8_t>());
  checkMaximumSize<"%f">(boundaryFloats<float>());
  checkMaximumSize<"% -13.3f ">(boundaryFloats<float>());
  checkMaximumSize<"%+.17f">(boundaryFloats<float>());
  checkMaximumSize<"%99f">(boundaryFloats<float>());
  EXPECT_EQ((format::maximumSize<"%s, %s", Text<48>, Text<16>>()), 48u + 2 + 16);
  EXPECT_EQ((format::maximumSize<"%u", u32>()), (format::maximumSize<"%u", std::uint32_t>()));
}

}  // namespace
}  // namespace vesk::test
