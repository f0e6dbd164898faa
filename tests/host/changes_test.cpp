// What differs between two reports, and what became of what counts. All expected values by hand.

#include "host/changes/Changes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "host/changes/Course.h"
#include "host/changes/Meaning.h"
#include "host/changes/Tracker.h"
#include "host/outputs/Changes.h"

namespace vesk::host {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

vesk_number whole(std::int32_t kind, std::uint64_t value) {
  vesk_number number{kind, {}};
  number.value.u = value;
  return number;
}
vesk_number counter(std::uint64_t value) { return whole(VESK_UNSIGNED_INT, value); }
vesk_number integer(std::int64_t value, std::int32_t kind = VESK_INT) {
  vesk_number number{kind, {}};
  number.value.i = value;
  return number;
}
vesk_number real(double value, std::int32_t kind = VESK_FLOAT) {
  vesk_number number{kind, {}};
  number.value.d = value;
  return number;
}

template <class T>
ArrayValue array(std::int32_t kind, const std::vector<T>& values) {
  ArrayValue array{kind, values.size()};
  array.words.resize((values.size() * sizeof(T) + 7) / 8);
  if (!values.empty()) std::memcpy(array.words.data(), values.data(), values.size() * sizeof(T));
  return array;
}

/// What is shown of a field that changed; empty if it did not.
std::string shown(const Value& before, const Value& after, bool elements = false) {
  const std::vector<Field> old = {{"KEY", before}};
  const std::vector<Field> now = {{"KEY", after}};
  std::string text;
  for (const Change& change : changesBetween(old, now))
    for (const std::string& line : describe(change, elements))
      text.append(text.empty() ? "" : "\n").append(line);
  return text;
}

TEST(Changes, OfWholeNumbersAreExactToTheLastBit) {
  EXPECT_EQ(shown(counter(7), counter(7)), "");
  EXPECT_EQ(shown(counter(0), counter(1)), "KEY: 0 -> 1 (+1)");
  EXPECT_EQ(shown(counter(4294967295), counter(0)), "KEY: 4294967295 -> 0 (-4294967295)");
  EXPECT_EQ(shown(whole(VESK_UNSIGNED_CHAR, 255), whole(VESK_UNSIGNED_CHAR, 0)),
            "KEY: 255 -> 0 (-255)");
  EXPECT_EQ(shown(whole(VESK_UNSIGNED_SHORT, 1), whole(VESK_UNSIGNED_SHORT, 65535)),
            "KEY: 1 -> 65535 (+65534)");
  constexpr auto kLargest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(shown(whole(VESK_UNSIGNED_LONG_LONG, 0), whole(VESK_UNSIGNED_LONG_LONG, kLargest)),
            "KEY: 0 -> 18446744073709551615 (+18446744073709551615)");
  EXPECT_EQ(shown(whole(VESK_UNSIGNED_LONG_LONG, kLargest), whole(VESK_UNSIGNED_LONG_LONG, 0)),
            "KEY: 18446744073709551615 -> 0 (-18446744073709551615)");
  EXPECT_EQ(shown(whole(VESK_UNSIGNED_LONG_LONG, 9007199254740993),
                  whole(VESK_UNSIGNED_LONG_LONG, 9007199254740992)),
            "KEY: 9007199254740993 -> 9007199254740992 (-1)");
}

TEST(Changes, OfSignedNumbersAcrossTheWholeRange) {
  constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
  constexpr auto kLargest = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(shown(integer(-3), integer(306)), "KEY: -3 -> 306 (+309)");
  EXPECT_EQ(shown(integer(-2147483648), integer(2147483647)),
            "KEY: -2147483648 -> 2147483647 (+4294967295)");
  EXPECT_EQ(shown(integer(kLeast, VESK_LONG_LONG), integer(kLargest, VESK_LONG_LONG)),
            "KEY: -9223372036854775808 -> 9223372036854775807 (+18446744073709551615)");
  EXPECT_EQ(shown(integer(kLargest, VESK_LONG_LONG), integer(kLeast, VESK_LONG_LONG)),
            "KEY: 9223372036854775807 -> -9223372036854775808 (-18446744073709551615)");
}

TEST(Changes, OfFloatsHaveTheDigitsOfTheirKind) {
  EXPECT_EQ(shown(real(31.0625), real(31.5)), "KEY: 31.0625 -> 31.5 (+0.4375)");
  EXPECT_EQ(shown(real(0.1f), real(0.3f)), "KEY: 0.1 -> 0.3 (+0.20000002)");
  EXPECT_EQ(shown(real(0.5, VESK_DOUBLE), real(-0.25, VESK_DOUBLE)), "KEY: 0.5 -> -0.25 (-0.75)");
}

TEST(Changes, ANanIsAsAnyOtherNanAndHasNoDistance) {
  EXPECT_EQ(shown(real(kNan), real(-kNan)), "");
  EXPECT_EQ(shown(real(0.0), real(-0.0)), "");
  EXPECT_EQ(shown(real(kNan), real(1)), "KEY: nan -> 1");
  EXPECT_EQ(shown(real(1), real(-kNan)), "KEY: 1 -> nan");
  EXPECT_EQ(shown(real(1), real(kInfinity)), "KEY: 1 -> inf");
  EXPECT_EQ(shown(real(kInfinity), real(kInfinity)), "");
  constexpr float kLargest = std::numeric_limits<float>::max();
  EXPECT_EQ(shown(real(-kLargest), real(kLargest)), "KEY: -3.4028235e+38 -> 3.4028235e+38");
}

TEST(Changes, OfBoolsStringsAndKinds) {
  EXPECT_EQ(shown(whole(VESK_BOOL, 0), whole(VESK_BOOL, 1)), "KEY: false -> true");
  EXPECT_EQ(shown(std::string("RX_EN"), std::string("STIM_TIMER")),
            "KEY: \"RX_EN\" -> \"STIM_TIMER\"");
  EXPECT_EQ(shown(std::string("a"), std::string("a")), "");
  EXPECT_EQ(shown(std::string("1"), counter(1)), "KEY: \"1\" -> 1");
  EXPECT_EQ(shown(counter(1), integer(1)), "KEY: 1 -> 1");  // another kind of the same size
}

TEST(Changes, HostileTextIsEscaped) {
  EXPECT_EQ(shown(std::string("\x1b[2J"), std::string("b\n\xff")),
            "KEY: \"\\u001b[2J\" -> \"b\\u000a\\xff\"");
}

TEST(Changes, OfAnArray) {
  std::vector<std::int32_t> before(48, 0);
  std::vector<std::int32_t> after = before;
  before[22] = -3;
  after[22] = 306;
  after[3] = -5;
  const Value old = array(VESK_INT, before);
  const Value now = array(VESK_INT, after);
  EXPECT_EQ(shown(old, old), "");
  EXPECT_EQ(shown(old, now),
            "KEY: 2 of 48 changed, mean 157, largest at channel 22: -3 -> 306 (+309)");
  EXPECT_EQ(shown(old, now, true),
            "KEY: 2 of 48 changed, mean 157, largest at channel 22: -3 -> 306 (+309)\n"
            "  channel 3: 0 -> -5 (-5)\n"
            "  channel 22: -3 -> 306 (+309)");
}

TEST(Changes, OfAnArrayOfEachKind) {
  EXPECT_EQ(shown(array<std::uint8_t>(VESK_BOOL, {0, 1}), array<std::uint8_t>(VESK_BOOL, {1, 1})),
            "KEY: 1 of 2 changed");
  EXPECT_EQ(shown(array<std::uint8_t>(VESK_UNSIGNED_CHAR, {0, 9}),
                  array<std::uint8_t>(VESK_UNSIGNED_CHAR, {255, 9})),
            "KEY: 1 of 2 changed, mean 255, largest at element 0: 0 -> 255 (+255)");
  EXPECT_EQ(shown(array<std::uint16_t>(VESK_UNSIGNED_SHORT, {1, 9, 7}),
                  array<std::uint16_t>(VESK_UNSIGNED_SHORT, {0, 9, 9})),
            "KEY: 2 of 3 changed, mean 1.5, largest at element 2: 7 -> 9 (+2)");
  EXPECT_EQ(shown(array<std::uint32_t>(VESK_UNSIGNED_INT, {4294967295, 0}),
                  array<std::uint32_t>(VESK_UNSIGNED_INT, {0, 0})),
            "KEY: 1 of 2 changed, mean 4294967295, largest at element 0: 4294967295 -> 0 "
            "(-4294967295)");
  EXPECT_EQ(
      shown(array<std::int64_t>(VESK_LONG_LONG, {-1}), array<std::int64_t>(VESK_LONG_LONG, {1})),
      "KEY: 1 of 1 changed, mean 2, largest at element 0: -1 -> 1 (+2)");
  EXPECT_EQ(shown(array<std::uint64_t>(VESK_UNSIGNED_LONG_LONG, {0}),
                  array<std::uint64_t>(VESK_UNSIGNED_LONG_LONG, {1})),
            "KEY: 1 of 1 changed, mean 1, largest at element 0: 0 -> 1 (+1)");
  EXPECT_EQ(shown(array<double>(VESK_DOUBLE, {0.5}), array<double>(VESK_DOUBLE, {0.25})),
            "KEY: 1 of 1 changed, mean 0.25, largest at element 0: 0.5 -> 0.25 (-0.25)");
}

TEST(Changes, WithoutASizeAreCountedApart) {
  const Value old = array<float>(VESK_FLOAT, {1, 2, kNan, -kNan, 5});
  const Value now = array<float>(VESK_FLOAT, {kNan, 2.5, 3, kNan, 5});
  EXPECT_EQ(shown(old, now),
            "KEY: 3 of 5 changed, 2 of them from or to NaN or infinity, mean 0.5, "
            "largest at element 1: 2 -> 2.5 (+0.5)");
  EXPECT_EQ(shown(array<float>(VESK_FLOAT, {0.0f}), array<float>(VESK_FLOAT, {-0.0f})), "");
}

TEST(Changes, OfSeveralTheFirstIsTheLargest) {
  const Value old = array<std::int32_t>(VESK_INT, {0, 0, 0});
  const Value now = array<std::int32_t>(VESK_INT, {-1, 7, -7});
  EXPECT_EQ(shown(old, now), "KEY: 3 of 3 changed, mean 5, largest at element 1: 0 -> 7 (+7)");
}

TEST(Changes, AnArrayOfAnotherLengthIsAnotherThing) {
  EXPECT_EQ(shown(array<std::int32_t>(VESK_INT, {1, 2}), array<std::int32_t>(VESK_INT, {1})),
            "KEY: 2 of int -> 1 of int");
  EXPECT_EQ(shown(array<std::int32_t>(VESK_INT, {1}), array<std::uint32_t>(VESK_UNSIGNED_INT, {1})),
            "KEY: 1 of int -> 1 of unsigned int");
}

TEST(Changes, OfKeysThatComeAndGo) {
  const std::vector<Field> old = {{"A", counter(1)}, {"B", counter(2)}, {"C", counter(3)}};
  const std::vector<Field> now = {{"C", counter(4)}, {"D", std::string("x")}, {"A", counter(1)}};
  std::vector<std::string> lines;
  for (const Change& change : changesBetween(old, now)) lines.push_back(describe(change, false)[0]);
  EXPECT_EQ(lines, (std::vector<std::string>{"C: 3 -> 4 (+1)", "D: new, \"x\"", "B: gone, was 2"}));
}

TEST(Changes, OfLines) {
  const auto between = [](std::string_view old, std::string_view now) {
    std::vector<std::string> lines;
    for (const Change& change : lineChangesBetween(old, now))
      lines.push_back(describe(change, false)[0]);
    return lines;
  };
  using Lines = std::vector<std::string>;
  EXPECT_EQ(between("a\nb\n", "a\nb\n"), Lines());
  EXPECT_EQ(between("a\n  b: 1\nc\n", "a\n  b: 2 \nc\n"), Lines{"line 2: \"b: 1\" -> \"b: 2\""});
  EXPECT_EQ(between("a\nc\n", "a\nb\nc\n"), Lines{"line 2: new, \"b\""});
  EXPECT_EQ(between("a\nb\nc\n", "a\nc\n"), Lines{"line 2: gone, was \"b\""});
  EXPECT_EQ(between("", "a\n"), Lines{"line 1: new, \"a\""});
  EXPECT_EQ(between("a\na\n", "a\n"), Lines{"line 2: gone, was \"a\""});
}

// What counts.

const ReportInfo& image() {
  static const ReportInfo info{
      0x76, ReportType::Input, "parseVeskImage", {}, 792, true, false, {{"FRAME_NUMBER", 4}}};
  return info;
}
const ReportInfo& blackBox() {
  static const ReportInfo info{
      0xE1, ReportType::Feature, "parseBlackBoxFullReport", "x", 991, false, false, {}};
  return info;
}
const ReportInfo& watchdog() {
  static const ReportInfo info{
      0xDF, ReportType::Feature, "parseWatchDogReport", "x", 25, false, false, {}};
  return info;
}

using Counts = std::vector<std::pair<std::string, std::pair<std::uint64_t, std::uint64_t>>>;

/// What is shown of counters that went from one value to another in so many seconds; the first line
/// is what is said of a restart.
std::vector<std::string> followed(const ReportInfo& info, const Counts& counts,
                                  std::optional<double> seconds = {}) {
  std::vector<Field> before;
  std::vector<Field> after;
  for (const auto& [key, values] : counts) {
    before.push_back({key, counter(values.first)});
    after.push_back({key, counter(values.second)});
  }
  auto changes = changesBetween(before, after);
  const Restart restart = noteCourses(info, seconds, changes);
  std::vector<std::string> lines = {restart == Restart::None       ? "no restart"
                                    : restart == Restart::Counters ? "counters"
                                                                   : "firmware"};
  for (const Change& change : changes) lines.push_back(describe(change, false)[0]);
  return lines;
}

using Lines = std::vector<std::string>;

TEST(Course, ACounterThatGrew) {
  EXPECT_EQ(followed(blackBox(), {{"E", {96, 211}}}), (Lines{"no restart", "E: 96 -> 211 (+115)"}));
  EXPECT_EQ(followed(blackBox(), {{"E", {96, 211}}}, 50.0),
            (Lines{"no restart", "E: 96 -> 211 (+115, 2.3/s)"}));
  EXPECT_EQ(followed(blackBox(), {{"E", {96, 211}}}, 0.0),
            (Lines{"no restart", "E: 96 -> 211 (+115)"}));
  EXPECT_EQ(followed(blackBox(), {{"E", {96, 211}}}, -1.0),
            (Lines{"no restart", "E: 96 -> 211 (+115)"}));
  EXPECT_EQ(followed(blackBox(), {{"E", {0, 4294967295}}}, 0.5),
            (Lines{"no restart", "E: 0 -> 4294967295 (+4294967295, 8589934590/s)"}));
}

TEST(Course, ACounterThatWrapped) {
  EXPECT_EQ(followed(blackBox(), {{"E", {4294967290, 5}}}, 2.0),
            (Lines{"no restart", "E: 4294967290 -> 5 (+11, wrapped, 5.5/s)"}));
  EXPECT_EQ(followed(blackBox(), {{"E", {4294967295, 0}}}),
            (Lines{"no restart", "E: 4294967295 -> 0 (+1, wrapped)"}));
  // The longest way that is taken for one is 2^28 - 1, and one more is none.
  EXPECT_EQ(followed(blackBox(), {{"E", {4294967295, 268435454}}}),
            (Lines{"no restart", "E: 4294967295 -> 268435454 (+268435455, wrapped)"}));
  EXPECT_EQ(followed(blackBox(), {{"E", {4294967295, 268435455}}}),
            (Lines{"no restart", "E: 4294967295 -> 268435455 (-4026531840, fell)"}));
}

TEST(Course, ACounterThatFellSaysNothingOfWhy) {
  EXPECT_EQ(followed(blackBox(), {{"E", {211, 3}}}, 1.0),
            (Lines{"no restart", "E: 211 -> 3 (-208, fell)"}));
  EXPECT_EQ(followed(blackBox(), {{"E", {211, 3}}, {"F", {5, 6}}}, 1.0),
            (Lines{"no restart", "E: 211 -> 3 (-208, fell)", "F: 5 -> 6 (+1, 1/s)"}));
}

TEST(Course, SeveralThatFellAtOnceAreARestartOrWereCleared) {
  EXPECT_EQ(
      followed(blackBox(), {{"E", {211, 3}}, {"F", {6, 5}}, {"G", {1, 2}}}, 1.0),
      (Lines{"counters", "E: 211 -> 3 (-208, fell)", "F: 6 -> 5 (-1, fell)", "G: 1 -> 2 (+1)"}));
}

TEST(Course, NothingWrapsInARestart) {
  EXPECT_EQ(followed(blackBox(), {{"E", {211, 3}}, {"F", {6, 5}}, {"G", {4294967290, 5}}}, 1.0),
            (Lines{"counters",
                   "E: 211 -> 3 (-208, fell)",
                   "F: 6 -> 5 (-1, fell)",
                   "G: 4294967290 -> 5 (-4294967285, fell)"}));
}

TEST(Course, ATimeThatFellIsARestart) {
  EXPECT_EQ(followed(image(), {{"FRAME_NUMBER", {221079, 12}}, {"TIMESTAMP_MS", {3684660, 200}}}),
            (Lines{"firmware",
                   "FRAME_NUMBER: 221079 -> 12 (-221067, fell)",
                   "TIMESTAMP_MS: 3684660 -> 200 (-3684460, fell)"}));
  EXPECT_EQ(followed(image(), {{"TIMESTAMP_MS", {4294967000, 704}}}, 1.0),
            (Lines{"no restart", "TIMESTAMP_MS: 4294967000 -> 704 (+1000, wrapped, 1000/s)"}));
}

TEST(Course, TheTimeOf64BitsCanFallAndNotWrap) {
  const std::vector<Field> before = {{"Timestamp", integer(9223372036854775807, VESK_LONG_LONG)}};
  const std::vector<Field> after = {{"Timestamp", integer(5, VESK_LONG_LONG)}};
  auto changes = changesBetween(before, after);
  EXPECT_EQ(noteCourses(watchdog(), 1.0, changes), Restart::Firmware);
  EXPECT_EQ(describe(changes[0], false)[0],
            "Timestamp: 9223372036854775807 -> 5 (-9223372036854775802, fell)");
}

TEST(Course, AFrameThatCameLateIsNoRestart) {
  EXPECT_EQ(followed(image(), {{"FRAME_NUMBER", {9, 7}}, {"TIMESTAMP_MS", {150, 117}}}, 1.0),
            (Lines{"no restart",
                   "FRAME_NUMBER: 9 -> 7 (-2, fell)",
                   "TIMESTAMP_MS: 150 -> 117 (-33, fell)"}));
  EXPECT_EQ(followed(image(), {{"FRAME_NUMBER", {1, 4294967295}}}, 1.0),
            (Lines{"no restart", "FRAME_NUMBER: 1 -> 4294967295 (-2, fell)"}));
  EXPECT_EQ(followed(image(), {{"FRAME_NUMBER", {100, 37}}, {"TIMESTAMP_MS", {2, 1}}})[0],
            "no restart");
  EXPECT_EQ(followed(image(), {{"FRAME_NUMBER", {100, 36}}, {"TIMESTAMP_MS", {2, 1}}})[0],
            "firmware");
}

TEST(Course, WhatIsNotKnownToCountIsArithmeticOnly) {
  EXPECT_EQ(
      followed(image(), {{"LEVEL", {4294967295, 0}}, {"OTHER", {9, 1}}, {"MORE", {1, 9}}}, 1.0),
      (Lines{"no restart",
             "LEVEL: 4294967295 -> 0 (-4294967295)",
             "OTHER: 9 -> 1 (-8)",
             "MORE: 1 -> 9 (+8)"}));
}

TEST(Course, BitsAreNamed) {
  const auto bits = [](std::uint64_t old, std::uint64_t now) {
    const std::vector<Field> before = {{"FLAGS", whole(VESK_UNSIGNED_SHORT, old)}};
    const std::vector<Field> after = {{"FLAGS", whole(VESK_UNSIGNED_SHORT, now)}};
    auto changes = changesBetween(before, after);
    noteBits(image(), changes);
    return describe(changes.at(0), false).at(0);
  };
  EXPECT_EQ(bits(0x3, 0x7), "FLAGS: 0x3 -> 0x7 (bit 2 set)");
  EXPECT_EQ(bits(0xFF, 0x8001), "FLAGS: 0xff -> 0x8001 (bit 15 set, bits 1-7 cleared)");
  EXPECT_EQ(bits(0, 0x0B), "FLAGS: 0x0 -> 0xb (bits 0, 1, 3 set)");
}

/// Every unsigned int and every 64-bit number of all reports, and what docs/reports.md says of it.
TEST(Meaning, OfEveryReportOfThePlugIn) {
  using enum Meaning;
  const std::map<std::string, std::map<std::string, Meaning>> known = {
      {"parseWatchDogReport",
       {{"Count", Counter},
        {"Timestamp", Time},
        {"Register", Bits},
        {"Wake", Counter},
        {"Idle", Counter}}},
      {"parsePowerModeStats", {{"INIT time ms", Counter}, {"LIGHT_SLEEP times entered", Counter}}},
      {"parseVeskImage",
       {{"COOKIE", Plain},
        {"FLAGS", Bits},
        {"FRAME_NUMBER", Counter},
        {"FRAME_PARAMS", Bits},
        {"TIMESTAMP_MS", Time},
        {"TMON_PARAMS", Bits},
        {"TMON_DEG_C", Plain}}},
      {"parseAdcDumpConfig",
       {{"START_ADDRESS", Plain},
        {"CHANNEL_ENABLE_MASK", Bits},
        {"SAMPLE_COUNT", Plain},
        {"STIM_TIMER_COMPARE", Plain}}},
      {"parseAdcDumpPacket",
       {{"MAGIC_VALUE", Plain},
        {"PACKET_ID", Counter},
        {"PAYLOAD_SIZE", Plain},
        {"TOTAL_DUMP_SIZE", Plain}}},
      {"parseBlackBoxSummary",
       {{"SEVERITY_LEVEL", Plain}, {"MODULE_COUNT", Plain}, {"PSE", Plain}}},
      {"parseBlackBoxFullReport",
       {{"MODULE_COUNT", Plain},
        {"PSE_MODULE_ID", Plain},
        {"PSE_NUM_EVENTS", Plain},
        {"PSE_EVENT_AFE_BROWNOUT", Counter},
        {"OPEN_SHORT_EVENT_WEAK_OS", Counter},
        {"ALGS_EVENT_PIXEL_NOISE_CNT_CH_47", Counter},
        {"BLOB_VSFN_EVENT_DEFAULT", Counter}}},
      {"parseOpenShortTest",
       {{"SHORT_TX_POS", Bits},
        {"SHORT_TX_NEG", Bits},
        {"SHORT_BOTH", Bits},
        {"OPEN_TX_POS", Bits},
        {"OPEN_TX_NEG", Bits},
        {"OPEN_BOTH", Bits},
        {"WEAK_OS", Bits}}},
      {"parseOpenShortData", {{"SATURATION_DATA", Bits}, {"BROWNOUT", Plain}}},
  };
  const PluginLibrary library(VESK_PLUGIN);
  Plugin plugin(library, {});
  const KnownReports reports(plugin.reports());
  std::map<std::string, std::size_t> met;
  for (const ReportInfo& info : reports.all()) {
    if (!known.contains(info.decoder)) continue;
    std::vector<std::uint8_t> bytes(info.smallest + 1);
    bytes[0] = static_cast<std::uint8_t>(info.id);
    const auto fields =
        fieldsOf(plugin.decode({bytes.data(), info.smallest}, info, Plugin::Mode::Object));
    std::size_t found = 0;
    for (const Field& field : fields) {
      const auto* const number = std::get_if<vesk_number>(&field.value);
      const auto& expected = known.at(info.decoder);
      if (number == nullptr || !expected.contains(field.key)) continue;
      ++found;
      EXPECT_EQ(meaningOf(info, field.key, number->kind), expected.at(field.key))
          << info.decoder << " " << field.key;
    }
    EXPECT_EQ(found, known.at(info.decoder).size()) << info.decoder;
    met[info.decoder] = found;
  }
  EXPECT_EQ(met.size(), known.size());
}

// Which report each one is compared with.

/// A tracker that is fed with reports of one byte behind their ID.
class Feeding : public testing::Test {
 protected:
  Feeding() {
    rules.tell = [this](std::string_view where, std::string_view what) {
      told.push_back(std::string(where).append(": ").append(what));
    };
  }

