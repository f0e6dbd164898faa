// Runs of 32-bit values as lines and as numbers.

#include <gtest/gtest.h>

#include <cmath>
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
  Elements(std::initializer_list<std::uint32_t> bits) : _bytes(1 + 4 * bits.size()) {
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

TEST(ValueArrays, AnyFormatOfOneConversionServes) {
  EXPECT_EQ(add(Ints{5, 0xFFFFFFFB}, "<%+5i>"), Lines{"<   +5><   -5>"});
  EXPECT_EQ(add(Unsigneds{255}, "%#X;"), Lines{"0XFF;"});
  EXPECT_EQ(add(Unsigneds{7}, "%-4u|"), Lines{"7   |"});
  EXPECT_EQ(add(Floats{bits(0.125f)}, "%.2f"), Lines{"0.12"});
}

TEST(ValueArrays, AnyOtherFormatThrows) {
  for (const char* const format : {"",
                                   "no conversion",
                                   "%d %d",
                                   "%",
                                   "%s",
                                   "%f",
                                   "%lld",
                                   "%p",
                                   "%c",
                                   "%%",
                                   "%d%%",
                                   "%hd",
                                   "%*d",
                                   "%14d %"}) {
    EXPECT_THROW(add(Ints{1}, format), std::invalid_argument) << format;
    EXPECT_THROW(add(Unsigneds{1}, format), std::invalid_argument) << format;
    EXPECT_THROW(add(Ints{}, format), std::invalid_argument) << format;
  }
  EXPECT_THROW(add(Floats{1}, "%d"), std::invalid_argument);
  EXPECT_THROW(add(Floats{1}, "%g"), std::invalid_argument);
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
