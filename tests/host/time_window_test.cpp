// Moments as people write them, and what a window has in it.

#include "host/TimeWindow.h"

#include <gtest/gtest.h>

namespace vesk::host {
namespace {

constexpr std::int64_t k2023 = 1'700'000'000'000'000;  // 2023-11-14T22:13:20Z

TEST(TimeWindow, MomentsInSeconds) {
  EXPECT_EQ(momentFrom("0"), 0);
  EXPECT_EQ(momentFrom("12"), 12'000'000);
  EXPECT_EQ(momentFrom("12.5"), 12'500'000);
  EXPECT_EQ(momentFrom("1700000000.016667"), k2023 + 16'667);
  EXPECT_EQ(momentFrom("1700000000.016667999"), k2023 + 16'667);
  EXPECT_EQ(momentFrom("-1.5"), -1'500'000);
}

TEST(TimeWindow, MomentsInIso8601) {
  EXPECT_EQ(momentFrom("1970-01-01T00:00:00Z"), 0);
  EXPECT_EQ(momentFrom("1969-12-31T23:59:59.5Z"), -500'000);
  EXPECT_EQ(momentFrom("2023-11-14T22:13:20Z"), k2023);
  EXPECT_EQ(momentFrom("2023-11-14 22:13:20Z"), k2023);
  EXPECT_EQ(momentFrom("2023-11-14T22:13Z"), k2023 - 20'000'000);
  EXPECT_EQ(momentFrom("2023-11-14T22:13:20.000001Z"), k2023 + 1);
  EXPECT_EQ(momentFrom("2023-11-14T22:13:20,25Z"), k2023 + 250'000);
  EXPECT_EQ(momentFrom("2023-11-14T22:13:20.1234569Z"), k2023 + 123'456);
  EXPECT_EQ(momentFrom("2023-11-14T23:13:20+01:00"), k2023);
  EXPECT_EQ(momentFrom("2023-11-14T16:43:20-05:30"), k2023);
  EXPECT_EQ(momentFrom("2024-02-29T00:00:00Z"), 1'709'164'800'000'000);
}

TEST(TimeWindow, WhatIsNoMoment) {
  for (const char* text : {"",
                           "-",
                           ".5",
                           "5.",
                           "1e3",
                           "+5",
                           "--5",
                           "12.5x",
                           "now",
                           "12:30",
                           "2023-11-14",
                           "2023-11-14T22:13:20",
                           "2023-11-14T22:13:20z",
                           "2023-11-14T22:13:20.Z",
                           "2023-11-14T22Z",
                           "2023-11-14T22:13:60Z",
                           "2023-11-14T24:00:00Z",
                           "2023-02-29T00:00:00Z",
                           "2023-13-01T00:00:00Z",
                           "2023-00-01T00:00:00Z",
                           "2023-1-01T00:00:00Z",
                           "23-11-14T22:13:20Z",
                           "2023-11-14T22:13:20+01",
                           "2023-11-14T22:13:20+0100",
                           "2023-11-14T22:13:20Z ",
                           "-2023-11-14T22:13:20Z",
                           "99999999999999999999"})
    EXPECT_EQ(momentFrom(text), std::nullopt) << text;
}

TEST(TimeWindow, BothEndsAreInIt) {
  using enum TimeWindow::Verdict;
  const TimeWindow window{10, 20};
  EXPECT_EQ(window.judge(9), Outside);
  EXPECT_EQ(window.judge(10), Inside);
  EXPECT_EQ(window.judge(20), Inside);
  EXPECT_EQ(window.judge(21), Outside);
  EXPECT_EQ(window.judge({}), Untimed);
  EXPECT_EQ((TimeWindow{10, {}}.judge(1'000'000)), Inside);
  EXPECT_EQ((TimeWindow{{}, 20}.judge(-5)), Inside);
  EXPECT_EQ((TimeWindow{{}, 20}.judge(21)), Outside);
}

TEST(TimeWindow, WithoutBoundsHasEverythingInIt) {
  const TimeWindow window{};
  EXPECT_FALSE(window.isBounded());
  EXPECT_EQ(window.judge(-1), TimeWindow::Verdict::Inside);
  EXPECT_EQ(window.judge({}), TimeWindow::Verdict::Inside);
}

}  // namespace
}  // namespace vesk::host