  /// What is news about a report with this state: pairs of the lines of both reports.
  std::vector<std::string> feed(Tracker& tracker, std::uint8_t state,
                                std::optional<UsbSender> sender = {}) {
    const ReportInfo& info = *known.find(0xDE, ReportType::Feature);
    std::vector<std::uint8_t> bytes = {0xDE, state, 0};
    Report report;
    report.bytes = {bytes.data(), 2};
    report.type = ReportType::Feature;
    report.place = {Place::Unit::Line, ++line};
    report.sender = sender;
    std::vector<std::string> news;
    for (const Comparison& comparison : tracker.follow(report, info, [&](Plugin::Mode mode) {
           return plugin.decode(report.bytes, info, mode);
         }))
      news.push_back(std::to_string(comparison.before.place.number) + ">" +
                     std::to_string(comparison.after.place.number) +
                     (comparison.changes.empty() ? " same" : ""));
    return news;
  }

  PluginLibrary library{VESK_PLUGIN};
  Plugin plugin{library, {}};
  KnownReports known{plugin.reports()};
  ChangeRules rules;
  std::vector<std::string> told;
  std::uint64_t line = 0;
};

TEST_F(Feeding, EachWithTheOneBeforeIt) {
  Tracker tracker(rules);
  tracker.beginFile("a");
  EXPECT_EQ(feed(tracker, 0), Lines());
  EXPECT_EQ(feed(tracker, 0), Lines());
  EXPECT_EQ(feed(tracker, 1), Lines{"2>3"});
  EXPECT_EQ(feed(tracker, 1), Lines());
  EXPECT_EQ(feed(tracker, 0), Lines{"4>5"});
  EXPECT_EQ(tracker.unchanged(), 2u);
  EXPECT_EQ(feed(tracker, 7), Lines{"5>6"});
  EXPECT_EQ(feed(tracker, 8), Lines());  // INVALID both: other bytes that say the same
  EXPECT_EQ(tracker.unchanged(), 3u);
  tracker.finish();
  EXPECT_EQ(told, Lines());
}

TEST_F(Feeding, SendersAndFilesApart) {
  Tracker tracker(rules);
  tracker.beginFile("a");
  EXPECT_EQ(feed(tracker, 0, UsbSender{1, 5, 0}), Lines());
  EXPECT_EQ(feed(tracker, 1, UsbSender{1, 9, 0}), Lines());
  EXPECT_EQ(feed(tracker, 1, UsbSender{1, 5, 0}), Lines{"1>3"});
  tracker.beginFile("b");
  EXPECT_EQ(feed(tracker, 2, UsbSender{1, 5, 0}), Lines());
  EXPECT_EQ(feed(tracker, 0), Lines());
  tracker.beginFile("a");  // as of live devices, which come by turns
  EXPECT_EQ(feed(tracker, 2, UsbSender{1, 9, 0}), Lines{"2>6"});
}

TEST_F(Feeding, WithABaseline) {
  const ReportInfo& info = *known.find(0xDE, ReportType::Feature);
  std::vector<std::uint8_t> bytes = {0xDE, 1};
  Report report;
  report.bytes = bytes;
  report.place = {Place::Unit::Line, 100};
  const Baseline baseline = {{&info, snapshotOf(report, info, "golden", [&](Plugin::Mode mode) {
                                return plugin.decode(bytes, info, mode);
                              })}};
  rules.baseline = &baseline;
  Tracker tracker(rules);
  tracker.beginFile("a");
  EXPECT_EQ(feed(tracker, 1), Lines());
  EXPECT_EQ(feed(tracker, 0), Lines{"100>2"});
  EXPECT_EQ(feed(tracker, 0), Lines());  // no news
  EXPECT_EQ(feed(tracker, 2), Lines{"100>4"});
  EXPECT_EQ(feed(tracker, 1), Lines{"100>5 same"});
  EXPECT_EQ(tracker.unchanged(), 2u);
}

TEST_F(Feeding, MoreSendersThanAnyBusHasAreTold) {
  Tracker tracker(rules);
  tracker.beginFile("before");
  feed(tracker, 0);
  tracker.beginFile("a");
  for (std::uint16_t device = 0; device < 512; ++device) feed(tracker, 0, UsbSender{1, device, 0});
  EXPECT_EQ(feed(tracker, 1, UsbSender{1, 511, 0}), Lines{"513>514"});
  EXPECT_EQ(feed(tracker, 0, UsbSender{1, 600, 0}), Lines());
  EXPECT_EQ(feed(tracker, 1, UsbSender{1, 600, 0}), Lines());
  tracker.finish();
  EXPECT_EQ(told, Lines{"vesk-decode: 2 reports were compared with nothing: too many senders"});
}

TEST_F(Feeding, OfManyFilesTheOldestIsForgotten) {
  Tracker tracker(rules);
  for (int file = 0; file < 64; ++file) {
    tracker.beginFile("f" + std::to_string(file));
    EXPECT_EQ(feed(tracker, 0), Lines());
  }
  tracker.beginFile("f0");
  EXPECT_EQ(feed(tracker, 1), Lines{"1>65"});
  tracker.beginFile("f64");  // there is no room for f1
  tracker.beginFile("f1");   // nor for f2
  EXPECT_EQ(feed(tracker, 1), Lines());
  tracker.beginFile("f3");
  EXPECT_EQ(feed(tracker, 1), Lines{"4>67"});
}

TEST_F(Feeding, WhatIsAloneIsToldOfForgottenFilesToo) {
  const ReportInfo& state = *known.find(0xDE, ReportType::Feature);
  rules.across = {known.find(0xDC, ReportType::Feature), &state};
  Tracker tracker(rules);
  for (int file = 0; file < 66; ++file) {
    tracker.beginFile("f" + std::to_string(file));
    feed(tracker, 0);
  }
  tracker.finish();
  ASSERT_EQ(told.size(), 66u);
  EXPECT_EQ(told[0],
            "f0: report 0xDE (feature) is compared with nothing: of report 0xDC (feature) none "
            "came from the same sender");
  EXPECT_TRUE(told[65].starts_with("f65: ")) << told[65];
}

TEST_F(Feeding, NothingComparedIsTold) {
  Tracker tracker(rules);
  tracker.beginFile("a");
  feed(tracker, 0);
  tracker.finish();
  ASSERT_EQ(told.size(), 1u);
  EXPECT_TRUE(told[0].starts_with("vesk-decode: nothing was compared")) << told[0];
}

}  // namespace
}  // namespace vesk::host
