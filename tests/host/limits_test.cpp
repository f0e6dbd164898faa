// Limits from inside: what a plug-in of another version could bring about, and that what is learnt
// of a report before one came is true of those that come.

#include "host/limits/Limits.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "host/inputs/Forms.h"
#include "host/limits/LimitTests.h"
#include "host/limits/Probe.h"
#include "host/outputs/Forms.h"
#include "host/run/FileBytes.h"
#include "host/writing/Sink.h"

namespace vesk::host {
namespace {

struct Setting {
  PluginLibrary library{VESK_PLUGIN};
  Plugin plugin{library, {}};
  KnownReports known{plugin.reports()};
};

/// A value's kind and size, for comparison: {-1, 0} is a string.
std::pair<std::int32_t, std::size_t> shapeOf(const Value& value) {
  if (const auto* number = std::get_if<vesk_number>(&value)) return {number->kind, 1};
  if (const auto* array = std::get_if<ArrayValue>(&value)) return {array->kind, array->count};
  return {-1, 0};
}

TEST(Probe, KnowsTheKeysAndKindsOfEveryReportBeforeItCame) {
  Setting setting;
  FileBytes bytes(VESK_SAMPLES "/forms/tour.bin",
                  [](const FileBytes&, bool) { return std::nullopt; });
  const auto input = openInput(*inputFormNamed("binary"), bytes, {setting.known});
  std::size_t objects = 0;
  for (Item item = input->next(); !std::holds_alternative<End>(item); item = input->next()) {
    const auto& report = std::get<Report>(item);
    const ReportInfo& info = *setting.known.find(report.id(), report.type);
    const auto probed = probe(setting.plugin, info);
    std::vector<std::uint8_t> copy(report.bytes.begin(), report.bytes.end());
    copy.push_back(0);
    const auto fields = fieldsOf(setting.plugin.decode(
        std::span(copy).first(report.bytes.size()), info, Plugin::Mode::Object));
    ASSERT_EQ(probed.size(), fields.size()) << info.decoder;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      EXPECT_EQ(probed[i].key, fields[i].key) << info.decoder;
      EXPECT_EQ(shapeOf(probed[i].value), shapeOf(fields[i].value)) << fields[i].key;
    }
    if (!fields.empty()) ++objects;
  }
  EXPECT_EQ(objects + 1, setting.known.all().size());  // one is lines only
}

Limits parsed(Setting& setting, std::string_view text) {
  return parseLimits(text, "limits.json", setting.known, setting.plugin);
}

constexpr std::string_view kTemperature = R"({"reports": {"0x76": {"schema": {"properties": {
    "TMON_DEG_C": {"maximum": 60}, "D_SCAN_I": {"items": {"maximum": 60}}}}}}})";

TEST(KeyLimits, AreNotForAnotherKindOfValue) {
  Setting setting;
  Limits limits = parsed(setting, kTemperature);
  ASSERT_EQ(limits.reports.front().keys.size(), 2u);
  KeyLimits& samples = limits.reports.front().keys[0];
  KeyLimits& temperature = limits.reports.front().keys[1];
  vesk_number number{VESK_UNSIGNED_INT, {}};
  number.value.u = 1;
  EXPECT_EQ(temperature.find(number)->complaint,
            "is now unsigned int, which its limits are not for");
  EXPECT_EQ(temperature.find("hot")->complaint, "is now a string, which its limits are not for");
  const std::vector<std::int32_t> values(48);
  EXPECT_EQ(samples.find(VESK_INT, values.data(), 48, true), std::nullopt);
  EXPECT_NE(samples.find(VESK_INT, values.data(), 47, true), std::nullopt);
  EXPECT_NE(samples.find(VESK_UNSIGNED_INT, values.data(), 48, true), std::nullopt);
  EXPECT_NE(samples.find(number), std::nullopt);
}

TEST(KeyLimits, FailWithoutDetailsWhereNobodyWantsThem) {
  Setting setting;
  Limits limits = parsed(setting, kTemperature);
  std::vector<std::int32_t> values(48);
  values[7] = 61;
  KeyLimits& samples = limits.reports.front().keys[0];
  EXPECT_EQ(samples.find(VESK_INT, values.data(), 48, true)->value, "7=61");
  EXPECT_NE(samples.find(VESK_INT, values.data(), 48, false), std::nullopt);
}

TEST(NumberLimits, HoldNothingThatIsNoNumber) {
  const NumberLimits<double> all;
  EXPECT_TRUE(all.holds(0));
  EXPECT_TRUE(all.holds(std::numeric_limits<double>::max()));
  EXPECT_FALSE(all.holds(std::numeric_limits<double>::infinity()));
  EXPECT_FALSE(all.holds(-std::numeric_limits<double>::infinity()));
  EXPECT_FALSE(all.holds(std::numeric_limits<double>::quiet_NaN()));
}

TEST(LimitTests, AFileBeginsAnew) {
  Setting setting;
  Limits limits = parsed(setting, kTemperature);
  Collector sink;
  LimitTests tests({setting.plugin, setting.known, sink}, limits);
  std::vector<std::uint8_t> frame(792);
  frame[0] = 0x76;
  frame[16] = 61;  // D_SCAN_I[0]
  Report report;
  report.bytes = frame;
  report.type = ReportType::Input;
  const ReportInfo* info = setting.known.find(0x76, ReportType::Input);

  tests.beginFile("first");
  EXPECT_EQ(tests.write(report, info), std::nullopt);
  EXPECT_EQ(tests.endFile({}).summary(), "FAIL, 1 of 3 tests");
  tests.beginFile("second");
  frame[16] = 60;
  EXPECT_EQ(tests.write(report, info), std::nullopt);
  EXPECT_EQ(tests.endFile({}).summary(), "PASS, 3 tests");
  tests.beginFile("third");
  EXPECT_EQ(tests.endFile({}).summary(), "FAIL, 2 of 3 tests");
  tests.beginFile("fourth");
  EXPECT_EQ(tests.write(report, info), std::nullopt);
  EXPECT_EQ(tests.endFile({0, true, false, false}).summary(), "FAIL, 1 of 3 tests");
}

TEST(LimitTests, MorePanelsThanAreKeptApartAreNoPass) {
  Setting setting;
  Limits limits = parsed(setting, kTemperature);
  Collector sink;
  LimitTests tests({setting.plugin, setting.known, sink}, limits);
  std::vector<std::uint8_t> frame(792);
  frame[0] = 0x76;
  Report report;
  report.bytes = frame;
  report.type = ReportType::Input;
  tests.beginFile("many");
  for (std::uint16_t device = 0; device < 1025; ++device) {
    report.sender = UsbSender{1, device, 0x81};
    tests.write(report, setting.known.find(0x76, ReportType::Input));
  }
  const Verdict verdict = tests.endFile({});
  EXPECT_EQ(verdict.panels.size(), 1024u);
  EXPECT_EQ(verdict.count(LimitResult::Outcome::Failed), 1u);
  EXPECT_EQ(verdict.panels.back().tests.back().complaint, "more than 1024 devices in the file");
}

}  // namespace
}  // namespace vesk::host
