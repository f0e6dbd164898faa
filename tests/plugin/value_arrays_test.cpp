// Runs of 32-bit values as lines and as numbers.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <limits>

#include "tests/support/support.h"

namespace vesk {
namespace {

using test::Lines;
using test::makePlugin;

/// Elements in wire order, at an odd address.
template <class T>
class Elements {
 public:
  Elements(std::initializer_list<std::uint32_t> bits)
      : Elements(std::vector<std::uint32_t>(bits)) {}
  explicit Elements(const std::vector<std::uint32_t>& bits) : _bytes(1 + 4 * bits.size()) {
    std::size_t at = 1;
    for (const std::uint32_t value : bits)
      for (int i = 0; i < 4; ++i) _bytes[at++] = static_cast<unsigned char>(value >> 8 * i);
  }
  const wire::Field<T>* data() const {
    return reinterpret_cast<const wire::Field<T>*>(_bytes.data() + 1);
  }
  std::uint32_t size() const { return static_cast<std::uint32_t>(_bytes.size() / 4); }

 private:
  std::vector<unsigned char> _bytes;
};

std::uint32_t bits(float value) { return std::bit_cast<std::uint32_t>(value); }

template <class T>
Lines add(const Elements<T>& elements, const char* format) {
  const auto plugin = makePlugin();
  LineList list;
  if constexpr (std::is_same_v<T, float>)
    plugin->addArrayFloat(list, elements.data(), elements.size(), format);
  else if constexpr (std::is_same_v<T, std::int32_t>)
    plugin->addArrayInt32(list, elements.data(), elements.size(), format);
  else
    plugin->addArrayUint32(list, elements.data(), elements.size(), format);
  return test::linesOf(Result(list));
}

using Ints = Elements<std::int32_t>;
using Unsigneds = Elements<std::uint32_t>;
using Floats = Elements<float>;

TEST(ValueArrays, NoElementAddsOneEmptyLine) {
  EXPECT_EQ(add(Ints{}, "%14d "), Lines{""});
  EXPECT_EQ(add(Unsigneds{}, "%08x "), Lines{""});
  EXPECT_EQ(add(Floats{}, "% -13.3f "), Lines{""});
}

TEST(ValueArrays, NoElementAddsItsLineWhateverTheFormat) {
  for (const char* const format :
       {"", "%", "%s", "%n", "%d %d", "%g", "%o", "%d", "%f", "%1000d"}) {
    EXPECT_EQ(add(Ints{}, format), Lines{""}) << format;
    EXPECT_EQ(add(Unsigneds{}, format), Lines{""}) << format;
    EXPECT_EQ(add(Floats{}, format), Lines{""}) << format;
  }
  // Without a look at it, nor at the elements.
  const auto plugin = makePlugin();
  LineList list;
  list.add("before");
  plugin->addArrayUint32(list, nullptr, 0, nullptr);
  plugin->addArrayInt32(list, nullptr, 0, nullptr);
  plugin->addArrayFloat(list, nullptr, 0, nullptr);
  EXPECT_EQ(test::linesOf(Result(list)), (Lines{"before", "", "", ""}));
}

TEST(ValueArrays, NoElementIsAnEmptyArray) {
  const auto plugin = makePlugin();
  EXPECT_EQ(plugin->arrayWithInt32Array(nullptr, 0).size(), 0u);
  EXPECT_EQ(plugin->arrayWithUint32Array(nullptr, 0).size(), 0u);
  EXPECT_EQ(plugin->arrayWithFloatArray(nullptr, 0).size(), 0u);
}

TEST(ValueArrays, EightElementsAreOneLine) {
  EXPECT_EQ(add(Unsigneds{1, 2, 3, 4, 5, 6, 7, 8}, "%u,"), Lines{"1,2,3,4,5,6,7,8,"});
}

TEST(ValueArrays, NineElementsAreTwoLines) {
  EXPECT_EQ(add(Unsigneds{1, 2, 3, 4, 5, 6, 7, 8, 9}, "%u,"), (Lines{"1,2,3,4,5,6,7,8,", "9,"}));
  EXPECT_EQ(add(Ints{0, 1, 2, 3, 4, 5, 6, 7, 0x80000000}, "%08x "),
            (Lines{"00000000 00000001 00000002 00000003 00000004 00000005 00000006 00000007 ",
                   "80000000 "}));
}

TEST(ValueArrays, SixteenElementsAreTwoFullLines) {
  EXPECT_EQ(add(Ints{0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1}, "%i"),
            (Lines{"00000000", "11111111"}));
}

TEST(ValueArrays, TheConversionDecidesHowTheBitsRead) {
  EXPECT_EQ(add(Ints{0xFFFFFFFF}, "%14d "), Lines{"            -1 "});
  EXPECT_EQ(add(Ints{0xFFFFFFFF}, "%08x "), Lines{"ffffffff "});
  EXPECT_EQ(add(Ints{0xFFFFFFFF}, "%u "), Lines{"4294967295 "});
  EXPECT_EQ(add(Unsigneds{0xFFFFFFFF}, "%14d "), Lines{"            -1 "});
  EXPECT_EQ(add(Unsigneds{0xFFFFFFFF}, "%u "), Lines{"4294967295 "});
  EXPECT_EQ(add(Ints{0x80000000}, "%14d "), Lines{"   -2147483648 "});
}

TEST(ValueArrays, FloatsInTheColumnsOfTheBaseline) {
  EXPECT_EQ(add(Floats{bits(1.5f)}, "% -13.3f "), Lines{" 1.500        "});
  EXPECT_EQ(add(Floats{bits(-2.25f)}, "% -13.3f "), Lines{"-2.250        "});
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(
      add(Floats{bits(nan), bits(nan) | 0x80000000, bits(INFINITY), bits(-INFINITY)}, "% -13.3f "),
      Lines{" nan          -nan           inf          -inf          "});
}

// ------------------------------------------------------------------------------- of every length

/// Elements that have 1 to 11 characters in decimal, and all digits.
template <class T>
Elements<T> someElements(std::uint32_t count) {
  std::vector<std::uint32_t> values;
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint32_t value = 0x9E3779B9 * (i + 1) >> i * 7 % 32;
    values.push_back(std::is_same_v<T, float> ? bits(static_cast<float>(value) / 1000) : value);
    if (i % 3 == 1) values.back() ^= 0x80000000;
  }
  return Elements<T>(values);
}

/// The lines that the C library makes of them.
template <class T>
Lines printed(const Elements<T>& elements, const char* format) {
  Lines lines;
  for (std::uint32_t i = 0; i < elements.size(); ++i) {
    if (i % 8 == 0) lines.emplace_back();
    const auto value = elements.data()[i].value();
    char text[128];
    int size = 0;
    if constexpr (std::is_same_v<T, float>)
      size = std::snprintf(text, sizeof text, format, static_cast<double>(value));
    else
      size = std::snprintf(text, sizeof text, format, value);
    lines.back().append(text, static_cast<std::size_t>(size));
  }
  return lines;
}

template <class T>
void checkLengths(const char* format) {
  for (std::uint32_t count = 1; count <= 42; ++count) {
    const auto elements = someElements<T>(count);
    EXPECT_EQ(add(elements, format), printed(elements, format)) << format << count;
  }
}

TEST(ValueArrays, AnyNumberOfElements) {
  // The formats of the reports, one in which each differs from its neighbours, and any other.
  for (const char* const format : {"%08x ",
                                   "%08X ",
                                   "%08x",
                                   "%08x  ",
                                   "%8x ",
                                   "%08u ",
                                   "0%08x ",
                                   "%14d ",
                                   "%14i ",
                                   "%14u ",
                                   "%14d",
                                   "%14d  ",
                                   "%-14d ",
                                   "%15d ",
                                   "%o,",
                                   "%c",
                                   "%1.3d;"}) {
    checkLengths<std::int32_t>(format);
    checkLengths<std::uint32_t>(format);
  }
  for (const char* const format : {"% -13.3f ",
                                   "% -13.3F ",
                                   "% -13.3f",
                                   "% -13.3f  ",
                                   "%-13.3f ",
                                   "% 13.3f ",
                                   "% -14.3f ",
                                   "% -13.4f ",
                                   "%g,",
                                   "%.0e "})
    checkLengths<float>(format);
}

TEST(ValueArrays, WhatIsLeftOverStandsInALineOfItsOwn) {
  const auto hex = Unsigneds{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 0xABCDEF, 0xB, 0xFFFFFFFF};
  EXPECT_EQ(add(hex, "%08x "),
            (Lines{"00000000 00000001 00000002 00000003 00000004 00000005 00000006 00000007 ",
                   "00000008 00000009 00abcdef 0000000b ffffffff "}));
  EXPECT_EQ(add(hex, "%08X ")[1], "00000008 00000009 00ABCDEF 0000000B FFFFFFFF ");
  EXPECT_EQ(add(hex, "%14d ")[1],
            "             8              9       11259375             11             -1 ");
  const float f[] = {1.5f, -2.25f};
  const auto floats = Floats{bits(f[0]), 0, 0, 0, 0, 0, 0, bits(f[1]), bits(f[1]), bits(f[0])};
  EXPECT_EQ(add(floats, "% -13.3f "),
            (Lines{" 1.500         0.000         0.000         0.000         0.000        "
                   " 0.000         0.000        -2.250        ",
                   "-2.250         1.500        "}));
}

// ------------------------------------------------------------------------------- any other format

TEST(ValueArrays, AnyFormatOfOneConversionServes) {
  EXPECT_EQ(add(Ints{5, 0xFFFFFFFB}, "<%+5i>"), Lines{"<   +5><   -5>"});
  EXPECT_EQ(add(Unsigneds{255}, "%#X;"), Lines{"0XFF;"});
  EXPECT_EQ(add(Unsigneds{7}, "%-4u|"), Lines{"7   |"});
  EXPECT_EQ(add(Floats{bits(0.125f)}, "%.2f"), Lines{"0.12"});
}

TEST(ValueArrays, TheConversionsThatReportsDoNotUse) {
  EXPECT_EQ(add(Unsigneds{8, 0xFFFFFFFF}, "%o "), Lines{"10 37777777777 "});
  EXPECT_EQ(add(Ints{8, 0xFFFFFFFF}, "%#o "), Lines{"010 037777777777 "});
  EXPECT_EQ(add(Unsigneds{'V', 'e', 's', 'k', 0x100 + '!'}, "%c"), Lines{"Vesk!"});
  EXPECT_EQ(add(Ints{0x41, 0}, "%c."), Lines{std::string("A.\0.", 4)});
  EXPECT_EQ(add(Floats{bits(1.5f), bits(-0.0f)}, "%e "), Lines{"1.500000e+00 -0.000000e+00 "});
  EXPECT_EQ(add(Floats{bits(1e20f), bits(0.25f)}, "%g "), Lines{"1e+20 0.25 "});
  EXPECT_EQ(add(Floats{bits(1.5f), bits(-3.0f)}, "%a "), Lines{"0x1.8p+0 -0x1.8p+1 "});
  EXPECT_EQ(add(Floats{bits(2.5f), bits(INFINITY)}, "%.1F "), Lines{"2.5 INF "});
  EXPECT_EQ(add(Floats{bits(2.5f)}, "%.2Lf %%"), Lines{"2.50 %"});
}

TEST(ValueArrays, AModifierConvertsTheValue) {
  EXPECT_EQ(add(Ints{0xFFFFFFFF, 5}, "%ld "), Lines{"-1 5 "});
  EXPECT_EQ(add(Unsigneds{0xFFFFFFFF}, "%ld "), Lines{"4294967295 "});
  EXPECT_EQ(add(Unsigneds{0xFFFFFFFF}, "%lu "), Lines{"4294967295 "});
  EXPECT_EQ(add(Ints{0xFFFFFFFF}, "%lu "), Lines{"18446744073709551615 "});
  EXPECT_EQ(add(Ints{0xFFFFFFFF}, "%llx "), Lines{"ffffffffffffffff "});
  EXPECT_EQ(add(Unsigneds{0xFFFFFFFF}, "%lld "), Lines{"4294967295 "});
  EXPECT_EQ(add(Unsigneds{0x1FF, 0x1234}, "%hhx "), Lines{"ff 34 "});
  EXPECT_EQ(add(Ints{0x18000, 0xFFFFFFFF}, "%hd "), Lines{"-32768 -1 "});
}

TEST(ValueArrays, APercentSignBesideTheConversion) {
  EXPECT_EQ(add(Ints{5, 6}, "%d%% "), Lines{"5% 6% "});
  EXPECT_EQ(add(Unsigneds{255}, "%%%08x "), Lines{"%000000ff "});
  EXPECT_EQ(add(Floats{bits(12.5f)}, "%.1f%%%%"), Lines{"12.5%%"});
}

TEST(ValueArrays, AWidthOfAnySize) {
  const std::string blanks(1999, ' ');
  EXPECT_EQ(add(Ints{1, 2}, "%2000d"), Lines{blanks + '1' + blanks + '2'});
  EXPECT_EQ(add(Unsigneds{1, 2, 3, 4, 5, 6, 7, 8, 9}, "%2000u")[1], blanks + '9');
  EXPECT_EQ(add(Floats{bits(0.5f)}, "%.2000f"), Lines{"0.5" + std::string(1999, '0')});
}

TEST(ValueArrays, AnyOtherFormatThrows) {
  for (const char* const format :
       {"",    "no conversion", "%d %d", "%",    "%s",     "%10s",        "%n",   "%hhn", "%p",
        "%%",  "%*d",           "%.*d",  "%1$d", "%14d %", "%d%%%d",      "%d%s", "%o%n", "%Ld",
        "%ls", "%lc",           "%S",    "%m",   "%5%",    "%2147483648d"}) {
    EXPECT_THROW(add(Ints{1}, format), std::invalid_argument) << format;
    EXPECT_THROW(add(Unsigneds{1}, format), std::invalid_argument) << format;
    EXPECT_THROW(add(Floats{1}, format), std::invalid_argument) << format;
  }
  for (const char* const format : {"%f", "%F", "%e", "%g", "%a", "%Lf", "%.3f"}) {
    EXPECT_THROW(add(Ints{1}, format), std::invalid_argument) << format;
    EXPECT_THROW(add(Unsigneds{1}, format), std::invalid_argument) << format;
  }
  for (const char* const format : {"%d", "%o", "%c", "%u", "%x", "%08x ", "%14d ", "%lld", "%hf"})
    EXPECT_THROW(add(Floats{1}, format), std::invalid_argument) << format;
}

TEST(ValueArrays, AFormatThatThrowsAddsNothing) {
  const auto plugin = makePlugin();
  LineList list;
  list.add("before");
  const Unsigneds elements{1, 2, 3, 4, 5, 6, 7, 8, 9};
  for (const char* const format : {"%s", "%g", "%o %o"})
    EXPECT_THROW(plugin->addArrayUint32(list, elements.data(), elements.size(), format),
                 std::invalid_argument);
  EXPECT_EQ(test::linesOf(Result(list)), Lines{"before"});
}

TEST(ValueArrays, LinesAreAppended) {
  const auto plugin = makePlugin();
  LineList list;
  list.add("before");
  const Unsigneds elements{1, 2};
  plugin->addArrayUint32(list, elements.data(), elements.size(), "%08x ");
  EXPECT_EQ(test::linesOf(Result(list)), (Lines{"before", "00000001 00000002 "}));
}

TEST(ValueArrays, NumbersKeepTheirKind) {
  const auto plugin = makePlugin();
  const Ints ints{1, 0xFFFFFFFF, 0x80000000};
  const NumberArray array = plugin->arrayWithInt32Array(ints.data(), ints.size());
  ASSERT_EQ(array.size(), 3u);
  EXPECT_EQ(array.kind(), Kind::Int);
  EXPECT_EQ(array[1].as<int>(), -1);
  EXPECT_EQ(array[2].as<int>(), INT32_MIN);

  const Unsigneds unsigneds{0xFFFFFFFF};
  const NumberArray other = plugin->arrayWithUint32Array(unsigneds.data(), unsigneds.size());
  EXPECT_EQ(other[0].as<unsigned>(), 0xFFFFFFFFu);

  const Floats floats{bits(1.5f), 0x7FC00000};
  const NumberArray reals = plugin->arrayWithFloatArray(floats.data(), floats.size());
  EXPECT_EQ(reals[0].as<float>(), 1.5f);
  EXPECT_TRUE(std::isnan(reals[1].as<float>()));
  EXPECT_THROW(reals[2], std::out_of_range);
}

}  // namespace
}  // namespace vesk
