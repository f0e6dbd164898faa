// The open/short test: mark rows, results and scan data.

#include <gtest/gtest.h>

#include "tests/support/support.h"

namespace vesk {
namespace {

using test::arrayAt;
using test::decode;
using test::Lines;
using test::linesOf;
using test::numberAt;
using test::objectOf;
using test::ReportBytes;

const std::string kNoMarks = "........ ........ ........ ........ ........ ........";
const std::string kAllMarks = "XXXXXXXX XXXXXXXX XXXXXXXX XXXXXXXX XXXXXXXX XXXXXXXX";

TEST(MarkRow, BitsFromTheLeft) {
  const auto plugin = test::makePlugin();
  EXPECT_EQ(plugin->printOSTResult("L", 0), "L  " + kNoMarks);
  EXPECT_EQ(plugin->printOSTResult("L", 0x2),
            "L  ........ ........ ........ ........ ........ ......X.");
  EXPECT_EQ(plugin->printOSTResult("L", 0x800000000001),
            "L  X....... ........ ........ ........ ........ .......X");
  EXPECT_EQ(plugin->printOSTResult("L", 0x0000010203040508),
            "L  .......X ......X. ......XX .....X.. .....X.X ....X...");
  EXPECT_EQ(plugin->printOSTResult(nullptr, ~0ull), "(null)  " + kAllMarks);
}

TEST(MarkRow, EachBitHasItsPlace) {
  const auto plugin = test::makePlugin();
  for (std::size_t bit = 0; bit < 64; ++bit) {
    std::string row = kNoMarks;
    if (bit < 48) row[(47 - bit) + (47 - bit) / 8] = 'X';
    EXPECT_EQ(plugin->printOSTResult("", std::uint64_t{1} << bit), "  " + row) << bit;
  }
}

TEST(OpenShortTest, Text) {
  ReportBytes report(0xE3, 57);
  report.put64(1, 0x2).put64(49, ~0ull);
  const std::string none = "  " + kNoMarks;
  EXPECT_EQ(linesOf(report),
            (Lines{
                "Open/Short Test Results:",
                "",
                "\t                  40       32       24       16        8        0",
                "\tShort TX+   ........ ........ ........ ........ ........ ......X.",
                "\tShort TX- " + none,
                "\tShort BOTH" + none,
                "\tOpen  TX+ " + none,
                "\tOpen  TX- " + none,
                "\tOpen  BOTH" + none,
                "\tWeak  O/S   " + kAllMarks,
            }));
}

TEST(OpenShortTest, TheRulerStandsOverTheLowestBits) {
  const Lines lines = linesOf(ReportBytes(0xE3, 57).put64(1, 0x010101010101));
  const std::string& ruler = lines[2];
  const std::string& row = lines[3];
  ASSERT_EQ(ruler.size(), row.size());
  std::size_t marks = 0;
  for (std::size_t i = row.find("  "); i < row.size(); ++i) {
    if (row[i] != 'X') continue;
    ++marks;
    EXPECT_TRUE(ruler[i] >= '0' && ruler[i] <= '9') << i;
    EXPECT_TRUE(i + 1 == ruler.size() || ruler[i + 1] == ' ') << i;
  }
  EXPECT_EQ(marks, 6u);
}

TEST(OpenShortTest, ObjectHasAllBits) {
  ReportBytes report(0xE3, 57);
  for (std::size_t i = 0; i < 7; ++i) report.put64(1 + 8 * i, 0x8000000000000000 + i);
  EXPECT_EQ(linesOf(report)[3], "\tShort TX+   " + kNoMarks);
  EXPECT_EQ(test::listing(decode(report, false)),
            "dictionary 7\n"
            "\"SHORT_TX_POS\" unsigned long long 9223372036854775808\n"
            "\"SHORT_TX_NEG\" unsigned long long 9223372036854775809\n"
            "\"SHORT_BOTH\" unsigned long long 9223372036854775810\n"
            "\"OPEN_TX_POS\" unsigned long long 9223372036854775811\n"
            "\"OPEN_TX_NEG\" unsigned long long 9223372036854775812\n"
            "\"OPEN_BOTH\" unsigned long long 9223372036854775813\n"
            "\"WEAK_OS\" unsigned long long 9223372036854775814\n");
}

ReportBytes scan(std::uint32_t id) {
  ReportBytes report(id, 401);
  report.put64(1, 0xFFFF000000000002).put32(9, 0xFFFFFFFF).put32(388, 0).put32(389, 42);
  return report;
}

TEST(ScanData, Text) {
  const Lines lines = linesOf(scan(0xE4));
  ASSERT_EQ(lines.size(), 22u);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 8),
            (Lines{
                "Open/Short Test D-SCAN Data:",
                "",
                "                       40       32       24       16        8        0",
                "ADC Saturation   ........ ........ ........ ........ ........ ......X.",
                "",
                "Brownout: NO",
                "",
                "[D-SCAN I]",
            }));
  EXPECT_EQ(lines[8], "ffffffff 00000000 00000000 00000000 00000000 00000000 00000000 00000000 ");
  EXPECT_EQ(lines[14], "");
  EXPECT_EQ(lines[15], "[D-SCAN Q]");
  EXPECT_EQ(lines[21], "00000000 00000000 00000000 00000000 00000000 00000000 00000000 0000002a ");
}

