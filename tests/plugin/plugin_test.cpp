// The class: its tables, options, dispatch and printing.

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plugin/report_list.h"
#include "tests/support/support.h"

namespace vesk {
namespace {

using test::captureOutput;
using test::Lines;
using test::linesOf;
using test::makePlugin;
using test::ReportBytes;

// ----------------------------------------------------------------------------------------- tables

struct Row {
  std::int32_t type;
  int id;
  const char* decoder;
  const char* displayName;  // null: it has none
  std::size_t size;
  bool exact;
  bool text;
};

/// What hosts have relied upon since the first version: it stays, whatever is added.
constexpr Row kFirst[] = {
    {kFeature, 208, "parseVersion", "ersion", 2, false, true},
    {kFeature, 210, "parseVersionExtended", "ersionExtended", 2, false, true},
    {kFeature, 220, "parseAdcDumpConfig", "dcDumpConfig", 25, false, false},
    {kFeature, 222, "parseAdcDumpState", "dcDumpState", 2, false, false},
    {kFeature, 224, "parseBlackBoxSummary", "lackBoxSummary", 7, false, false},
    {kFeature, 225, "parseBlackBoxFullReport", "lackBoxFullReport", 991, false, false},
    {kFeature, 234, "parseBlackBoxFullReport", "lackBoxFullReport", 991, false, false},
    {kFeature, 226, "parseBlackBoxConfig", "lackBoxConfig", 232, false, false},
    {kFeature, 227, "parseOpenShortTest", "penShortTest", 57, false, false},
    {kFeature, 228, "parseOpenShortData", "penShortData", 401, false, false},
    {kFeature, 229, "parseOpenShortData", "penShortData", 401, false, false},
    {kFeature, 162, "parserVeskAlgBaselineRequest", "VeskAlgBaselineRequest", 193, false, false},
    {kFeature, 223, "parseWatchDogReport", "atchDogReport", 25, false, false},
    {kFeature, 169, "parsePowerModeStats", "owerModeStats", 41, false, false},
    {kInput, 118, "parseVeskImage", nullptr, 792, true, false},
    {kInput, 119, "parseAdcDumpPacket", nullptr, 2064, true, false},
};

TEST(Tables, WhatTheFirstVersionKnewStays) {
  const auto plugin = makePlugin();
  for (const Row& row : kFirst) {
    const bool feature = row.type == kFeature;
    const auto table = feature ? plugin->reportIds() : plugin->inputReportIds();
    const auto other = feature ? plugin->inputReportIds() : plugin->reportIds();
    const std::string* const name = table->find(row.id);
    ASSERT_NE(name, nullptr) << row.id;
    EXPECT_EQ(*name, row.decoder);
    EXPECT_EQ(other->find(row.id), nullptr) << row.id;
    const std::string* const displayName = plugin->reportIdNames()->find(row.id);
    ASSERT_EQ(displayName != nullptr, row.displayName != nullptr) << row.id;
    if (displayName != nullptr) {
      EXPECT_EQ(*displayName, row.displayName);
    }

    const DecoderInfo* const info = HIDReportVeskPlugin::decoderInfo(row.decoder);
    ASSERT_NE(info, nullptr) << row.decoder;
    EXPECT_EQ(info->name, row.decoder);
    EXPECT_EQ(info->smallestBuffer, row.size) << row.decoder;
    EXPECT_EQ(info->exactLength, row.exact) << row.decoder;
    EXPECT_EQ(info->nulTerminated, row.text) << row.decoder;
  }
}

TEST(Tables, HoldEveryListedReportAndNoOther) {
  const auto plugin = makePlugin();
  const auto count = [](std::int32_t type) {
    return static_cast<std::size_t>(std::ranges::count(kReports, type, &ListedReport::type));
  };
  EXPECT_EQ(plugin->reportIds()->size(), count(kFeature));
  EXPECT_EQ(plugin->inputReportIds()->size(), count(kInput));
  EXPECT_EQ(plugin->reportIdNames()->size(), count(kFeature));
  for (const ListedReport& report : kReports) {
    const auto table = report.type == kFeature ? plugin->reportIds() : plugin->inputReportIds();
    ASSERT_NE(table->find(report.id), nullptr) << report.decoder;
    EXPECT_EQ(*table->find(report.id), report.decoder);
    const std::string* const displayName = plugin->reportIdNames()->find(report.id);
    ASSERT_EQ(displayName != nullptr, report.type == kFeature) << report.decoder;
    if (displayName != nullptr) {
      EXPECT_EQ(*displayName, report.decoder.substr(6));
    }
    EXPECT_NE(HIDReportVeskPlugin::decoderInfo(report.decoder), nullptr) << report.decoder;
  }
}

TEST(Tables, NoOtherNameHasADecoder) {
  for (const char* const name : {"", "parse", "parserVersion", "parseVersion "})
    EXPECT_EQ(HIDReportVeskPlugin::decoderInfo(name), nullptr) << name;
}

TEST(Tables, ReportsThatShareADecoderHaveEqualNames) {
  const auto table = makePlugin()->reportIds();
  EXPECT_EQ(*table->find(0xE1), *table->find(0xEA));
  EXPECT_EQ(*table->find(0xE4), *table->find(0xE5));
}

TEST(Tables, KeysAreIntsAndFoundAsUnsigned) {
  const auto plugin = makePlugin();
  for (const auto& [id, name] : *plugin->reportIds()) EXPECT_EQ(id.kind(), Kind::Int) << name;
  for (const auto& [id, name] : *plugin->inputReportIds()) EXPECT_EQ(id.kind(), Kind::Int) << name;
  for (const auto& [id, name] : *plugin->reportIdNames()) EXPECT_EQ(id.kind(), Kind::Int) << name;
  EXPECT_NE(plugin->reportIds()->find(0xD0u), nullptr);
}

TEST(Tables, DispatchFollowsATableThatIsSet) {
  const auto plugin = makePlugin();
  const std::size_t names = plugin->reportIdNames()->size();
  plugin->setReportIds(std::make_shared<const ReportTable>(ReportTable{{0x42, "parseVersion"}}));
  plugin->setInputReportIds(
      std::make_shared<const ReportTable>(ReportTable{{0x43, "parseAdcDumpState"}}));
  ReportBytes report(0x42, "abc");
  EXPECT_EQ(plugin->reportToObject(report.data(), 0x42, kFeature, 0).object()->string(), "abc");
  EXPECT_TRUE(plugin->reportToObject(report.data(), 0xD0, kFeature, 0).isNil());
  report.put(1, {1});
  EXPECT_EQ(plugin->reportToObject(report.data(), 0x43, kInput, 0).object()->string(), "SINGLE");
  EXPECT_EQ(plugin->reportIds()->size(), 1u);
  // The display names were made from the first table and stay.
  EXPECT_EQ(plugin->reportIdNames()->size(), names);
}

TEST(Tables, TheDisplayNamesStayWhateverTableIsSet) {
  const auto plugin = makePlugin();
  const auto names = plugin->reportIdNames();
  plugin->setReportIds(
      std::make_shared<const ReportTable>(ReportTable{{0x42, "parseAdcDumpState"}}));
  EXPECT_EQ(plugin->reportIdNames(), names);
  plugin->setInputReportIds(
      std::make_shared<const ReportTable>(ReportTable{{0x43, "parseAdcDumpState"}}));
  EXPECT_EQ(plugin->reportIdNames(), names);
  plugin->setReportIds(nullptr);
  plugin->setInputReportIds(nullptr);
  EXPECT_EQ(plugin->reportIdNames(), names);
  EXPECT_EQ(*names->find(0xD0), "ersion");
  EXPECT_EQ(names->find(0x42), nullptr);
}

template <class Plugin>
concept HasSetterOfNames = requires(Plugin& plugin, std::shared_ptr<const ReportTable> table) {
  plugin.setReportIdNames(table);
};
static_assert(!HasSetterOfNames<HIDReportVeskPlugin>);

TEST(Tables, ATableThatNamesNoDecoderThrows) {
  const auto plugin = makePlugin();
  ReportBytes report(0xD0, "abc");
  for (const char* const name : {"parseNothing", "", "parserVersion", "parseVersion "}) {
    plugin->setReportIds(std::make_shared<const ReportTable>(ReportTable{{0xD0, name}}));
    EXPECT_THROW(plugin->reportToObject(report.data(), 0xD0, kFeature, 5), std::invalid_argument)
        << name;
  }
}

TEST(Tables, WithoutATableNothingIsKnown) {
  const auto plugin = makePlugin();
  plugin->setReportIds(nullptr);
  ReportBytes report(0xD0, "abc");
  EXPECT_TRUE(plugin->reportToObject(report.data(), 0xD0, kFeature, 5).isNil());
  ReportBytes image(0x76, 792);
  EXPECT_NE(plugin->reportToObject(image.data(), 0x76, kInput, 792).object(), nullptr);

  plugin->setReportIds(makePlugin()->reportIds());
  plugin->setInputReportIds(nullptr);
  EXPECT_TRUE(plugin->reportToObject(image.data(), 0x76, kInput, 792).isNil());
  EXPECT_EQ(plugin->reportToObject(report.data(), 0xD0, kFeature, 5).object()->string(), "abc");
}

/// A table that notes its name when it is let go.
std::shared_ptr<const ReportTable> notedTable(std::string name, std::vector<std::string>& gone) {
  return {new ReportTable{{0x42, "parseAdcDumpState"}},
          [name = std::move(name), &gone](const ReportTable* table) {
            gone.push_back(name);
            delete table;
          }};
}

TEST(Tables, SettersRetainTheNewTableAndReleaseTheOldOne) {
  using Gone = std::vector<std::string>;
  Gone gone;
  auto plugin = makePlugin();
  std::weak_ptr<const ReportTable> features = plugin->reportIds();
  std::weak_ptr<const ReportTable> inputs = plugin->inputReportIds();

  plugin->setReportIds(notedTable("first", gone));  // nobody else keeps it
  EXPECT_TRUE(features.expired());
  EXPECT_FALSE(inputs.expired());
  plugin->setInputReportIds(notedTable("second", gone));
  EXPECT_TRUE(inputs.expired());
  EXPECT_EQ(gone, Gone{});
  ReportBytes report(0x42, 2);
  report.put(1, {1});
  EXPECT_EQ(plugin->reportToObject(report.data(), 0x42, kFeature, 2).object()->string(), "SINGLE");
  EXPECT_EQ(plugin->reportToObject(report.data(), 0x42, kInput, 2).object()->string(), "SINGLE");

  plugin->setReportIds(plugin->reportIds());  // the same again
  EXPECT_EQ(gone, Gone{});
  plugin->setReportIds(notedTable("third", gone));
  EXPECT_EQ(gone, Gone{"first"});
  plugin->setInputReportIds(nullptr);
  EXPECT_EQ(gone, (Gone{"first", "second"}));

  // What a host keeps outlives the instance.
  auto kept = plugin->reportIds();
  const auto names = plugin->reportIdNames();
  plugin.reset();
  EXPECT_EQ(gone.size(), 2u);
  EXPECT_EQ(*kept->find(0x42), "parseAdcDumpState");
  EXPECT_EQ(*names->find(0xD0), "ersion");
  kept.reset();
  EXPECT_EQ(gone, (Gone{"first", "second", "third"}));
}

TEST(Tables, AreLetGoInTheirOrder) {
  auto plugin = makePlugin();
  const std::weak_ptr<const ReportTable> names = plugin->reportIdNames();
  std::weak_ptr<const ReportTable> inputs;
  std::string gone;
  plugin->setReportIds({new ReportTable, [&](const ReportTable* table) {
                          gone += "features, ";
                          if (!inputs.expired()) gone += "inputs are there, ";
                          if (!names.expired()) gone += "names are there; ";
                          delete table;
                        }});
  plugin->setInputReportIds({new ReportTable, [&](const ReportTable* table) {
                               gone += "inputs, ";
                               if (!names.expired()) gone += "names are there";
                               delete table;
                             }});
  inputs = plugin->inputReportIds();
  plugin.reset();
  EXPECT_EQ(gone, "features, inputs are there, names are there; inputs, names are there");
  EXPECT_TRUE(names.expired());
}

// -------------------------------------------------------------------------------------- properties

TEST(Properties, AFreshInstanceIsZeroAndInObjectMode) {
  const auto plugin = HIDReportVeskPlugin::init();
  EXPECT_EQ(plugin->report_buf(), nullptr);
  EXPECT_EQ(plugin->report_type(), 0u);
  EXPECT_EQ(plugin->report_id(), 0u);
  EXPECT_EQ(plugin->report_len(), 0);
  EXPECT_FALSE(plugin->useStrings());
  EXPECT_FALSE(plugin->displayDecimal());
  ReportBytes report(0xDE, 2);
  EXPECT_NE(plugin->reportToObject(report.data(), 0xDE, kFeature, 2).object(), nullptr);
}

TEST(Properties, SettersStoreAtFullWidth) {
  const auto plugin = makePlugin();
  char byte = 0;
  plugin->setReport_buf(&byte);
  plugin->setReport_type(0xFFFFFFFF);
  plugin->setReport_id(0xFEDCBA98);
  plugin->setReport_len(-0x123456789ABCDEF);
  plugin->setDisplayDecimal(true);
  plugin->setUseStrings(true);
  EXPECT_EQ(plugin->report_buf(), &byte);
  EXPECT_EQ(plugin->report_type(), 0xFFFFFFFFu);
  EXPECT_EQ(plugin->report_id(), 0xFEDCBA98u);
  EXPECT_EQ(plugin->report_len(), -0x123456789ABCDEF);
  EXPECT_TRUE(plugin->displayDecimal());
  EXPECT_TRUE(plugin->useStrings());
}

// ----------------------------------------------------------------------------------------- options

bool parseArgs(HIDReportVeskPlugin& plugin, std::initializer_list<const char*> options) {
  return plugin.parseArgs(static_cast<std::int32_t>(options.size()), std::data(options));
}

TEST(Options, NoneIsAccepted) {
  const auto plugin = makePlugin();
  plugin->setDisplayDecimal(true);
  plugin->setUseStrings(true);
  EXPECT_TRUE(plugin->parseArgs(0, nullptr));
  EXPECT_FALSE(plugin->displayDecimal());
  EXPECT_FALSE(plugin->useStrings());
}

TEST(Options, ANegativeCountIsAnEmptyList) {
  const auto plugin = makePlugin();
  for (const std::int32_t count : {-1, -1000000, INT32_MIN}) {
    plugin->setDisplayDecimal(true);
    EXPECT_TRUE(plugin->parseArgs(count, nullptr));
    EXPECT_FALSE(plugin->displayDecimal());
  }
}

TEST(Options, DecimalTwice) {
  const auto plugin = makePlugin();
  EXPECT_TRUE(parseArgs(*plugin, {"-decimal", "-decimal"}));
  EXPECT_TRUE(plugin->displayDecimal());
}

TEST(Options, TheFirstArgumentIsNoProgramName) {
  const auto plugin = makePlugin();
  captureOutput([&] { EXPECT_FALSE(parseArgs(*plugin, {"vesk-decode", "-decimal"})); });
  EXPECT_FALSE(plugin->displayDecimal());
}

TEST(Options, AnInvalidOnePrintsTheErrorsDescription) {
  const auto plugin = makePlugin();
  const auto refused = [&](const char* option) {
    return captureOutput([&] { EXPECT_FALSE(parseArgs(*plugin, {option})); });
  };
  EXPECT_EQ(refused("-x"),
            "Error Domain=HIDReportVeskPlugin Code=-536870206 \"Invalid option: -x\" "
            "UserInfo={NSLocalizedDescription=Invalid option: -x}\n");
  EXPECT_EQ(refused("-Decimal"),
            "Error Domain=HIDReportVeskPlugin Code=-536870206 \"Invalid option: -Decimal\" "
            "UserInfo={NSLocalizedDescription=Invalid option: -Decimal}\n");
  EXPECT_EQ(refused("decimal"),
            "Error Domain=HIDReportVeskPlugin Code=-536870206 \"Invalid option: decimal\" "
            "UserInfo={NSLocalizedDescription=Invalid option: decimal}\n");
  EXPECT_EQ(refused(""),
            "Error Domain=HIDReportVeskPlugin Code=-536870206 \"Invalid option: \" "
            "UserInfo={NSLocalizedDescription=Invalid option: }\n");
}

TEST(Options, AnInvalidOneDiscardsTheValidOnesBeforeIt) {
  const auto plugin = makePlugin();
  plugin->setUseStrings(true);
  captureOutput([&] { EXPECT_FALSE(parseArgs(*plugin, {"-decimal", "-x"})); });
  EXPECT_FALSE(plugin->displayDecimal());
  EXPECT_TRUE(plugin->useStrings());

  EXPECT_TRUE(parseArgs(*plugin, {"-decimal"}));
  captureOutput([&] { EXPECT_FALSE(parseArgs(*plugin, {"-x"})); });
  EXPECT_TRUE(plugin->displayDecimal());
}

TEST(Options, OnlyTheFirstInvalidOneIsReported) {
  const auto plugin = makePlugin();
  const std::string text = captureOutput([&] {
    EXPECT_FALSE(parseArgs(*plugin, {"-first", "-second"}));
  });
  EXPECT_NE(text.find("-first"), std::string::npos);
  EXPECT_EQ(text.find("-second"), std::string::npos);
}

TEST(Options, AnOptionMayHoldAnyCharacter) {
  const auto plugin = makePlugin();
  for (const std::string option : {"\xEF\xBF\xBE", "\xEF\xBF\xBF", "\xF4\x8F\xBF\xBF", "\x01"})
    EXPECT_EQ(captureOutput([&] { EXPECT_FALSE(parseArgs(*plugin, {option.c_str()})); }),
              "Error Domain=HIDReportVeskPlugin Code=-536870206 \"Invalid option: " + option +
                  "\" UserInfo={NSLocalizedDescription=Invalid option: " + option + "}\n");
}

TEST(Options, AnOptionThatIsNoTextThrows) {
  const auto plugin = makePlugin();
  EXPECT_THROW(parseArgs(*plugin, {"-decimal", "\xFF"}), std::invalid_argument);
  EXPECT_THROW(parseArgs(*plugin, {nullptr}), std::invalid_argument);
  EXPECT_FALSE(plugin->displayDecimal());
}

TEST(Options, ASuccessReturnsToObjectMode) {
  const auto plugin = makePlugin();
  ReportBytes report(0xDE, 2);
  captureOutput([&] { plugin->parseReport(report.data(), 0xDE, kFeature, 2); });
  ASSERT_TRUE(plugin->useStrings());
  EXPECT_TRUE(parseArgs(*plugin, {}));
  EXPECT_NE(plugin->reportToObject(report.data(), 0xDE, kFeature, 2).object(), nullptr);
}

TEST(Options, ConfigurationHoldsDecimalOnly) {
  const auto plugin = makePlugin();
  std::optional<Error> error;
  const auto config = plugin->argsToConfig({"-decimal", "-decimal"}, &error);
  ASSERT_TRUE(config);
  ASSERT_EQ(config->size(), 1u);
  EXPECT_EQ(std::get<Number>(config->at("Decimal")).kind(), Kind::Bool);
  EXPECT_TRUE(std::get<Number>(config->at("Decimal")).as<bool>());
  EXPECT_FALSE(error);
  EXPECT_TRUE(plugin->argsToConfig({}, &error)->empty());
}

TEST(Options, TheErrorHasDomainCodeAndUserInfo) {
  const auto plugin = makePlugin();
  std::optional<Error> error;
  EXPECT_FALSE(plugin->argsToConfig({"-decimal", "-q", "-r"}, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, "HIDReportVeskPlugin");
  EXPECT_EQ(error->code, -536870206);
  EXPECT_EQ(error->userInfo,
            (std::map<std::string, std::string>{{"NSLocalizedDescription", "Invalid option: -q"}}));
}

TEST(Options, AnErrorsDescriptionShowsWhatThereIs) {
  EXPECT_EQ((Error{"D", -1, {}}).description(), "Error Domain=D Code=-1");
  EXPECT_EQ((Error{"D", 7, {{"Other", "x"}}}).description(),
            "Error Domain=D Code=7 UserInfo={Other=x}");
  EXPECT_EQ((Error{"D", 0, {{NSLocalizedDescriptionKey, "m"}, {"Other", "x"}}}).description(),
            "Error Domain=D Code=0 \"m\" UserInfo={NSLocalizedDescription=m, Other=x}");
}

TEST(Options, WithoutAnErrorSlotAnInvalidOneGivesNothing) {
  EXPECT_FALSE(makePlugin()->argsToConfig({"-q"}, nullptr));
}

TEST(Options, AnErrorReplacesTheOlderOneAndASuccessLeavesIt) {
  const auto plugin = makePlugin();
  std::optional<Error> error = Error{"older", 7, {{"Older", "entry"}}};
  EXPECT_TRUE(plugin->argsToConfig({}, &error));
  EXPECT_TRUE(plugin->argsToConfig({"-decimal"}, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, "older");
  EXPECT_EQ(error->code, 7);
  EXPECT_EQ(error->userInfo, (std::map<std::string, std::string>{{"Older", "entry"}}));

  EXPECT_FALSE(plugin->argsToConfig({"-q"}, &error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain, "HIDReportVeskPlugin");
  EXPECT_EQ(error->code, -536870206);
  EXPECT_EQ(error->userInfo,
            (std::map<std::string, std::string>{{"NSLocalizedDescription", "Invalid option: -q"}}));
  EXPECT_FALSE(plugin->argsToConfig({"-r"}, &error));
  EXPECT_EQ(error->userInfo.at(NSLocalizedDescriptionKey), "Invalid option: -r");
}

TEST(Options, AConfigurationNeverWritesTheErrorSlot) {
  const auto plugin = makePlugin();
  const PluginConfig configs[] = {
      {},
      {{"Decimal", Number(true)}, {"UseStrings", Number(true)}},
      {{"Decimal", std::string("YES")}, {"UseStrings", Number(-1)}, {"Unknown", Number(1)}}};
  for (const PluginConfig& config : configs) {
    std::optional<Error> error;
    EXPECT_TRUE(plugin->configParser(config, &error));
    EXPECT_FALSE(error);
    error = Error{"older", 7, {{"Older", "entry"}}};
    EXPECT_TRUE(plugin->configParser(config, &error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->domain, "older");
    EXPECT_EQ(error->code, 7);
    EXPECT_EQ(error->userInfo, (std::map<std::string, std::string>{{"Older", "entry"}}));
  }
}

TEST(Options, ConfigurationValuesEqualToYesSwitchOn) {
  const auto plugin = makePlugin();
  std::optional<Error> error;
  const std::variant<Number, std::string> yes[] = {Number(true),
                                                   Number(std::uint8_t{1}),
                                                   Number(std::uint16_t{1}),
                                                   Number(1),
                                                   Number(1u),
                                                   Number(1ll),
                                                   Number(1ull),
                                                   Number(1.0f),
                                                   Number(1.0)};
  for (const auto& value : yes) {
    EXPECT_TRUE(plugin->configParser({{"UseStrings", value}, {"Decimal", value}}, &error));
    EXPECT_TRUE(plugin->useStrings());
    EXPECT_TRUE(plugin->displayDecimal());
  }
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  const std::variant<Number, std::string> no[] = {Number(false),
                                                  Number(0),
                                                  Number(std::uint8_t{255}),
                                                  Number(std::uint16_t{257}),  // 1 in its low byte
                                                  Number(257),
                                                  Number(0x10001),
                                                  Number(0x100000001ll),
                                                  Number(2),
                                                  Number(-1),
                                                  Number(0.5),
                                                  Number(1.0000000000000002),
                                                  Number(kNan),
                                                  Number(-kNan),
                                                  Number(static_cast<float>(kNan)),
                                                  std::string("YES"),
                                                  std::string("1"),
                                                  std::string()};
  for (const auto& value : no) {
    plugin->setUseStrings(true);
    plugin->setDisplayDecimal(true);
    EXPECT_TRUE(plugin->configParser({{"UseStrings", value}, {"Decimal", value}}, &error));
    EXPECT_FALSE(plugin->useStrings());
    EXPECT_FALSE(plugin->displayDecimal());
  }
  EXPECT_FALSE(error);
}

TEST(Options, ConfigurationSwitchesAreIndependent) {
  const auto plugin = makePlugin();
  EXPECT_TRUE(plugin->configParser({{"UseStrings", Number(true)}}, nullptr));
  EXPECT_TRUE(plugin->useStrings());
  EXPECT_FALSE(plugin->displayDecimal());
  EXPECT_TRUE(plugin->configParser({{"Decimal", Number(true)}, {"Other", Number(1)}}, nullptr));
  EXPECT_FALSE(plugin->useStrings());
  EXPECT_TRUE(plugin->displayDecimal());
}

// ---------------------------------------------------------------------------------------- dispatch

TEST(Dispatch, ReportsOfOneDecoderReachIt) {
  const auto plugin = makePlugin();
  ReportBytes full(0xE1, 991);
  full.put16(1, 22);
  for (const std::uint32_t id : {0xE1u, 0xEAu})
    EXPECT_EQ(plugin->reportToObject(full.data(), id, kFeature, 991).object()->size(), 269u);
  ReportBytes scan(0xE4, 401);
  for (const std::uint32_t id : {0xE4u, 0xE5u})
    EXPECT_EQ(plugin->reportToObject(scan.data(), id, kFeature, 401).object()->size(), 4u);
}

TEST(Dispatch, UnknownTypesAndIdsGiveNil) {
  const auto plugin = makePlugin();
  ReportBytes version(0xD0, "abc");
  ReportBytes image(0x76, 792);
  const struct {
    ReportBytes& report;
    std::uint32_t id;
    std::int32_t type;
  } calls[] = {
      {image, 0x76, kFeature},
      {version, 0xD0, kOutput},
      {version, 0xD0, kInput},
      {version, 0xD0, 3},
      {version, 0xD0, -1},
      {version, 0xD0, INT32_MIN},
      // Whose low bits are those of a type that is known.
      {version, 0xD0, 0x102},
      {version, 0xD0, 0x10002},
      {version, 0xD0, INT32_MIN + 2},
      {version, 0xD0, 6},
      {version, 0xD0, -2},
      {image, 0x76, 0x100},
      {image, 0x76, 0x10000},
      {image, 0x76, INT32_MIN},
      {image, 0x76, 4},
      {version, 0xD1, kFeature},
      {version, 0, kFeature},
      {version, 0x1D0, kFeature},
      {version, 0xFFFFFFD0, kFeature},
  };
  for (const auto& call : calls) {
    EXPECT_TRUE(plugin->reportToObject(call.report.data(), call.id, call.type, 792).isNil());
    EXPECT_EQ(captureOutput([&] {
                EXPECT_FALSE(plugin->parseReport(call.report.data(), call.id, call.type, 792));
              }),
              "");
  }
}

TEST(Dispatch, TheFourValuesAreStoredBeforeAnyCheck) {
  const auto plugin = makePlugin();
  char buffer[1];
  EXPECT_TRUE(plugin->runParser(buffer, 0xFEDCBA98, -5, 0x123456789ABCDEF0).isNil());
  EXPECT_EQ(plugin->report_type(), 0xFFFFFFFBu);
  EXPECT_EQ(plugin->report_buf(), buffer);
  EXPECT_EQ(plugin->report_id(), 0xFEDCBA98u);
  EXPECT_EQ(plugin->report_len(), 0x123456789ABCDEF0);
}

TEST(Dispatch, TheFourValuesAreStoredOfAReportThatIsIgnored) {
  const auto plugin = makePlugin();
  ReportBytes known(0xDE, 2);
  char buffer[2];
  const struct {
    std::uint32_t id;
    std::int32_t type;
    std::int64_t length;
  } calls[] = {{0xD1, kFeature, 7},    // an ID that no table has
               {0xD0, kInput, -8},     // one that the other table has
               {0x76, kFeature, 792},  //
               {0xD0, kOutput, 9},     // a type that has no table
               {0x76, kInput, 791},    // what its decoder declines
               {0x177, kInput, 2064}};
  for (const auto& call : calls) {
    for (const bool print : {false, true}) {
      plugin->reportToObject(known.data(), 0xDE, kFeature, 2);
      ASSERT_EQ(plugin->report_len(), 2);
      if (print)
        EXPECT_FALSE(plugin->parseReport(buffer, call.id, call.type, call.length));
      else
        EXPECT_TRUE(plugin->reportToObject(buffer, call.id, call.type, call.length).isNil());
      EXPECT_EQ(plugin->report_type(), static_cast<std::uint32_t>(call.type));
      EXPECT_EQ(plugin->report_buf(), buffer);
      EXPECT_EQ(plugin->report_id(), call.id);
      EXPECT_EQ(plugin->report_len(), call.length);
    }
  }
  plugin->setReportIds(nullptr);
  plugin->reportToObject(buffer, 0xD0, kFeature, 11);
  EXPECT_EQ(plugin->report_id(), 0xD0u);
  EXPECT_EQ(plugin->report_len(), 11);
}

TEST(Dispatch, TheFourValuesStayAfterAFailure) {
  const auto plugin = makePlugin();
  ReportBytes report(0xD2, "too few");
  EXPECT_THROW(plugin->reportToObject(report.data(), 0xD2, kFeature, -7), std::out_of_range);
  EXPECT_EQ(plugin->report_type(), 2u);
  EXPECT_EQ(plugin->report_buf(), report.data());
  EXPECT_EQ(plugin->report_id(), 0xD2u);
  EXPECT_EQ(plugin->report_len(), -7);
}

TEST(Dispatch, PrintingRaisesTextModeForGood) {
  const auto plugin = makePlugin();
  ReportBytes report(0xDE, 2);
  EXPECT_NE(plugin->reportToObject(report.data(), 0xDE, kFeature, 2).object(), nullptr);
  captureOutput([&] { plugin->parseReport(report.data(), 0xDE, kFeature, 2); });
  EXPECT_NE(plugin->reportToObject(report.data(), 0xDE, kFeature, 2).lines(), nullptr);
  captureOutput([&] { EXPECT_FALSE(parseArgs(*plugin, {"-x"})); });
  EXPECT_NE(plugin->reportToObject(report.data(), 0xDE, kFeature, 2).lines(), nullptr);
}

TEST(Dispatch, AnUnknownReportRaisesTextModeToo) {
  const auto plugin = makePlugin();
  ReportBytes report(0xDE, 2);
  EXPECT_FALSE(plugin->parseReport(report.data(), 0x00, kFeature, 2));
  EXPECT_TRUE(plugin->useStrings());
}

TEST(Dispatch, AFailingReportRaisesTextModeToo) {
  const auto plugin = makePlugin();
  ReportBytes report(0xD0, "\xFF");
  EXPECT_THROW(plugin->parseReport(report.data(), 0xD0, kFeature, 3), std::invalid_argument);
  EXPECT_TRUE(plugin->useStrings());
}

TEST(Dispatch, ObjectsDoNotTouchTheMode) {
  const auto plugin = makePlugin();
  plugin->setUseStrings(true);
  ReportBytes report(0xDE, 2);
  EXPECT_NE(plugin->reportToObject(report.data(), 0xDE, kFeature, 2).lines(), nullptr);
  EXPECT_TRUE(plugin->useStrings());
}

// --------------------------------------------------------------------------- decoders by themselves

/// What a decoder gives that is called on properties that a host has set.
Result called(Result (HIDReportVeskPlugin::*decode)(), ReportBytes& report, bool useStrings,
              bool decimal = false) {
  const auto plugin = HIDReportVeskPlugin::init();
  plugin->setReport_buf(report.data());
  plugin->setReport_id(report.id());
  plugin->setReport_len(report.length());
  plugin->setReport_type(0xFEDCBA98);  // no decoder looks at it
  plugin->setUseStrings(useStrings);
  plugin->setDisplayDecimal(decimal);
  return (plugin.get()->*decode)();
}

using Plugin = HIDReportVeskPlugin;

/// Those of the first version: no decoder has a way of its own to its properties.
constexpr struct {
  std::uint32_t id;
  Result (Plugin::*decode)();
} kDecoders[] = {
    {0xD0, &Plugin::parseVersion},
    {0xD2, &Plugin::parseVersionExtended},
    {0xDF, &Plugin::parseWatchDogReport},
    {0xA9, &Plugin::parsePowerModeStats},
    {0x76, &Plugin::parseVeskImage},
    {0xDC, &Plugin::parseAdcDumpConfig},
    {0xDE, &Plugin::parseAdcDumpState},
    {0x77, &Plugin::parseAdcDumpPacket},
    {0xA2, &Plugin::parserVeskAlgBaselineRequest},
    {0xE0, &Plugin::parseBlackBoxSummary},
    {0xE1, &Plugin::parseBlackBoxFullReport},
    {0xEA, &Plugin::parseBlackBoxFullReport},
    {0xE2, &Plugin::parseBlackBoxConfig},
    {0xE3, &Plugin::parseOpenShortTest},
    {0xE4, &Plugin::parseOpenShortData},
    {0xE5, &Plugin::parseOpenShortData},
};

TEST(Decoders, GiveOfSetPropertiesWhatDispatchGives) {
  for (const auto& [id, decode] : kDecoders) {
    const auto listed = std::ranges::find(kReports, id, &ListedReport::id);
    ASSERT_NE(listed, kReports.end());
    ReportBytes report(id, listed->size);
    if (listed->length == LengthRule::Text) report = ReportBytes(id, "1\n2\n3\n4\n5\n6\n");
    for (std::size_t i = 1; listed->length != LengthRule::Text && i < report.size(); ++i)
      report.put(i, {static_cast<int>(i * 37 % 251)});
    for (const bool useStrings : {false, true})
      for (const bool decimal : {false, true})
        EXPECT_EQ(test::listing(called(decode, report, useStrings, decimal)),
                  test::listing(test::decode(report, useStrings, decimal)))
            << listed->decoder;
  }
}

TEST(Decoders, ReadThePropertiesOnEachCall) {
  const auto plugin = HIDReportVeskPlugin::init();
  ReportBytes state(0xDE, 2);
  plugin->setReport_buf(state.data());  // and no more: of it a decoder needs nothing else
  EXPECT_EQ(plugin->parseAdcDumpState().object()->string(), "STANDBY");
  state.put(1, {2});
  EXPECT_EQ(plugin->parseAdcDumpState().object()->string(), "CONTINUOUS");
  plugin->setUseStrings(true);
  EXPECT_EQ(linesOf(plugin->parseAdcDumpState()), Lines{"ADC Dump State: CONTINUOUS"});
  ReportBytes version(0xD0, "1.2");
  plugin->setReport_buf(version.data());
  EXPECT_EQ(linesOf(plugin->parseVersion()), Lines{"1.2"});

  // The scan's name is that of the ID that is set, the length is the one that is set.
  ReportBytes scan(0xE4, 401);
  plugin->setReport_buf(scan.data());
  plugin->setReport_id(0xE4);
  EXPECT_EQ(linesOf(plugin->parseOpenShortData())[0], "Open/Short Test D-SCAN Data:");
  plugin->setReport_id(0xE5);
  EXPECT_EQ(linesOf(plugin->parseOpenShortData())[0], "Open/Short Test P-SCAN Data:");
  ReportBytes image(0x76, 792);
  plugin->setReport_buf(image.data());
  plugin->setReport_len(791);
  EXPECT_TRUE(plugin->parseVeskImage().isNil());
  plugin->setReport_len(792);
  EXPECT_EQ(linesOf(plugin->parseVeskImage()).size(), 40u);
  EXPECT_EQ(linesOf(plugin->parseVeskImage())[9].substr(0, 9), "00000000 ");
  plugin->setDisplayDecimal(true);
  EXPECT_EQ(linesOf(plugin->parseVeskImage())[9].substr(0, 15), "             0 ");
  EXPECT_TRUE(plugin->parseAdcDumpPacket().isNil());  // 792 is not its length
  EXPECT_EQ(plugin->report_len(), 792);
  EXPECT_EQ(plugin->report_buf(), image.data());
}

// ---------------------------------------------------------------------------------------- printing

TEST(Printing, LinesAreFramedByEmptyLines) {
  const auto plugin = makePlugin();
  ReportBytes report(0xDE, 2);
  EXPECT_EQ(
      captureOutput([&] { EXPECT_TRUE(plugin->parseReport(report.data(), 0xDE, kFeature, 2)); }),
      "\nADC Dump State: STANDBY\n\n");
}

TEST(Printing, NilPrintsNothing) {
  EXPECT_EQ(captureOutput([] { EXPECT_FALSE(makePlugin()->printStrings(nullptr)); }), "");
}

TEST(Printing, AnEmptyListPrintsTwoNewlines) {
  const LineList none;
  EXPECT_EQ(captureOutput([&] { EXPECT_TRUE(makePlugin()->printStrings(&none)); }), "\n\n");
}

TEST(Printing, LinesAreWrittenAsTheyStand) {
  LineList lines;
  lines.add("  %s %d %n  ");
  lines.add("");
  lines.add("two\nlines\t");
  EXPECT_EQ(captureOutput([&] { EXPECT_TRUE(makePlugin()->printStrings(&lines)); }),
            "\n  %s %d %n  \n\ntwo\nlines\t\n\n");
}

TEST(Printing, ALineEndsAtItsNul) {
  LineList lines;
  lines.add(std::string_view("before\0behind", 13));
  lines.add(std::string_view("\0", 1));
  lines.add("next");
  EXPECT_EQ(captureOutput([&] { EXPECT_TRUE(makePlugin()->printStrings(&lines)); }),
            "\nbefore\n\nnext\n\n");
}

TEST(Printing, AVersionTextsNewlinesStartOutputLines) {
  const auto plugin = makePlugin();
  ReportBytes report(0xD0, "one\ntwo");
  EXPECT_EQ(
      captureOutput([&] { EXPECT_TRUE(plugin->parseReport(report.data(), 0xD0, kFeature, 0)); }),
      "\none\ntwo\n\n");
}

}  // namespace
}  // namespace vesk
