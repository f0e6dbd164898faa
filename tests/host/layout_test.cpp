// The map of every report, found by trying, beside offsets that were written by hand.

#include "host/layout/LayoutMap.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "host/outputs/LayoutPages.h"

namespace vesk::host {
namespace {

using Rows = std::vector<std::string>;

const PluginLibrary& library() {
  static const PluginLibrary loaded{std::string(VESK_PLUGIN)};
  return loaded;
}

LayoutMap mapOf(std::uint32_t id, std::vector<std::string> arguments = {}) {
  Plugin plugin(library(), arguments);
  const KnownReports known(plugin.reports());
  return layoutOf(plugin, *known.find(id, std::optional<ReportType>()));
}

/// "5..12 | Timestamp long long + Wallclock double | 3 Feed Timestamp:0x… + 4 Feed Wallclock:…".
/// Lines count from 1; "#48" are the low bits that a line shows, where it shows some only, and
/// "10 x 6 under [D-SCAN I]" lines without labels.
std::string rowOf(const LayoutField& field) {
  std::string values;
  for (const LayoutValue& value : field.values) {
    values += (values.empty() ? "" : " + ") + value.key;
    if (value.element) values += "[" + std::to_string(*value.element) + "]";
    values.append(value.key.empty() ? "" : " ").append(longKind(value));
    if (value.count != 0) values += " x " + std::to_string(value.count);
  }
  std::string lines;
  for (const LayoutLine& line : field.lines) {
    lines += (lines.empty() ? "" : " + ") + std::to_string(line.first + 1);
    if (line.count != 1) lines += " x " + std::to_string(line.count);
    if (!line.label.empty()) lines += " " + line.label;
    if (!line.heading.empty()) lines += " under " + line.heading;
    if (line.bits < field.bitCount) lines += " #" + std::to_string(line.bits);
  }
  if (field.reshapes) lines += " reshapes";
  if (field.refuses) lines += " refuses";
  switch (field.role) {
    case FieldRole::ReportId:
      return placeOf(field) + " | report ID";
    case FieldRole::Nowhere:
      return placeOf(field) + " | nowhere";
    case FieldRole::Newline:
      return placeOf(field) + " | newline";
    case FieldRole::EndOfText:
      return placeOf(field) + " | NUL";
    default:
      return placeOf(field) + " | " + values + " | " + lines;
  }
}

Rows rowsOf(const std::vector<LayoutField>& fields) {
  Rows rows;
  for (const LayoutField& field : fields) rows.push_back(rowOf(field));
  return rows;
}

void expectRows(std::uint32_t id, const Rows& expected) {
  SCOPED_TRACE(id);
  const Rows found = rowsOf(mapOf(id).withArrays());
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < found.size(); ++i) EXPECT_EQ(found[i], expected[i]);
}

TEST(Layout, OfTheWatchdog) {
  // The wall clock is calculated from the timestamp; Sleep in the text is Idle in the object.
  expectRows(0xDF,
             {"0 | report ID",
              "1..4 | Count unsigned int | 2 Feed Count:…",
              "5..12 | Timestamp long long + Wallclock double"
              " | 3 Feed Timestamp:0x… + 4 Feed Wallclock:…",
              "13..16 | Register unsigned int | 5 Register:0x…",
              "17..20 | Wake unsigned int | 6 Wake:…",
              "21..24 | Idle unsigned int | 7 Sleep:…"});
}

TEST(Layout, OfThePowerModes) {
  expectRows(0xA9,
             {"0 | report ID",
              "1..4 | INIT time ms unsigned int | 2 INIT        : … ms",
              "5..8 | INIT times entered unsigned int | 9 INIT        : …",
              "9..12 | ACTIVE time ms unsigned int | 3 ACTIVE      : … ms",
              "13..16 | ACTIVE times entered unsigned int | 10 ACTIVE      : …",
              "17..20 | TIMEOUT time ms unsigned int | 4 TIMEOUT     : … ms",
              "21..24 | TIMEOUT times entered unsigned int | 11 TIMEOUT     : …",
              "25..28 | READY time ms unsigned int | 5 READY       : … ms",
              "29..32 | READY times entered unsigned int | 12 READY       : …",
              "33..36 | LIGHT_SLEEP time ms unsigned int | 6 LIGHT_SLEEP : … ms",
              "37..40 | LIGHT_SLEEP times entered unsigned int | 13 LIGHT_SLEEP : …"});
}

TEST(Layout, OfAnImageFrame) {
  // The temperature comes before cookie and flags in the text.
  expectRows(0x76,
             {"0 | report ID",
              "1 | COOKIE unsigned char | 6 [Cookie = 0x…]",
              "2..3 | FLAGS unsigned short | 7 [Flags = 0x…]",
              "4..7 | FRAME_NUMBER unsigned int | 1 [Frame # = …]",
              "8..11 | FRAME_PARAMS unsigned int | 2 [Frame Params = 0x…]",
              "12..15 | TIMESTAMP_MS unsigned int | 3 [Timestamp = … ms]",
              "16..207 | D_SCAN_I int x 48 | 10 x 6 under [D-SCAN I]",
              "208..399 | D_SCAN_Q int x 48 | 18 x 6 under [D-SCAN Q]",
              "400..591 | P_SCAN_I int x 48 | 26 x 6 under [P-SCAN I]",
              "592..783 | P_SCAN_Q int x 48 | 34 x 6 under [P-SCAN Q]",
              "784..787 | TMON_PARAMS unsigned int | 5 [TMON Params = 0x…]",
              "788..791 | TMON_DEG_C float | 4 [TMON = … degC]"});
}

TEST(Layout, OfTheAdcDump) {
  expectRows(0xDC,
             {"0 | report ID",
              "1..4 | START_ADDRESS unsigned int | 3 Start Address       = 0x…",
              "5..12 | CHANNEL_ENABLE_MASK unsigned long long | 4 Channel Enable Mask = …",
              "13..16 | SAMPLE_COUNT unsigned int | 5 Sample Count        = …",
              "17..20 | STIM_TIMER_COMPARE unsigned int | 6 Stim Timer Compare  = …",
              "21..24 | TRIGGER_SOURCE string | 7 Trigger Source      = …"});
  expectRows(0xDE, {"0 | report ID", "1 | string | 1 ADC Dump State: …"});
  // The magic value is one number in the object, of three bytes with shifts of 2 and 1.
  expectRows(0x77,
             {"0 | report ID",
              "1..3 | MAGIC_VALUE int | 2 [Magic Value     = 0x…]",
              "4..7 | PACKET_ID unsigned int | 1 [ADC Packet #    = …]",
              "8..11 | PAYLOAD_SIZE unsigned int | 3 [Payload Size    = …]",
              "12..15 | TOTAL_DUMP_SIZE unsigned int | 4 [Total Dump Size = …]",
              "16..2063 | PAYLOAD_DATA unsigned int x 512 | 7 x 64 under [Packet Payload Data]"});
}

TEST(Layout, OfTheBaseline) {
  expectRows(
      0xA2,
      {"0 | report ID", "1..192 | BASELINE float x 48 | 3 x 6 under Vesk Algorithms Baseline:"});
}

TEST(Layout, OfTheOpenShortTest) {
  // Bits 48 to 63 belong to no channel, and are in the object only.
  expectRows(0xE3,
             {"0 | report ID",
              "1..8 | SHORT_TX_POS unsigned long long | 4 Short TX+ … #48",
              "9..16 | SHORT_TX_NEG unsigned long long | 5 Short TX- … #48",
              "17..24 | SHORT_BOTH unsigned long long | 6 Short BOTH … #48",
              "25..32 | OPEN_TX_POS unsigned long long | 7 Open  TX+ … #48",
              "33..40 | OPEN_TX_NEG unsigned long long | 8 Open  TX- … #48",
              "41..48 | OPEN_BOTH unsigned long long | 9 Open  BOTH … #48",
              "49..56 | WEAK_OS unsigned long long | 10 Weak  O/S … #48"});
}

TEST(Layout, OfTheOpenShortData) {
  // Of the status byte one bit says something, and the seven bytes behind it nothing.
  for (const auto& [id, scan] : std::map<std::uint32_t, std::string>{{0xE4, "D"}, {0xE5, "P"}})
    expectRows(id,
               {"0 | report ID",
                "1..8 | SATURATION_DATA unsigned long long | 4 ADC Saturation … #48",
                "9..200 | SCAN_DATA_I unsigned int x 48 | 9 x 6 under [" + scan + "-SCAN I]",
                "201..392 | SCAN_DATA_Q unsigned int x 48 | 17 x 6 under [" + scan + "-SCAN Q]",
                "393 bit 0 | BROWNOUT unsigned char | 6 Brownout: …",
                "393 bits 1..7 | nowhere",
                "394..400 | nowhere"});
}

TEST(Layout, OfTheBlackBoxSummary) {
  // The text has the low three bits of the severity, the object all; HIDSPI_SLAVE stands behind
  // HIDSPI_MASTER in the text; two flags belong to no module.
  expectRows(0xE0,
             {"0 | report ID",
              "1 | SEVERITY_LEVEL unsigned char | 2 Severity Level: … #3",
              "2..3 | MODULE_COUNT unsigned short | 3 Module Count: …",
              "4 bit 0 | BLACK_BOX unsigned char | 5 BLACK_BOX: …",
              "4 bit 1 | PSE unsigned char | 6 PSE: …",
              "4 bit 2 | OPEN_SHORT_TEST unsigned char | 7 OPEN_SHORT_TEST: …",
              "4 bit 3 | SCAN_LOGGER unsigned char | 8 SCAN_LOGGER: …",
              "4 bit 4 | SVC_SMGR unsigned char | 9 SVC_SMGR: …",
              "4 bit 5 | BLOB_VAFE unsigned char | 10 BLOB_VAFE: …",
              "4 bit 6 | BLOB_VFCL unsigned char | 11 BLOB_VFCL: …",
              "4 bit 7 | BLOB_VPMp unsigned char | 12 BLOB_VPMp: …",
              "5 bit 0 | BLOB_VSGC unsigned char | 13 BLOB_VSGC: …",
              "5 bit 1 | BLOB_VSSp unsigned char | 14 BLOB_VSSp: …",
              "5 bit 2 | BLOB_VSSC unsigned char | 15 BLOB_VSSC: …",
              "5 bit 3 | BLOB_VSRx unsigned char | 16 BLOB_VSRx: …",
              "5 bit 4 | BLOB_VSPM unsigned char | 17 BLOB_VSPM: …",
              "5 bit 5 | BLOB_VRTC unsigned char | 18 BLOB_VRTC: …",
              "5 bit 6 | HIDSPI_MASTER unsigned char | 19 HIDSPI_MASTER: …",
              "5 bit 7 | ALGS unsigned char | 21 ALGS: …",
              "6 bit 0 | SYS unsigned char | 22 SYS: …",
              "6 bit 1 | ZUB unsigned char | 23 ZUB: …",
              "6 bit 2 | HIDSPI_SLAVE unsigned char | 20 HIDSPI_SLAVE: …",
              "6 bit 3 | OTP unsigned char | 24 OTP: …",
              "6 bit 4 | PMGR unsigned char | 25 PMGR: …",
              "6 bit 5 | BLOB_VSFN unsigned char | 26 BLOB_VSFN: …",
              "6 bits 6..7 | nowhere"});
}

/// A module of the black box: where its record begins in the full report, where its option bytes
/// begin in the configuration, how many events it has, and in which line of either text it begins.
struct Module {
  std::string name;
  std::size_t record;
  std::size_t options;
  std::size_t events;
  std::size_t recordLine;
  std::size_t optionLine;
};

// In the order of the bytes. The text has HIDSPI_SLAVE behind HIDSPI_MASTER, and the blobs at its
// end. The lines follow from the events: a module takes two more in the full report, and an empty
// one in both; a blob's name takes one in the configuration.
const std::initializer_list<Module> kModules = {
    {"BLACK_BOX", 3, 7, 5, 5, 8},           {"PSE", 27, 12, 10, 13, 14},
    {"OPEN_SHORT_TEST", 71, 22, 6, 26, 25}, {"SCAN_LOGGER", 99, 28, 1, 35, 32},
    {"SVC_SMGR", 107, 29, 4, 39, 34},       {"BLOB_VAFE", 127, 33, 7, 196, 176},
    {"BLOB_VFCL", 159, 40, 7, 206, 185},    {"BLOB_VPMp", 191, 47, 7, 216, 194},
    {"BLOB_VSGC", 223, 54, 7, 226, 203},    {"BLOB_VSSp", 255, 61, 7, 236, 212},
    {"BLOB_VSSC", 287, 68, 7, 246, 221},    {"BLOB_VSRx", 319, 75, 7, 256, 230},
    {"BLOB_VSPM", 351, 82, 7, 266, 239},    {"BLOB_VRTC", 383, 89, 7, 276, 248},
    {"HIDSPI_MASTER", 415, 96, 17, 46, 39}, {"ALGS", 487, 113, 70, 95, 84},
    {"SYS", 771, 183, 2, 168, 155},         {"ZUB", 783, 185, 10, 173, 158},
    {"HIDSPI_SLAVE", 827, 195, 26, 66, 57}, {"OTP", 935, 221, 3, 186, 169},
    {"PMGR", 951, 224, 1, 192, 173},        {"BLOB_VSFN", 959, 225, 7, 286, 257},
};

bool isBlob(const Module& module) { return module.name.starts_with("BLOB_"); }

/// Names of some events, by module and number; the others are known by their beginning.
const std::map<std::pair<std::string, std::size_t>, std::string> kNamed = {
    {{"BLACK_BOX", 0}, "BLACK_BOX_EVENT_UNKNOWN"},
    {{"BLACK_BOX", 4}, "BLACK_BOX_EVENT_THROW_EXTERNAL"},
    {{"PSE", 0}, "PSE_EVENT_AFE_LDO_FAULT"},
    {{"PSE", 2}, "PSE_EVENT_AFE_BROWNOUT"},
    {{"PSE", 9}, "PSE_EVENT_FS_IDAC_PUP"},
    {{"OPEN_SHORT_TEST", 0}, "OPEN_SHORT_EVENT_UNKNOWN"},
    {{"OPEN_SHORT_TEST", 3}, "OPEN_SHORT_EVENT_DOUBLE_OPEN"},
    {{"OPEN_SHORT_TEST", 4}, "OPEN_SHORT_EVENT_SINGLE_OPEN"},
    {{"OPEN_SHORT_TEST", 5}, "OPEN_SHORT_EVENT_WEAK_OS"},
    {{"SCAN_LOGGER", 0}, "SCAN_LOGGER_EVENT_FAILED_IMAGE_ALLOC"},
    {{"SVC_SMGR", 3}, "SVC_SMGR_EVENT_FRAME_TRIG_NOT_READY"},
    {{"HIDSPI_MASTER", 0}, "HIDSPI_MASTER_EVENT_ACK_SENT"},
    {{"HIDSPI_MASTER", 16}, "HIDSPI_MASTER_EVENT_KELMORA_MISSING"},
    {{"ALGS", 0}, "ALGS_EVENT_VESK_ITEM_TIMEOUT"},
    {{"ALGS", 22}, "ALGS_EVENT_PIXEL_NOISE_CNT_CH_0"},
    {{"ALGS", 69}, "ALGS_EVENT_PIXEL_NOISE_CNT_CH_47"},
    {{"SYS", 1}, "SYS_EVENT_MISSED_HSPI_CS_EDGE"},
    {{"ZUB", 9}, "ZUB_EVENT_TOUCH_ATTACH_TIMEOUT"},
    {{"HIDSPI_SLAVE", 0}, "HIDSPI_SLAVE_EVENT_ACK_SENT"},
    {{"HIDSPI_SLAVE", 25}, "HIDSPI_SLAVE_EVENT_BUS_DETACH"},
    {{"OTP", 2}, "OTP_EVENT_TRIM_MISSING"},
    {{"PMGR", 0}, "PMGR_EVENT_WAKE_SRC_UNKNOWN"},
};

const std::vector<std::string> kBlobEvents = {"GOOD_BLOB",
                                              "BAD_MAGIC",
                                              "BAD_CHECKSUM",
                                              "UNSUPPORTED_HEADER_VERSION",
                                              "OLD_VERSION",
                                              "BAD_VERSION",
                                              "DEFAULT"};

/// The name of a module's event, as the label of its line has it. Where it isn't named above, the
/// one that was found, if it begins as the module's events do.
std::string eventName(const Module& module, std::size_t event, const LayoutField& found) {
  if (isBlob(module)) return "BLOB_EVENT_" + kBlobEvents[event];
  const auto named = kNamed.find({module.name, event});
  if (named != kNamed.end()) return named->second;
  const std::string head =
      module.name == "OPEN_SHORT_TEST" ? "OPEN_SHORT_EVENT_" : module.name + "_EVENT_";
  const std::string label = found.lines.empty() ? "" : found.lines.front().label;
  if (!label.starts_with(head)) return head + "...";
  return label.substr(0, label.find(':'));
}

std::string range(std::size_t first, std::size_t size) {
  return std::to_string(first) + ".." + std::to_string(first + size - 1);
}

TEST(Layout, OfTheBlackBoxFullReport) {
  for (const std::uint32_t id : {0xE1u, 0xEAu}) {
    SCOPED_TRACE(id);
    const LayoutMap map = mapOf(id);
    // The report ID, the module count; two of each of 22 modules and one for each of 225 events.
    ASSERT_EQ(map.fields.size(), 2u + 2 * 22 + 225);
    EXPECT_EQ(rowOf(map.fields[0]), "0 | report ID");
    EXPECT_EQ(rowOf(map.fields[1]), "1..2 | MODULE_COUNT unsigned short | 3 Module Count: …");
    std::size_t field = 2;
    std::size_t behind = 3;
    for (const Module& module : kModules) {
      EXPECT_EQ(module.record, behind);
      const std::string& name = module.name;
      EXPECT_EQ(rowOf(map.fields[field++]),
                range(module.record, 2) + " | " + name + "_MODULE_ID unsigned short | " +
                    std::to_string(module.recordLine) + " " + name + " Module ID: 0x…");
      // Of PMGR, the number of events is in the text only.
      const std::string key = name == "PMGR" ? "" : name + "_NUM_EVENTS unsigned short";
      EXPECT_EQ(rowOf(map.fields[field++]),
                range(module.record + 2, 2) + " | " + key + " | " +
                    std::to_string(module.recordLine + 1) + " " + (isBlob(module) ? "BLOB" : name) +
                    " # Events: …");
      for (std::size_t event = 0; event < module.events; ++event) {
        const std::string label = eventName(module, event, map.fields[field]);
        const std::string eventKey = isBlob(module) ? name + "_EVENT_" + kBlobEvents[event] : label;
        EXPECT_EQ(rowOf(map.fields[field++]),
                  range(module.record + 4 + 4 * event, 4) + " | " + eventKey + " unsigned int | " +
                      std::to_string(module.recordLine + 2 + event) + " " + label + ": …");
      }
      behind = module.record + 4 + 4 * module.events;
    }
    EXPECT_EQ(behind, 991u);
  }
}

TEST(Layout, OfTheBlackBoxConfiguration) {
  const LayoutMap map = mapOf(0xE2);
  Rows found = rowsOf(map.withArrays());
  Rows expected = {"0 | report ID"};
  // The severity in an option byte of the first six is never shown.
  const std::vector<std::string> severities = {
      "Trace", "Debug", "Info", "Warning", "Error", "Critical"};
  for (std::size_t i = 0; i < severities.size(); ++i) {
    const std::string byte = std::to_string(i + 1);
    expected.push_back(byte + " bits 0..2 | nowhere");
    expected.push_back(byte + " bits 3..7 |  | " + byte + " Global " + severities[i] +
                       " Config: …");
  }
  for (const Module& module : kModules)
    for (std::size_t event = 0; event < module.events; ++event) {
      const std::size_t byte = module.options + event;
      const std::string at = std::to_string(byte);
      if (byte == 26) {  // the byte of SINGLE_OPEN
        expected.push_back("26 | nowhere");
        continue;
      }
      const auto field = std::ranges::find(map.fields, byte, &LayoutField::firstByte);
      ASSERT_NE(field, map.fields.end());
      std::string row = at + " |  | " + std::to_string(module.optionLine + event) + " " +
                        eventName(module, event, *field) + ": …";
      if (byte == 25) row += " + 29 OPEN_SHORT_EVENT_SINGLE_OPEN: …";
      if (isBlob(module)) row += " under " + module.name;
      expected.push_back(row);
    }
  ASSERT_EQ(found.size(), expected.size());
  for (std::size_t i = 0; i < found.size(); ++i) EXPECT_EQ(found[i], expected[i]);
}

TEST(Layout, OfTexts) {
  expectRows(0xD0, {"0 | report ID", "1 | string | 1", "2 | NUL"});
  expectRows(0xD2,
             {"0 | report ID",
              "1 | PROJECT string | 1",
              "2 | newline",
              "3 | SDK string | 2",
              "4 | newline",
              "5 | TOOLCHAIN string | 3",
              "6 | newline",
              "7 | QOREX string | 4",
              "8 | newline",
              "9 | VENDOR string | 5",
              "10 | newline",
              "11 | ALGS string | 6",
              "12 | NUL"});
}

/// The map of a report that came, as rows.
Rows rowsOfReport(Plugin& plugin, const std::string& report) {
  const KnownReports known(plugin.reports());
  const auto id = static_cast<std::uint8_t>(report.front());
  const std::vector<std::uint8_t> bytes(report.begin(), report.end());
  return rowsOf(layoutOf(plugin, *known.find(id, std::optional<ReportType>()), bytes).withArrays());
}

TEST(Layout, OfATextThatCame) {
  Plugin plugin(library(), {});
  // Micro takes two bytes; the seventh line is in no object; what follows the NUL is nowhere.
  EXPECT_EQ(rowsOfReport(plugin, std::string("\xD2pa\nsd\xC2\xB5\nto\nq\n\nal\n7\0xy", 22)),
            (Rows{"0 | report ID",
                  "1..2 | PROJECT string | 1",
                  "3 | newline",
                  "4..7 | SDK string | 2",
                  "8 | newline",
                  "9..10 | TOOLCHAIN string | 3",
                  "11 | newline",
                  "12 | QOREX string | 4",
                  "13 | newline",
                  "14 | newline",
                  "15..16 | ALGS string | 6",
                  "17 | newline",
                  "18 |  | 7",
                  "19 | NUL",
                  "20..21 | nowhere"}));
  EXPECT_EQ(rowsOfReport(plugin, std::string("\xD0no NUL")),
            (Rows{"0 | report ID", "1..6 | string | 1"}));
}

TEST(Layout, WhatFollowsALayoutIsNowhere) {
  Plugin plugin(library(), {});
  EXPECT_EQ(rowsOfReport(plugin, std::string("\xDE\1\0\0", 4)),
            (Rows{"0 | report ID", "1 | string | 1 ADC Dump State: …", "2..3 | nowhere"}));
}

TEST(Layout, ElementsByThemselves) {
  const LayoutMap map = mapOf(0x76);
  const auto at = [&](std::size_t byte) {
    return *std::ranges::find(map.fields, byte, &LayoutField::firstByte);
  };
  EXPECT_EQ(rowOf(at(16)), "16..19 | D_SCAN_I[0] int | 10 under [D-SCAN I]");
  EXPECT_EQ(rowOf(at(44)), "44..47 | D_SCAN_I[7] int | 10 under [D-SCAN I]");
  EXPECT_EQ(rowOf(at(48)), "48..51 | D_SCAN_I[8] int | 11 under [D-SCAN I]");
  EXPECT_EQ(rowOf(at(780)), "780..783 | P_SCAN_Q[47] int | 39 under [P-SCAN Q]");
  EXPECT_EQ(at(48).lines.front().ofBlock, 2u);
  EXPECT_EQ(at(48).lines.front().blockLines, 6u);
  EXPECT_EQ(at(4).lines.front().ofBlock, 0u);
}

TEST(Layout, CoversEveryBitOnce) {
  Plugin plugin(library(), {});
  for (const ReportInfo& info : plugin.reports()) {
    SCOPED_TRACE(info.decoder);
    const LayoutMap map = layoutOf(plugin, info);
    for (const auto& fields : {map.fields, map.withArrays()}) {
      std::size_t bit = 0;
      for (const LayoutField& field : fields) {
        EXPECT_EQ(field.firstBit, bit);
        EXPECT_GT(field.bitCount, 0u);
        bit += field.bitCount;
      }
      EXPECT_EQ(bit, 8 * map.size);
    }
    if (!info.nulTerminated) {
      EXPECT_EQ(map.size, info.smallest);
    }
  }
}

TEST(Layout, DecimalSamplesHaveTheSameMap) {
  for (const std::uint32_t id : {0x76u, 0xE4u})
    EXPECT_EQ(rowsOf(mapOf(id, {"-decimal"}).fields), rowsOf(mapOf(id).fields));
}

TEST(Layout, FollowsBlobNamesThatAHostReplaced) {
  library();
  void* const loaded = dlopen(VESK_PLUGIN, RTLD_NOW | RTLD_LOCAL);
  auto* const names = static_cast<const char**>(dlsym(loaded, "blob_names"));
  ASSERT_NE(names, nullptr);
  const char* const before = names[9];
  names[9] = "MINE";
  const LayoutMap report = mapOf(0xE1);
  const LayoutMap configuration = mapOf(0xE2);
  names[9] = before;
  const auto last = report.fields.end() - 9;
  EXPECT_EQ(rowOf(last[0]), "959..960 | MINE_MODULE_ID unsigned short | 286 MINE Module ID: 0x…");
  EXPECT_EQ(rowOf(last[2]),
            "963..966 | MINE_EVENT_GOOD_BLOB unsigned int | 288 BLOB_EVENT_GOOD_BLOB: …");
  EXPECT_EQ(rowOf(configuration.fields.back()), "231 |  | 263 BLOB_EVENT_DEFAULT: … under MINE");
}

TEST(Layout, FollowsReportsOfANewerPlugIn) {
  const PluginLibrary newer{std::string(VESK_NEWER_PLUGIN)};
  Plugin plugin(newer, {});
  const Rows expected = {"0 | report ID",
                         "1 |  |  refuses",
                         "2 bit 0..3 bit 3 | LEVEL unsigned short | 1 Level: …",
                         "3 bits 4..7 | nowhere",
                         "4 bit 0 |  |  reshapes",
                         "4 bits 1..7 | nowhere",
                         "5..6 |  | 2 Serial: …",
                         "7 bits 0..6 | nowhere",
                         "7 bit 7 | RUNNING bool | 3 Running: …",
                         "8..13 | FLOW unsigned short x 3 | 4 Flow: …",
                         "14 | RATIO double | ",
                         "15 | nowhere"};
  EXPECT_EQ(rowsOfReport(plugin, std::string("\xAB\x5A") + std::string(14, '\0')), expected);
  EXPECT_EQ(rowsOfReport(plugin, std::string("\xAB\x5A\7\0\2 1234567890\xFF", 16)), expected);

  // Nothing is known without a report that came: its decoder refuses what the map tries.
  const ReportInfo info = plugin.reports().front();
  const LayoutMap map = layoutOf(plugin, info);
  EXPECT_EQ(map.whyNot, "the decoder refuses all that was tried");
  EXPECT_TRUE(map.fields.empty());
  const KindLayout kind{&info, map};
  EXPECT_NE(layoutTables({&kind, 1}, false, false).find("not found out"), std::string::npos);
  EXPECT_NE(layoutRecords({&kind, 1}, false, false).find("\"fields\":null"), std::string::npos);
}

TEST(Layout, IsTheSameWhateverCame) {
  Plugin plugin(library(), {});
  std::mt19937 random(12);
  for (const ReportInfo& info : plugin.reports()) {
    if (info.nulTerminated) continue;
    SCOPED_TRACE(info.decoder);
    const Rows expected = rowsOf(layoutOf(plugin, info).fields);
    for (int fill : {0x00, 0xFF, 0x7F, -1, -1, -1}) {
      std::string report(info.smallest, static_cast<char>(fill));
      if (fill < 0)
        for (char& byte : report) byte = static_cast<char>(random());
      report[0] = static_cast<char>(info.id);
      const std::vector<std::uint8_t> bytes(report.begin(), report.end());
      EXPECT_EQ(rowsOf(layoutOf(plugin, info, bytes).fields), expected);
    }
  }
}

}  // namespace
}  // namespace vesk::host
