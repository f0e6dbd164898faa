// Pictures of numbers: scales, and what has no colour. screen_test.py looks at whole pictures.

#include "host/outputs/HeatMap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <vector>

namespace vesk::host {
namespace {

ArrayValue floats(const std::vector<float>& values) {
  ArrayValue array{VESK_FLOAT, values.size()};
  array.words.resize((values.size() + 1) / 2);
  if (!values.empty())
    std::memcpy(array.words.data(), values.data(), values.size() * sizeof(float));
  return array;
}

TEST(Scale, GrowsAtOnceAndShrinksSlowly) {
  Scale scale;
  scale.follow(floats({-1, 5}));
  EXPECT_EQ(scale.low, -1);
  EXPECT_EQ(scale.high, 5);
  scale.follow(floats({-2, 105}));
  EXPECT_EQ(scale.low, -2);
  EXPECT_EQ(scale.high, 105);
  scale.follow(floats({-2, 5}));
  EXPECT_EQ(scale.low, -2);
  EXPECT_DOUBLE_EQ(scale.high, 103);  // a fiftieth of the way
  for (int i = 0; i < 1000; ++i) scale.follow(floats({-2, 5}));
  EXPECT_NEAR(scale.high, 5, 1e-6);
}

TEST(Scale, TakesNoNoticeOfWhatIsNoNumber) {
  Scale scale;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float infinity = std::numeric_limits<float>::infinity();
  scale.follow(floats({nan, 2, infinity, 3, -infinity}));
  EXPECT_EQ(scale.low, 2);
  EXPECT_EQ(scale.high, 3);
  scale.follow(floats({nan}));
  EXPECT_EQ(scale.high, 3);
}

TEST(HeatMap, WhatIsNoNumberHasNoColour) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const ArrayValue samples = floats({0, nan, 0, 0, 0, 0, 0, 1});
  const std::vector<Band> bands = {{"A", samples, {0, 1}}};
  const auto lines = heatMap(bands, {21, 2}, Palette::TrueColour);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0],
            "A            \x1b[48;2;10;16;70m \x1b[0m \x1b[48;2;10;16;70m     "
            "\x1b[48;2;253;236;110m \x1b[0m");
  EXPECT_EQ(lines[1], "             0");
}

TEST(HeatMap, OfNothingIsNothing) {
  EXPECT_TRUE(heatMap({}, {80, 24}, Palette::TrueColour).empty());
  const ArrayValue none = floats({});
  const std::vector<Band> bands = {{"A", none, {}}};
  EXPECT_TRUE(heatMap(bands, {80, 24}, Palette::TrueColour).empty());
}

}  // namespace
}  // namespace vesk::host
