// Counting reports, and finding out which ones are missing.

#include "host/outputs/Statistics.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace vesk::host {
namespace {

/// What a plug-in says that has two streams, of which this test feeds one.
const KnownReports& known() {
  static const KnownReports reports({
      {0xDE, ReportType::Feature, "parseAdcDumpState", "x", 2, false, false, {}},
      {0x76, ReportType::Input, "parseVeskImage", {}, 792, true, false, {{"FRAME_NUMBER", 4}}},
      {0x77, ReportType::Input, "parseAdcDumpPacket", {}, 2064, true, false, {{"PACKET_ID", 4}}},
  });
  return reports;
}

const ReportInfo* image() { return known().find(0x76, ReportType::Input); }
const ReportInfo* state() { return known().find(0xDE, ReportType::Feature); }

void count(Statistics& statistics, std::uint32_t frame, std::uint64_t offset = 0,
           std::optional<UsbSender> sender = {}) {
  std::array<std::uint8_t, 792> bytes{0x76};
  for (std::size_t i = 0; i < 4; ++i) bytes[4 + i] = static_cast<std::uint8_t>(frame >> (8 * i));
  Report report;
  report.bytes = bytes;
  report.type = ReportType::Input;
  report.place = {Place::Unit::Offset, offset};
  report.sender = sender;
  statistics.count(report, image());
}

const Sequence& numbersOf(const Statistics& statistics, std::size_t stream = 0) {
  return statistics.streams().at(stream)->numbers;
}

Sequence sequenceOf(std::initializer_list<std::uint32_t> frames) {
  Statistics statistics(known());
  statistics.beginFile("f");
  for (const std::uint32_t frame : frames) count(statistics, frame);
  return numbersOf(statistics);
}

/// What a sequence of numbers should tell.
void expect(std::initializer_list<std::uint32_t> frames, std::uint64_t lost, std::uint64_t late,
            std::uint64_t doubled, std::uint64_t restarted) {
  const Sequence numbers = sequenceOf(frames);
  const std::vector<std::uint64_t> told = {
      numbers.lost(), numbers.late(), numbers.doubled(), numbers.restarted()};
  EXPECT_EQ(told, (std::vector{lost, late, doubled, restarted}))
      << "of " << ::testing::PrintToString(std::vector(frames));
}

TEST(Statistics, Gaps) {
  expect({7}, 0, 0, 0, 0);
  expect({7, 8, 9}, 0, 0, 0, 0);
  expect({7, 9}, 1, 0, 0, 0);
  expect({7, 9, 20}, 11, 0, 0, 0);
  EXPECT_EQ(sequenceOf({7, 9, 20}).gapCount(), 2u);
}

TEST(Statistics, LateReportsAreNotLost) {
  expect({5, 6, 9, 9, 7, 8}, 0, 2, 1, 0);
  expect({1, 3, 2, 4}, 0, 1, 0, 0);
  expect({1, 65, 2, 66}, 62, 1, 0, 0);
  expect({1, 10, 5, 5}, 7, 1, 1, 0);
  expect({2, 1, 3, 4}, 0, 1, 0, 0);  // 1 was overtaken before anything of it was known
}

TEST(Statistics, DoubledReportsAreThoseThatCameJustNow) {
  expect({4, 4, 4, 5}, 0, 0, 2, 0);
  expect({1, 2, 3, 4, 5, 6, 7, 8, 9, 2, 10}, 0, 0, 1, 0);
  expect({1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 2, 3, 4}, 0, 0, 0, 1);  // nine ago: a new start
}

TEST(Statistics, NewStartsAreNoLosses) {
  expect({7000, 7001, 0, 1, 2}, 0, 0, 0, 1);
  expect({7000, 7001, 0, 1, 4}, 2, 0, 0, 1);
  expect({0x90000000, 0x10000000}, 0, 0, 0, 1);
  expect({1, 1000, 5, 6, 7}, 998, 0, 0, 1);  // too far behind to be late
}

TEST(Statistics, WhereTheOldCountGoesOnNothingStartedAnew) {
  expect({1000, 900, 1001, 1002}, 0, 1, 0, 0);
  expect({1000, 900, 901, 903, 1001}, 0, 3, 0, 0);
  expect({1000, 1, 2, 3, 4, 5, 6, 7, 8, 9, 1001}, 991, 0, 0, 1);  // a count of its own by now
}

TEST(Statistics, CountersWrapAround) {
  expect({0xFFFFFFFF, 0}, 0, 0, 0, 0);
  expect({0xFFFFFFFE, 0, 0xFFFFFFFF, 0, 1}, 0, 1, 1, 0);
  const auto numbers = sequenceOf({0xFFFFFFFE, 2});
  EXPECT_EQ(numbers.lost(), 3u);
  EXPECT_EQ(numbers.gaps("f").front().first, 0xFFFFFFFFu);
  EXPECT_EQ(numbers.gaps("f").front().last, 1u);
}

/// "first-last" of each gap.
std::string gapsOf(std::initializer_list<std::uint32_t> frames) {
  std::string text;
  for (const Sequence::Gap& gap : sequenceOf(frames).gaps("f"))
    text += std::to_string(gap.first) + '-' + std::to_string(gap.last) + ' ';
  return text;
}

TEST(Statistics, LateReportsFillTheirGaps) {
  EXPECT_EQ(gapsOf({1, 10}), "2-9 ");
  EXPECT_EQ(gapsOf({1, 10, 2}), "3-9 ");
  EXPECT_EQ(gapsOf({1, 10, 9}), "2-8 ");
  EXPECT_EQ(gapsOf({1, 10, 5}), "2-4 6-9 ");
  EXPECT_EQ(gapsOf({1, 10, 5, 4, 2, 3}), "6-9 ");
  EXPECT_EQ(gapsOf({1, 3, 5, 4, 7}), "2-2 6-6 ");
}

TEST(Statistics, OnlyTheFirstGapsAreKept) {
  Statistics statistics(known());
  for (std::uint32_t i = 0; i < 100000; ++i) count(statistics, 2 * i);
  count(statistics, 199997);  // late
  EXPECT_EQ(numbersOf(statistics).lost(), 99998u);
  EXPECT_EQ(numbersOf(statistics).gapCount(), 99998u);
  ASSERT_EQ(numbersOf(statistics).gaps(statistics.file()).size(), 10u);
  EXPECT_EQ(numbersOf(statistics).gaps(statistics.file()).back().first, 19u);
}

TEST(Statistics, EachSenderHasACountOfItsOwn) {
  Statistics statistics(known());
  const UsbSender left{1, 4, 0x81}, right{1, 5, 0x81};
  for (std::uint32_t i = 0; i < 10; ++i) {
    count(statistics, 5 + i, 0, left);
    if (i != 3) count(statistics, 600000 + i, 0, right);
  }
  ASSERT_EQ(statistics.streams().size(), 2u);
  EXPECT_EQ(statistics.streams()[0]->sender, left);
  EXPECT_EQ(numbersOf(statistics, 0).lost(), 0u);
  EXPECT_EQ(statistics.streams()[1]->sender, right);
  EXPECT_EQ(numbersOf(statistics, 1).lost(), 1u);
  EXPECT_NE(statistics.table().find("0  lost by FRAME_NUMBER, device 1:4, endpoint 1\n"),
            std::string::npos);
}

TEST(Statistics, SoManySendersAreNotFollowed) {
  Statistics statistics(known());
  for (std::uint32_t device = 0; device < 5000; ++device)
    count(statistics, 1, 0, UsbSender{1, static_cast<std::uint16_t>(device), 0x81});
  EXPECT_EQ(statistics.streams().size() + statistics.unfollowed(), 5000u);
  EXPECT_GT(statistics.unfollowed(), 0u);
  EXPECT_NE(statistics.table().find("too many senders"), std::string::npos);
}

TEST(Statistics, GapsSayWhere) {
  Statistics statistics(known());
  statistics.beginFile("a.bin");
  count(statistics, 1, 0);
  count(statistics, 5, 792);
  EXPECT_EQ(numbersOf(statistics).gaps(statistics.file()).front().before, "a.bin: byte 792");
  statistics.beginFile("b.bin");
  count(statistics, 9);
  EXPECT_EQ(numbersOf(statistics).gapCount(), 1u) << "each file has a count of its own";
  EXPECT_EQ(numbersOf(statistics).gaps("b.bin").front().before, "a.bin: byte 792");
  for (std::uint32_t frame = 11; frame < 40; frame += 2) count(statistics, frame);
  statistics.beginFile("c.bin");
  EXPECT_EQ(numbersOf(statistics).gapCount(), 16u);
  EXPECT_EQ(numbersOf(statistics).lost(), 18u);
  ASSERT_EQ(numbersOf(statistics).gaps("c.bin").size(), 10u);
  EXPECT_EQ(numbersOf(statistics).gaps("c.bin").back().before, "b.bin: byte 0");
}

TEST(Statistics, ReportsThatNobodyNumbersHaveNoLosses) {
  Statistics statistics(known());
  const std::array<std::uint8_t, 2> bytes = {0xDE, 1};
  Report report;
  report.bytes = bytes;
  report.type = ReportType::Feature;
  statistics.count(report, state());
  count(statistics, 1);
  statistics.count(report, state());
  report.type.reset();
  statistics.count(report, nullptr);
  ASSERT_EQ(statistics.kinds().size(), 3u);
  EXPECT_EQ(statistics.kinds()[0].reports, 2u);
  EXPECT_EQ(statistics.kinds()[1].id, 0x76u);
  EXPECT_EQ(statistics.reports(), 4u);
  EXPECT_EQ(statistics.streams().size(), 1u);
  EXPECT_NE(statistics.table().find("0xDE (input) unknown"), std::string::npos);
}

TEST(Statistics, TheCounterIsTheOneThatTheReportSays) {
  const KnownReports others({
      {0x05, ReportType::Input, "b", {}, 9, false, false, {{"SECOND", 5}}},
      {0x04, ReportType::Input, "a", {}, 5, false, false, {{"FIRST", 1}}},
      {0x06, ReportType::Input, "c", {}, 5, false, false, {{"THIRD", SIZE_MAX}}},
  });
  Statistics statistics(others);
  const auto give = [&](std::initializer_list<std::uint8_t> bytes) {
    const std::vector<std::uint8_t> kept = bytes;
    Report report;
    report.bytes = kept;
    report.type = ReportType::Input;
    statistics.count(report, others.find(report.id(), ReportType::Input));
  };
  give({4, 1, 0, 0, 0});
  give({5, 9, 9, 9, 9, 0, 1, 0, 0});
  give({4, 3, 0, 0, 0});
  give({5, 0, 0, 0, 0, 0, 2, 0, 0});
  give({6, 1, 0, 0, 0});
  const auto streams = statistics.streams();
  ASSERT_EQ(streams.size(), 2u) << "a number that lies behind its report is none";
  EXPECT_EQ(streams[0]->info->counter->key, "SECOND") << "in the plug-in's order";
  EXPECT_EQ(streams[0]->numbers.lost(), 255u);
  EXPECT_EQ(streams[1]->info->counter->key, "FIRST");
  EXPECT_EQ(streams[1]->numbers.lost(), 1u);
}

TEST(Statistics, ReportTooShortForItsNumber) {
  Statistics statistics(known());
  const std::array<std::uint8_t, 7> bytes = {0x76, 0, 0, 0, 1, 0, 0};
  Report report;
  report.bytes = bytes;
  report.type = ReportType::Input;
  statistics.count(report, image());
  EXPECT_TRUE(statistics.streams().empty());
}

}  // namespace
}  // namespace vesk::host
