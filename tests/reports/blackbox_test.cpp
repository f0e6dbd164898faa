// The black box: catalogue, summary, full report and configuration.

#include <gtest/gtest.h>

#include <algorithm>

#include "plugin/vesk_plugin.h"
#include "reports/blackbox/catalogue.h"
#include "tests/support/support.h"

namespace vesk {
namespace {

using test::decode;
using test::Lines;
using test::linesOf;
using test::numberAt;
using test::objectOf;
using test::ReportBytes;

bool contains(const Lines& lines, const std::string& line) {
  return std::ranges::find(lines, line) != lines.end();
}

/// `line` in 40 columns, right-aligned.
std::string label(const std::string& name) {
  return std::string(name.size() < 40 ? 40 - name.size() : 0, ' ') + name;
}

/// Puts back the blob names that a test changes.
class BlobNames {
 public:
  BlobNames() { std::ranges::copy(blob_names, _saved); }
  ~BlobNames() { std::ranges::copy(_saved, blob_names); }
  BlobNames(const BlobNames&) = delete;
  BlobNames& operator=(const BlobNames&) = delete;

 private:
  const char* _saved[10];
};

// --------------------------------------------------------------------------------------- catalogue

TEST(Catalogue, AlgsHasSeventyNames) {
  using blackbox::kAlgs;
  ASSERT_EQ(kAlgs.event.size(), 70u);
  EXPECT_EQ(kAlgs.event[9].name(), "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_0");
  EXPECT_EQ(kAlgs.event[13].name(), "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_4");
  EXPECT_EQ(kAlgs.event[18].name(), "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_4");
  EXPECT_EQ(kAlgs.event[21].name(), "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_21_N");
  EXPECT_EQ(kAlgs.event[22].name(), "ALGS_EVENT_PIXEL_NOISE_CNT_CH_0");
  EXPECT_EQ(kAlgs.event[31].name(), "ALGS_EVENT_PIXEL_NOISE_CNT_CH_9");
  EXPECT_EQ(kAlgs.event[32].name(), "ALGS_EVENT_PIXEL_NOISE_CNT_CH_10");
  EXPECT_EQ(kAlgs.event[69].name(), "ALGS_EVENT_PIXEL_NOISE_CNT_CH_47");
}

TEST(Catalogue, TheTwoEndsOfTheHidSpiShareSixteenEvents) {
  using blackbox::kHidSpiMaster;
  using blackbox::kHidSpiSlave;
  ASSERT_EQ(kHidSpiMaster.event.size(), 17u);
  ASSERT_EQ(kHidSpiSlave.event.size(), 26u);
  for (std::size_t i = 0; i < 16; ++i) {
    const std::string master(kHidSpiMaster.event[i].name());
    const std::string slave(kHidSpiSlave.event[i].name());
    EXPECT_EQ(master.substr(0, 20), "HIDSPI_MASTER_EVENT_");
    EXPECT_EQ(slave.substr(0, 19), "HIDSPI_SLAVE_EVENT_");
    EXPECT_EQ(master.substr(20), slave.substr(19));
  }
  EXPECT_EQ(kHidSpiMaster.event[0].name(), "HIDSPI_MASTER_EVENT_ACK_SENT");
  EXPECT_EQ(kHidSpiSlave.event[15].name(), "HIDSPI_SLAVE_EVENT_TRANSFER_RETRY");
  EXPECT_EQ(kHidSpiMaster.event[16].name(), "HIDSPI_MASTER_EVENT_KELMORA_MISSING");
  EXPECT_EQ(kHidSpiSlave.event[16].name(), "HIDSPI_SLAVE_EVENT_SPI_CS_ACTIVATED");
  EXPECT_EQ(kHidSpiSlave.event[25].name(), "HIDSPI_SLAVE_EVENT_BUS_DETACH");
}

TEST(Catalogue, EventsPerModule) {
  using namespace blackbox;
  EXPECT_EQ(kBlackBox.event.size() + kPse.event.size() + kOpenShortTest.event.size() +
                kScanLogger.event.size() + kSvcSmgr.event.size() + kHidSpiMaster.event.size() +
                kAlgs.event.size() + kSys.event.size() + kZub.event.size() +
                kHidSpiSlave.event.size() + kOtp.event.size() + kPmgr.event.size(),
            155u);
  EXPECT_EQ(kOpenShortTest.event[0].name(), "OPEN_SHORT_EVENT_UNKNOWN");
}

TEST(Catalogue, BlobNamesAreExportedInRowOrder) {
  const char* const names[] = {"BLOB_VAFE",
                               "BLOB_VFCL",
                               "BLOB_VPMp",
                               "BLOB_VSGC",
                               "BLOB_VSSp",
                               "BLOB_VSSC",
                               "BLOB_VSRx",
                               "BLOB_VSPM",
                               "BLOB_VRTC",
                               "BLOB_VSFN"};
  ASSERT_EQ(std::size(blob_names), 10u);
  for (std::size_t row = 0; row < 10; ++row) EXPECT_STREQ(blob_names[row], names[row]);
}

// ---------------------------------------------------------------------------------------- severity

TEST(Severity, SixLevelsHaveNames) {
  const auto plugin = test::makePlugin();
  const char* const names[] = {"TRACE", "DEBUG", "INFO", "WARNING", "ERROR", "CRITICAL"};
  for (unsigned char level = 0; level < 6; ++level) {
    const char* name = nullptr;
    plugin->errorLevelToString(level, &name);
    EXPECT_STREQ(name, names[level]);
  }
}

TEST(Severity, OtherLevelsLeaveTheOutputAlone) {
  const auto plugin = test::makePlugin();
  for (int level = 6; level < 256; ++level) {
    const char* name = "as it was";
    plugin->errorLevelToString(static_cast<unsigned char>(level), &name);
    EXPECT_STREQ(name, "as it was");
  }
}

// ----------------------------------------------------------------------------------------- summary

TEST(Summary, AllFlagsZero) {
  EXPECT_EQ(linesOf(ReportBytes(0xE0, 7)),
            (Lines{
                "--Black Box Summary--",   "Severity Level: TRACE",
                "Module Count:   0",       "",
                "           BLACK_BOX: 0", "                 PSE: 0",
                "     OPEN_SHORT_TEST: 0", "         SCAN_LOGGER: 0",
                "            SVC_SMGR: 0", "           BLOB_VAFE: 0",
                "           BLOB_VFCL: 0", "           BLOB_VPMp: 0",
                "           BLOB_VSGC: 0", "           BLOB_VSSp: 0",
                "           BLOB_VSSC: 0", "           BLOB_VSRx: 0",
                "           BLOB_VSPM: 0", "           BLOB_VRTC: 0",
                "       HIDSPI_MASTER: 0", "        HIDSPI_SLAVE: 0",
                "                ALGS: 0", "                 SYS: 0",
                "                 ZUB: 0", "                 OTP: 0",
                "                PMGR: 0", "           BLOB_VSFN: 0",
            }));
}

TEST(Summary, EachFlagHasItsLineAndKey) {
  // Line and key of the module of each index.
  const struct {
    const char* name;
    std::size_t line;
  } modules[] = {
      {"BLACK_BOX", 4},  {"PSE", 5},        {"OPEN_SHORT_TEST", 6}, {"SCAN_LOGGER", 7},
      {"SVC_SMGR", 8},   {"BLOB_VAFE", 9},  {"BLOB_VFCL", 10},      {"BLOB_VPMp", 11},
      {"BLOB_VSGC", 12}, {"BLOB_VSSp", 13}, {"BLOB_VSSC", 14},      {"BLOB_VSRx", 15},
      {"BLOB_VSPM", 16}, {"BLOB_VRTC", 17}, {"HIDSPI_MASTER", 18},  {"ALGS", 20},
      {"SYS", 21},       {"ZUB", 22},       {"HIDSPI_SLAVE", 19},   {"OTP", 23},
      {"PMGR", 24},      {"BLOB_VSFN", 25},
  };
  for (std::size_t index = 0; index < std::size(modules); ++index) {
    ReportBytes report(0xE0, 7);
    report.put(4 + index / 8, {1 << index % 8});
    const Lines lines = linesOf(report);
    const std::string name = modules[index].name;
    ASSERT_EQ(lines.size(), 26u);
    for (std::size_t line = 4; line < 26; ++line)
      EXPECT_EQ(lines[line].back(), line == modules[index].line ? '1' : '0') << name << line;
    EXPECT_EQ(lines[modules[index].line], std::string(20 - name.size(), ' ') + name + ": 1");
    const ReportObject object = objectOf(report);
    for (std::size_t i = 2; i < object.size(); ++i)
      EXPECT_EQ(std::get<Number>(object.value(i)).as<unsigned char>(), object.key(i) == name);
  }
}

TEST(Summary, SeverityAndModuleCount) {
  ReportBytes report(0xE0, 7);
  report.put(1, {0x0D, 0x34, 0x12});
  EXPECT_EQ(linesOf(report)[1], "Severity Level: CRITICAL");
  EXPECT_EQ(linesOf(report)[2], "Module Count:   4660");
  const ReportObject object = objectOf(report);
  EXPECT_EQ(object.size(), 24u);
  EXPECT_EQ(numberAt(object, "SEVERITY_LEVEL").as<unsigned char>(), 13);
  EXPECT_EQ(numberAt(object, "MODULE_COUNT").as<unsigned short>(), 4660);
}

TEST(Summary, ALevelWithoutANamePrintsAsNull) {
  for (const int severity : {0x06, 0x07, 0xFE}) {
    ReportBytes report(0xE0, 7);
    report.put(1, {severity});
    EXPECT_EQ(linesOf(report)[1], "Severity Level: (null)");
    EXPECT_EQ(numberAt(objectOf(report), "SEVERITY_LEVEL").as<unsigned char>(), severity);
  }
}

TEST(Summary, UnusedFlagBitsAreIgnored) {
  ReportBytes report(0xE0, 7);
  const std::string text = test::listing(decode(report, true));
  const std::string object = test::listing(decode(report, false));
  report.put(6, {0xC0});
  EXPECT_EQ(test::listing(decode(report, true)), text);
  EXPECT_EQ(test::listing(decode(report, false)), object);
}

TEST(Summary, UsesItsOwnBlobNames) {
  const BlobNames restore;
  blob_names[0] = "OTHER";
  EXPECT_EQ(linesOf(ReportBytes(0xE0, 7))[9], "           BLOB_VAFE: 0");
  EXPECT_EQ(objectOf(ReportBytes(0xE0, 7)).key(7), "BLOB_VAFE");
}

// ------------------------------------------------------------------------------------- full report

TEST(FullReport, AllZero) {
  const Lines lines = linesOf(ReportBytes(0xE1, 991));
  ASSERT_EQ(lines.size(), 295u);
  EXPECT_EQ(lines[0], "---Black Box Full Report---");
  EXPECT_EQ(lines[1], "");
  EXPECT_EQ(lines[2], label("Module Count") + ": 0");
  EXPECT_EQ(lines[3], "");
  EXPECT_EQ(lines[4], label("BLACK_BOX Module ID") + ": 0x0000");
  EXPECT_EQ(lines[5], label("BLACK_BOX # Events") + ": 0");
  EXPECT_EQ(lines[6], label("BLACK_BOX_EVENT_UNKNOWN") + ": 0");
  EXPECT_EQ(lines[195], label("BLOB_VAFE Module ID") + ": 0x0000");
  EXPECT_EQ(lines[293], label("BLOB_EVENT_DEFAULT") + ": 0");
  EXPECT_EQ(lines[294], "");
  const ReportObject object = objectOf(ReportBytes(0xE1, 991));
  ASSERT_EQ(object.size(), 269u);
  for (std::size_t i = 0; i < object.size(); ++i)
    EXPECT_EQ(std::get<Number>(object.value(i)), Number(0));
}

TEST(FullReport, ModulesInDisplayOrder) {
  Lines ids;
  for (const std::string& line : linesOf(ReportBytes(0xE1, 991)))
    if (const auto at = line.find(" Module ID"); at != std::string::npos)
      ids.push_back(line.substr(line.find_first_not_of(' '), at - line.find_first_not_of(' ')));
  EXPECT_EQ(ids, (Lines{"BLACK_BOX",    "PSE",       "OPEN_SHORT_TEST",
                        "SCAN_LOGGER",  "SVC_SMGR",  "HIDSPI_MASTER",
                        "HIDSPI_SLAVE", "ALGS",      "SYS",
                        "ZUB",          "OTP",       "PMGR",
                        "BLOB_VAFE",    "BLOB_VFCL", "BLOB_VPMp",
                        "BLOB_VSGC",    "BLOB_VSSp", "BLOB_VSSC",
                        "BLOB_VSRx",    "BLOB_VSPM", "BLOB_VRTC",
                        "BLOB_VSFN"}));
}

TEST(FullReport, CountersAreSignedInTextAndUnsignedInTheObject) {
  ReportBytes report(0xE1, 991);
  report.put32(579, 0x80000000).put32(931, 0xFFFFFFFF);
  const Lines lines = linesOf(report);
  EXPECT_TRUE(contains(lines, label("ALGS_EVENT_PIXEL_NOISE_CNT_CH_0") + ": -2147483648"));
  EXPECT_TRUE(contains(lines, label("HIDSPI_SLAVE_EVENT_BUS_DETACH") + ": -1"));
  const ReportObject object = objectOf(report);
  EXPECT_EQ(numberAt(object, "ALGS_EVENT_PIXEL_NOISE_CNT_CH_0").as<unsigned>(), 2147483648u);
  EXPECT_EQ(numberAt(object, "HIDSPI_SLAVE_EVENT_BUS_DETACH").as<unsigned>(), 4294967295u);
}

TEST(FullReport, FieldsSteerNothing) {
  ReportBytes report(0xE1, 991);
  report.put16(1, 0).put16(489, 3);
  const Lines lines = linesOf(report);
  EXPECT_EQ(lines.size(), 295u);
  EXPECT_TRUE(contains(lines, label("ALGS # Events") + ": 3"));
  EXPECT_TRUE(contains(lines, label("ALGS_EVENT_PIXEL_NOISE_CNT_CH_47") + ": 0"));
  EXPECT_EQ(numberAt(objectOf(report), "ALGS_NUM_EVENTS").as<unsigned short>(), 3);
}

TEST(FullReport, BlobRecords) {
  ReportBytes report(0xE1, 991);
  report.put(127, {0x34, 0x12, 0x07, 0x00}).put16(959, 0xFFFF).put16(961, 65535).put32(987, 9);
  const Lines lines = linesOf(report);
  EXPECT_EQ(lines[195], "                     BLOB_VAFE Module ID: 0x1234");
  EXPECT_EQ(lines[196], label("BLOB # Events") + ": 7");
  EXPECT_EQ(lines[285], "                     BLOB_VSFN Module ID: 0xFFFF");
  EXPECT_EQ(lines[286], label("BLOB # Events") + ": 65535");
  EXPECT_EQ(lines[293], label("BLOB_EVENT_DEFAULT") + ": 9");
  const ReportObject object = objectOf(report);
  EXPECT_EQ(numberAt(object, "BLOB_VAFE_MODULE_ID").as<unsigned short>(), 0x1234);
  EXPECT_EQ(numberAt(object, "BLOB_VSFN_EVENT_DEFAULT").as<unsigned>(), 9u);
  EXPECT_TRUE(object.find("BLOB_VPMp_EVENT_UNSUPPORTED_HEADER_VERSION"));
  EXPECT_FALSE(object.find("BLOB_VPMP_EVENT_UNSUPPORTED_HEADER_VERSION"));
}

TEST(FullReport, LongLabelsPushTheColon) {
  const Lines lines = linesOf(ReportBytes(0xE1, 991));
  for (const char* const name : {"HIDSPI_MASTER_EVENT_TRANSFER_INVALID_TYPE",
                                 "HIDSPI_MASTER_EVENT_TRANSFER_INVALID_IFACE_ID",
                                 "HIDSPI_SLAVE_EVENT_TRANSFER_INVALID_IFACE_ID",
                                 "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_5_10",
                                 "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_11_20",
                                 "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_21_N"})
    EXPECT_TRUE(contains(lines, std::string(name) + ": 0")) << name;
}

TEST(FullReport, PmgrHasNoNumberOfEventsKey) {
  ReportBytes report(0xE1, 991);
  report.put16(953, 1);
  EXPECT_TRUE(contains(linesOf(report), label("PMGR # Events") + ": 1"));
  const ReportObject object = objectOf(report);
  EXPECT_TRUE(object.find("PMGR_MODULE_ID"));
  EXPECT_TRUE(object.find("PMGR_EVENT_WAKE_SRC_UNKNOWN"));
  EXPECT_FALSE(object.find("PMGR_NUM_EVENTS"));
}

TEST(FullReport, BothIdsDecodeAlike) {
  ReportBytes one(0xE1, 991);
  ReportBytes other(0xEA, 991);
  for (int i = 1; i < 991; ++i) {
    one.put(static_cast<std::size_t>(i), {i * 37});
    other.put(static_cast<std::size_t>(i), {i * 37});
  }
  for (const bool useStrings : {false, true})
    EXPECT_EQ(test::listing(decode(one, useStrings)), test::listing(decode(other, useStrings)));
}

TEST(FullReport, EveryKeyIsFoundAndDistinct) {
  ReportBytes report(0xE1, 991);
  for (std::size_t at = 1; at < 991; at += 2) report.put16(at, at);
  const ReportObject object = objectOf(report);
  for (std::size_t i = 0; i < object.size(); ++i)
    EXPECT_EQ(numberAt(object, object.key(i)), std::get<Number>(object.value(i))) << object.key(i);
  EXPECT_FALSE(object.find(""));
  EXPECT_FALSE(object.find("ALGS"));
}

TEST(FullReport, TakesBlobNamesFromTheTable) {
  const BlobNames restore;
  std::string name = "BLOB_MINE";
  blob_names[2] = name.c_str();
  ReportBytes report(0xE1, 991);
  report.put16(191, 0xBEEF);
  EXPECT_EQ(linesOf(report)[215], "                     BLOB_MINE Module ID: 0xBEEF");
  const ReportObject object = objectOf(report);
  name = "overwritten";  // the object has keys of its own
  EXPECT_EQ(object.size(), 269u);
  EXPECT_EQ(numberAt(object, "BLOB_MINE_MODULE_ID").as<unsigned short>(), 0xBEEF);
  EXPECT_FALSE(object.find("BLOB_VPMp_MODULE_ID"));
  EXPECT_TRUE(object.find("BLOB_VAFE_MODULE_ID"));
  const ReportObject copy = object;
  EXPECT_EQ(numberAt(copy, "BLOB_MINE_MODULE_ID").as<unsigned short>(), 0xBEEF);
}

TEST(FullReport, BlobNamesThatAreLongNullOrTwice) {
  const BlobNames restore;
  const std::string longName(300, 'x');
  blob_names[0] = longName.c_str();
  blob_names[1] = nullptr;
  blob_names[9] = "PSE";
  ReportBytes report(0xE1, 991);
  report.put16(27, 1).put16(959, 2);
  const Lines lines = linesOf(report);
  EXPECT_EQ(lines[195], longName + " Module ID: 0x0000");
  EXPECT_EQ(lines[205], "                        (null) Module ID: 0x0000");
  const ReportObject object = objectOf(report);
  EXPECT_TRUE(object.find(longName + "_EVENT_UNSUPPORTED_HEADER_VERSION"));
  EXPECT_TRUE(object.find("(null)_NUM_EVENTS"));
  // PSE_MODULE_ID and PSE_NUM_EVENTS stand twice: one entry each, with the later value.
  EXPECT_EQ(object.size(), 267u);
  EXPECT_EQ(numberAt(object, "PSE_MODULE_ID").as<unsigned short>(), 2);
}

// ----------------------------------------------------------------------------------- configuration

TEST(OptionLine, FlagsInTheirOrder) {
  const auto plugin = test::makePlugin();
  const auto line = [&](int option, bool level = true) {
    return plugin->blackBoxOptionToString(static_cast<unsigned char>(option), "NAME", level);
  };
  const std::string name = label("NAME");
  EXPECT_EQ(line(0x00), name + ": TRACE (no options set)");
  EXPECT_EQ(line(0x05), name + ": CRITICAL (no options set)");
  EXPECT_EQ(line(0x06), name + ": (null) (no options set)");
  EXPECT_EQ(line(0x07), name + ": (null) (no options set)");
  EXPECT_EQ(line(0x08), name + ": TRACE MASKED ");
  EXPECT_EQ(line(0x10), name + ": TRACE GPIO_0 ");
  EXPECT_EQ(line(0x20), name + ": TRACE GPIO_1 ");
  EXPECT_EQ(line(0x30), name + ": TRACE GPIO_2 ");
  EXPECT_EQ(line(0x40), name + ": TRACE MESSAGE ");
  EXPECT_EQ(line(0x80), name + ": TRACE BREAKPOINT ");
  EXPECT_EQ(line(0xF8), name + ": TRACE MASKED MESSAGE GPIO_2 BREAKPOINT ");
  EXPECT_EQ(line(0xFD), name + ": CRITICAL MASKED MESSAGE GPIO_2 BREAKPOINT ");
  EXPECT_EQ(line(0x07, false), name + ":  (no options set)");
  EXPECT_EQ(line(0xF8, false), name + ":  MASKED MESSAGE GPIO_2 BREAKPOINT ");
}

TEST(OptionLine, NamesThatAreLongOrNull) {
  const auto plugin = test::makePlugin();
  const std::string name(60, 'n');
  EXPECT_EQ(plugin->blackBoxOptionToString(0x09, name.c_str(), true), name + ": DEBUG MASKED ");
  EXPECT_EQ(plugin->blackBoxOptionToString(0x09, nullptr, false), label("(null)") + ":  MASKED ");
}

TEST(Configuration, AllZero) {
  const Lines lines = linesOf(ReportBytes(0xE2, 232));
  ASSERT_EQ(lines.size(), 264u);
  EXPECT_EQ(lines[0], label("Global Trace Config") + ":  (no options set)");
  EXPECT_EQ(lines[5], label("Global Critical Config") + ":  (no options set)");
  EXPECT_EQ(lines[6], "");
  EXPECT_EQ(lines[7], label("BLACK_BOX_EVENT_UNKNOWN") + ": TRACE (no options set)");
  EXPECT_EQ(lines[173], "");
  EXPECT_EQ(lines[174], label("BLOB_VAFE"));
  EXPECT_EQ(lines[175], label("BLOB_EVENT_GOOD_BLOB") + ": TRACE (no options set)");
  EXPECT_EQ(lines[263], "");
}

TEST(Configuration, TheSeverityOfAGlobalLineIsNotShown) {
  ReportBytes report(0xE2, 232);
  report.put(1, {0x07, 0x05, 0x46});
  const Lines lines = linesOf(report);
  EXPECT_EQ(lines[0], label("Global Trace Config") + ":  (no options set)");
  EXPECT_EQ(lines[1], label("Global Debug Config") + ":  (no options set)");
  EXPECT_EQ(lines[2], label("Global Info Config") + ":  MESSAGE ");
}

TEST(Configuration, TheTwoOpenLinesShareAByte) {
  const ReportBytes zero(0xE2, 232);
  ReportBytes report = zero;
  report.put(26, {0xFF});
  EXPECT_EQ(linesOf(report), linesOf(zero));
  report.put(25, {0x0C});
  const Lines lines = linesOf(report);
  EXPECT_TRUE(contains(lines, label("OPEN_SHORT_EVENT_DOUBLE_OPEN") + ": ERROR MASKED "));
  EXPECT_TRUE(contains(lines, label("OPEN_SHORT_EVENT_SINGLE_OPEN") + ": ERROR MASKED "));
  EXPECT_TRUE(contains(lines, label("OPEN_SHORT_EVENT_WEAK_OS") + ": TRACE (no options set)"));
}

TEST(Configuration, EveryByteHasItsLine) {
  // First byte, first line and number of events of each run.
  const struct {
    std::size_t byte, line, count;
    const char* first;
  } runs[] = {
      {1, 0, 6, "Global Trace Config"},
      {7, 7, 5, "BLACK_BOX_EVENT_UNKNOWN"},
      {12, 13, 10, "PSE_EVENT_AFE_LDO_FAULT"},
      {22, 24, 4, "OPEN_SHORT_EVENT_UNKNOWN"},
      {27, 29, 1, "OPEN_SHORT_EVENT_WEAK_OS"},
      {28, 31, 1, "SCAN_LOGGER_EVENT_FAILED_IMAGE_ALLOC"},
      {29, 33, 4, "SVC_SMGR_EVENT_FRAME_TRIG_ERR"},
      {96, 38, 17, "HIDSPI_MASTER_EVENT_ACK_SENT"},
      {195, 56, 26, "HIDSPI_SLAVE_EVENT_ACK_SENT"},
      {113, 83, 70, "ALGS_EVENT_VESK_ITEM_TIMEOUT"},
      {183, 154, 2, "SYS_EVENT_BSYNC_MISSING"},
      {185, 157, 10, "ZUB_EVENT_DOWNSTREAM_DEVICE_ABSENT"},
      {221, 168, 3, "OTP_EVENT_CHECKSUM_MISSING"},
      {224, 172, 1, "PMGR_EVENT_WAKE_SRC_UNKNOWN"},
      {33, 175, 7, "BLOB_EVENT_GOOD_BLOB"},
      {89, 247, 7, "BLOB_EVENT_GOOD_BLOB"},
      {225, 256, 7, "BLOB_EVENT_GOOD_BLOB"},
  };
  const Lines zero = linesOf(ReportBytes(0xE2, 232));
  for (const auto& run : runs) {
    EXPECT_EQ(zero[run.line].substr(0, zero[run.line].find(':')), label(run.first));
    for (std::size_t i = 0; i < run.count; ++i) {
      ReportBytes report(0xE2, 232);
      report.put(run.byte + i, {0x40});
      const Lines lines = linesOf(report);
      EXPECT_NE(lines[run.line + i].find("MESSAGE"), std::string::npos) << run.byte + i;
    }
  }
}

TEST(Configuration, TakesBlobNamesFromTheTable) {
  const BlobNames restore;
  blob_names[9] = "MINE";
  EXPECT_EQ(linesOf(ReportBytes(0xE2, 232))[255], label("MINE"));
}

TEST(Configuration, HasNoObject) {
  ReportBytes report(0xE2, 232);
  EXPECT_TRUE(decode(report, false).isNil());
  report.fill(1, 232, 0xFF);
  EXPECT_TRUE(decode(report, false).isNil());
}

}  // namespace
}  // namespace vesk
