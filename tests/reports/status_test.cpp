// Version, watchdog and power mode reports.

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace vesk {
namespace {

using test::decode;
using test::Lines;
using test::linesOf;
using test::numberAt;
using test::objectOf;
using test::ReportBytes;
using test::stringAt;

// ----------------------------------------------------------------------------------------- version

TEST(Version, OneTextIsOneLineAndABareString) {
  const ReportBytes report(0xD0, "1.2.3");
  EXPECT_EQ(linesOf(report), Lines{"1.2.3"});
  EXPECT_EQ(objectOf(report).string(), "1.2.3");
}

TEST(Version, AnEmptyTextIsAnEmptyLine) {
  const ReportBytes report(0xD0, "");
  EXPECT_EQ(linesOf(report), Lines{""});
  EXPECT_TRUE(objectOf(report).isString());
  EXPECT_EQ(objectOf(report).string(), "");
}

TEST(Version, NewlinesStayInTheOneLine) {
  EXPECT_EQ(linesOf(ReportBytes(0xD0, "a\nb\n")), Lines{"a\nb\n"});
}

TEST(Version, APercentSignIsOnlyThat) {
  EXPECT_EQ(linesOf(ReportBytes(0xD0, "100%s %n%%")), Lines{"100%s %n%%"});
  EXPECT_EQ(linesOf(ReportBytes(0xD2, "%d\n%s")), (Lines{"%d", "%s"}));
}

TEST(Version, NothingBehindTheNulCounts) {
  ReportBytes report(0xD0, 8);
  report.put(1, {'a', 'b', 0, 'c', 0xFF, 0, 'd'});
  EXPECT_EQ(linesOf(report), Lines{"ab"});
}

TEST(Version, TheLengthIsNotLookedAt) {
  const auto plugin = test::makePlugin();
  ReportBytes report(0xD0, "1.2.3");
  for (const std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{3}, INT64_MAX})
    EXPECT_EQ(plugin->reportToObject(report.data(), 0xD0, kFeature, length).object()->string(),
              "1.2.3");
}

/// Each is wrong in one way only.
const char* const kNotUtf8[] = {
    "\x80",              // continuation without a lead
    "a\xC3",             // cut off by the NUL
    "\xC0\xAF",          // overlong forms
    "\xC1\xBF",          //
    "\xE0\x9F\xBF",      //
    "\xF0\x8F\xBF\xBF",  //
    "\xED\xA0\x80",      // surrogates
    "\xED\xBF\xBF",      //
    "\xF4\x90\x80\x80",  // above U+10FFFF
    "\xF5\x80\x80\x80",  //
    "\xFF",              //
    "\xE2\x82",          // cut off
    "\xF0\x9F\x98",      //
    "\xE2\x28\xA1",      // a continuation missing in the middle
    "\xC3\x28",          //
};

TEST(Version, TextThatIsNotUtf8) {
  for (const char* const text : kNotUtf8) {
    EXPECT_THROW(decode(ReportBytes(0xD0, text), true), std::invalid_argument) << text;
    EXPECT_TRUE(decode(ReportBytes(0xD0, text), false).isNil()) << text;
    EXPECT_TRUE(decode(ReportBytes(0xD2, text), true).isNil()) << text;
    EXPECT_THROW(decode(ReportBytes(0xD2, text), false), std::invalid_argument) << text;
  }
}

TEST(Version, TextThatIsUtf8) {
  for (const char* const text : {"\x7F",
                                 "\xC2\x80",
                                 "\xDF\xBF",
                                 "\xE0\xA0\x80",
                                 "\xED\x9F\xBF",
                                 "\xEE\x80\x80",
                                 "\xEF\xBF\xBF",
                                 "\xF0\x90\x80\x80",
                                 "\xF4\x8F\xBF\xBF",
                                 "\x01"}) {
    EXPECT_EQ(linesOf(ReportBytes(0xD0, text)), Lines{text});
    EXPECT_EQ(objectOf(ReportBytes(0xD0, text)).string(), text);
  }
}

/// Code points that are kept free for a program's own use are text like any other.
TEST(Version, TextOfNonCharacters) {
  std::vector<std::uint32_t> points;
  for (std::uint32_t point = 0xFDD0; point <= 0xFDEF; ++point) points.push_back(point);
  for (std::uint32_t plane = 0; plane <= 16; ++plane)
    for (const std::uint32_t last : {0xFFFEu, 0xFFFFu}) points.push_back(plane << 16 | last);
  ASSERT_EQ(points.size(), 66u);
  for (const std::uint32_t point : points) {
    const auto byte = [&](std::uint32_t lead, unsigned shift, std::uint32_t mask) {
      return static_cast<char>(lead | (point >> shift & mask));
    };
    std::string text = "v";
    if (point < 0x10000)
      text += byte(0xE0, 12, 0x0F);
    else
      (text += byte(0xF0, 18, 0x07)) += byte(0x80, 12, 0x3F);
    (text += byte(0x80, 6, 0x3F)) += byte(0x80, 0, 0x3F);
    EXPECT_EQ(linesOf(ReportBytes(0xD0, text)), Lines{text});
    EXPECT_EQ(objectOf(ReportBytes(0xD0, text)).string(), text);
    EXPECT_EQ(linesOf(ReportBytes(0xD2, text + "\n")), (Lines{text, ""}));
    EXPECT_EQ(stringAt(objectOf(ReportBytes(0xD2, "\n\n\n\n\n" + text)), "ALGS"), text);
  }
}

TEST(VersionExtended, SixLinesAndATrailingNewlineAreSevenLines) {
  const ReportBytes report(0xD2, "p\ns\nt\nq\nv\na\n");
  EXPECT_EQ(linesOf(report), (Lines{"p", "s", "t", "q", "v", "a", ""}));
  EXPECT_EQ(test::listing(decode(report, false)),
            "dictionary 6\n"
            "\"PROJECT\" string \"p\"\n"
            "\"SDK\" string \"s\"\n"
            "\"TOOLCHAIN\" string \"t\"\n"
            "\"QOREX\" string \"q\"\n"
            "\"VENDOR\" string \"v\"\n"
            "\"ALGS\" string \"a\"\n");
}

TEST(VersionExtended, EightLinesPrintWholeAndTheObjectTakesSix) {
  const ReportBytes report(0xD2, "1\n2\n3\n4\n5\n6\n7\n8");
  EXPECT_EQ(linesOf(report), (Lines{"1", "2", "3", "4", "5", "6", "7", "8"}));
  EXPECT_EQ(objectOf(report).size(), 6u);
  EXPECT_EQ(stringAt(objectOf(report), "ALGS"), "6");
}

TEST(VersionExtended, AnEmptyTextIsOneEmptyComponent) {
  EXPECT_EQ(linesOf(ReportBytes(0xD2, "")), Lines{""});
  EXPECT_THROW(decode(ReportBytes(0xD2, ""), false), std::out_of_range);
}

TEST(VersionExtended, FewerThanSixLinesHaveNoObject) {
  EXPECT_EQ(linesOf(ReportBytes(0xD2, "1\n2\n3\n4\n5")).size(), 5u);
  EXPECT_THROW(decode(ReportBytes(0xD2, "1\n2\n3\n4\n5"), false), std::out_of_range);
  EXPECT_EQ(objectOf(ReportBytes(0xD2, "1\n2\n3\n4\n5\n")).size(), 6u);
  EXPECT_EQ(objectOf(ReportBytes(0xD2, "\n\n\n\n\n")).size(), 6u);
}

TEST(VersionExtended, CarriageReturnsStay) {
  EXPECT_EQ(linesOf(ReportBytes(0xD2, "a\r\n\r\nb")), (Lines{"a\r", "\r", "b"}));
}

// ---------------------------------------------------------------------------------------- watchdog

TEST(WatchDog, Text) {
  ReportBytes report(0xDF, 25);
  report.put32(1, 7).put64(5, 1000000).put32(13, 0xAB).put32(17, 0xFFFFFFFF).put32(21, 3);
  EXPECT_EQ(linesOf(report),
            (Lines{
                "Watchdog Data:",
                "    Feed Count:7",
                "Feed Timestamp:0x00000000000F4240",
                "Feed Wallclock:          1.000",
                "      Register:0x000000AB",
                "          Wake:4294967295",
                "         Sleep:3",
            }));
}

TEST(WatchDog, ObjectCallsSleepIdle) {
  ReportBytes report(0xDF, 25);
  report.put32(1, 7).put64(5, 1000000).put32(13, 0xAB).put32(17, 0xFFFFFFFF).put32(21, 3);
  EXPECT_EQ(test::listing(decode(report, false)),
            "dictionary 6\n"
            "\"Count\" unsigned int 7\n"
            "\"Timestamp\" long long 1000000\n"
            "\"Wallclock\" double 1\n"
            "\"Register\" unsigned int 171\n"
            "\"Wake\" unsigned int 4294967295\n"
            "\"Idle\" unsigned int 3\n");
}

TEST(WatchDog, TheTimestampIsSignedInTheObjectOnly) {
  ReportBytes report(0xDF, 25);
  report.put64(5, 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(linesOf(report)[2], "Feed Timestamp:0xFFFFFFFFFFFFFFFF");
  EXPECT_EQ(numberAt(objectOf(report), "Timestamp").as<long long>(), -1);
}

TEST(WatchDog, TheWallclockIsComputedInSinglePrecision) {
  ReportBytes report(0xDF, 25);
  report.put64(5, 16777217);  // 2^24 + 1: no float
  EXPECT_EQ(linesOf(report)[3], "Feed Wallclock:         16.777");
  EXPECT_EQ(numberAt(objectOf(report), "Wallclock").as<double>(),
            static_cast<double>(16777216.0f * 1e-6f));
}

TEST(WatchDog, TheTimestampIsRoundedOnce) {
  // 2^60 + 2^36 + 1 lies just above the middle of two floats, 2^60 and 2^60 + 2^37. By way of a
  // double, which drops the last bit, it would be a tie and go down.
  ReportBytes report(0xDF, 25);
  report.put64(5, (1ull << 60) + (1ull << 36) + 1);
  const float up = 0x1p60f + 0x1p37f;
  EXPECT_EQ(numberAt(objectOf(report), "Wallclock").as<double>(), static_cast<double>(up * 1e-6f));
}

// ------------------------------------------------------------------------------------- power modes

TEST(PowerModes, TextIsGroupedByQuantity) {
  ReportBytes report(0xA9, 41);
  for (std::size_t i = 0; i < 10; ++i) report.put32(1 + 4 * i, i + 1);
  EXPECT_EQ(linesOf(report),
            (Lines{
                "Power Mode Statistics - Total Time:",
                "INIT        :            1 ms",
                "ACTIVE      :            3 ms",
                "TIMEOUT     :            5 ms",
                "READY       :            7 ms",
                "LIGHT_SLEEP :            9 ms",
                "",
                "Power Mode Statistics - Number of Times Entered:",
                "INIT        : 2",
                "ACTIVE      : 4",
                "TIMEOUT     : 6",
                "READY       : 8",
                "LIGHT_SLEEP : 10",
            }));
}

TEST(PowerModes, AllZero) {
  const Lines lines = linesOf(ReportBytes(0xA9, 41));
  EXPECT_EQ(lines[1], "INIT        :            0 ms");
  EXPECT_EQ(lines[6], "");
  EXPECT_EQ(lines[12], "LIGHT_SLEEP : 0");
  const ReportObject object = objectOf(ReportBytes(0xA9, 41));
  ASSERT_EQ(object.size(), 10u);
  for (std::size_t i = 0; i < 10; ++i)
    EXPECT_EQ(std::get<Number>(object.value(i)).as<unsigned>(), 0u);
}

TEST(PowerModes, TheMaximumIsUnsigned) {
  ReportBytes report(0xA9, 41);
  report.put32(1, 4294967295).put32(5, 4294967295);
  EXPECT_EQ(linesOf(report)[1], "INIT        :   4294967295 ms");
  EXPECT_EQ(linesOf(report)[8], "INIT        : 4294967295");
  EXPECT_EQ(numberAt(objectOf(report), "INIT time ms").as<unsigned>(), 4294967295u);
}

}  // namespace
}  // namespace vesk
