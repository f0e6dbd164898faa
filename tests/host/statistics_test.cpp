// Counting reports, and finding out which ones are missing.

#include "host/outputs/Statistics.h"

#include <gtest/gtest.h>

#include <array>
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

void count(Statistics& statistics, std::uint32_t frame, std::uint64_t offset = 0) {
  std::array<std::uint8_t, 792> bytes{0x76};
  for (std::size_t i = 0; i < 4; ++i) bytes[4 + i] = static_cast<std::uint8_t>(frame >> (8 * i));
  Report report;
  report.bytes = bytes;
  report.type = ReportType::Input;
  report.place = {Place::Unit::Offset, offset};
  statistics.count(report, image());
}

Statistics::Losses lossesOf(std::initializer_list<std::uint32_t> frames) {
  Statistics statistics(known());
  statistics.beginFile("f");
  for (const std::uint32_t frame : frames) count(statistics, frame);
  return statistics.losses().front();
}

TEST(Statistics, Gaps) {
  EXPECT_EQ(lossesOf({7}).lost, 0u);
  EXPECT_EQ(lossesOf({7, 8, 9}).lost, 0u);
  EXPECT_EQ(lossesOf({7, 9}).lost, 1u);
  EXPECT_EQ(lossesOf({7, 9, 20}).lost, 11u);
  EXPECT_EQ(lossesOf({7, 9, 20}).gapCount, 2u);
}

TEST(Statistics, NewStartsAndRepetitionsAreNoLosses) {
  EXPECT_EQ(lossesOf({7, 7, 3, 0, 1}).lost, 0u);
  EXPECT_EQ(lossesOf({0x90000000, 0x10000000}).lost, 0u);
}

TEST(Statistics, CountersWrapAround) {
  EXPECT_EQ(lossesOf({0xFFFFFFFF, 0}).lost, 0u);
  const auto losses = lossesOf({0xFFFFFFFE, 2});
  EXPECT_EQ(losses.lost, 3u);
  EXPECT_EQ(losses.gaps.front().first, 0xFFFFFFFFu);
  EXPECT_EQ(losses.gaps.front().last, 1u);
}

TEST(Statistics, GapsSayWhere) {
  Statistics statistics(known());
  statistics.beginFile("a.bin");
  count(statistics, 1, 0);
  count(statistics, 5, 792);
  EXPECT_EQ(statistics.losses().front().gaps.front().before, "a.bin: byte 792");
  statistics.beginFile("b.bin");
  count(statistics, 9);
  EXPECT_EQ(statistics.losses().front().gapCount, 1u) << "each file has a count of its own";
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
  EXPECT_EQ(statistics.losses().size(), 1u);
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
  const auto losses = statistics.losses();
  ASSERT_EQ(losses.size(), 2u) << "a number that lies behind its report is none";
  EXPECT_EQ(losses[0].counter, "SECOND") << "in the plug-in's order";
  EXPECT_EQ(losses[0].lost, 255u);
  EXPECT_EQ(losses[1].counter, "FIRST");
  EXPECT_EQ(losses[1].lost, 1u);
}

TEST(Statistics, ReportTooShortForItsNumber) {
  Statistics statistics(known());
  const std::array<std::uint8_t, 7> bytes = {0x76, 0, 0, 0, 1, 0, 0};
  Report report;
  report.bytes = bytes;
  report.type = ReportType::Input;
  statistics.count(report, image());
  EXPECT_TRUE(statistics.losses().empty());
}

}  // namespace
}  // namespace vesk::host