TEST(ScanData, TheOtherIdIsThePScan) {
  const Lines lines = linesOf(scan(0xE5));
  EXPECT_EQ(lines[0], "Open/Short Test P-SCAN Data:");
  EXPECT_EQ(lines[7], "[P-SCAN I]");
  EXPECT_EQ(lines[15], "[P-SCAN Q]");
}

TEST(ScanData, TheNameComesFromTheIdThatWasPassed) {
  const auto plugin = test::makePlugin();
  plugin->setUseStrings(true);
  ReportBytes report = scan(0xE4);
  EXPECT_EQ(linesOf(plugin->reportToObject(report.data(), 0xE5, kFeature, 401))[0],
            "Open/Short Test P-SCAN Data:");
  report.put(0, {0xE5});
  EXPECT_EQ(linesOf(plugin->reportToObject(report.data(), 0xE4, kFeature, 401))[0],
            "Open/Short Test D-SCAN Data:");
}

TEST(ScanData, EveryOtherIdIsThePScan) {
  const auto plugin = test::makePlugin();
  plugin->setUseStrings(true);
  ReportBytes report = scan(0xE4);
  for (const std::uint32_t id : {0x00u, 0x42u, 0xE3u, 0xE6u, 0x1E4u, 0xFFFFFFE4u}) {
    plugin->setReportIds(
        std::make_shared<const ReportTable>(ReportTable{{id, "parseOpenShortData"}}));
    const Lines lines = linesOf(plugin->reportToObject(report.data(), id, kFeature, 401));
    EXPECT_EQ(lines[0], "Open/Short Test P-SCAN Data:") << id;
    EXPECT_EQ(lines[7], "[P-SCAN I]") << id;
    EXPECT_EQ(lines[15], "[P-SCAN Q]") << id;
  }
}

TEST(ScanData, DecimalReadsSamplesAsSigned) {
  const Lines lines = linesOf(scan(0xE4), true);
  EXPECT_EQ(lines[8].substr(0, 30), "            -1              0 ");
  EXPECT_EQ(lines[21].substr(105), "            42 ");
}

TEST(ScanData, BrownoutIsTheLowestBit) {
  for (int status = 0; status < 256; ++status) {
    ReportBytes report(0xE4, 401);
    report.put(393, {status});
    EXPECT_EQ(linesOf(report)[5], status % 2 != 0 ? "Brownout: YES" : "Brownout: NO");
    EXPECT_EQ(numberAt(objectOf(report), "BROWNOUT").as<unsigned char>(), status % 2);
  }
}

TEST(ScanData, ObjectHasFourKeysAndNoScanName) {
  for (const std::uint32_t id : {0xE4u, 0xE5u}) {
    const ReportObject object = objectOf(scan(id), true);
    ASSERT_EQ(object.size(), 4u);
    EXPECT_EQ(numberAt(object, "SATURATION_DATA").as<unsigned long long>(), 0xFFFF000000000002u);
    EXPECT_EQ(arrayAt(object, "SCAN_DATA_I").size(), 48u);
    EXPECT_EQ(arrayAt(object, "SCAN_DATA_I")[0].as<unsigned>(), 0xFFFFFFFFu);
    EXPECT_EQ(arrayAt(object, "SCAN_DATA_Q")[47].as<unsigned>(), 42u);
  }
}

}  // namespace
}  // namespace vesk
