// Instances belong to one thread at a time, and several may be used in several threads at once: what
// each gives is what it gives alone. Under TSan this also tells that they share nothing unguarded.

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "plugin/vesk_plugin.h"
#include "tests/support/case_file.h"
#include "tests/support/support.h"

namespace vesk {
namespace {

using test::CaseFile;

constexpr int kThreads = 4;
constexpr int kRounds = 5;

/// The reports of the cases: all kinds of them, and what decoders refuse.
const std::vector<CaseFile>& cases() {
  static const std::vector<CaseFile> read = [] {
    std::vector<CaseFile> files;
    for (const std::string& name : test::caseNames()) files.push_back(test::readCase(name));
    return files;
  }();
  return read;
}

/// What an instance gives for a report in both modes.
std::string outcome(HIDReportVeskPlugin& plugin, CaseFile report) {
  std::string text;
  for (const bool useStrings : {false, true}) {
    plugin.setUseStrings(useStrings);
    try {
      text += test::listing(
          plugin.reportToObject(report.bytes.data(), report.id(), report.type, report.length()));
    } catch (const std::logic_error& error) {
      text += error.what();
    }
  }
  return text;
}

/// What every report gives on a fresh instance, one behind the other.
std::vector<std::string> outcomes(bool decimal) {
  const auto plugin = test::makePlugin(decimal);
  std::vector<std::string> all;
  for (const CaseFile& report : cases()) all.push_back(outcome(*plugin, report));
  return all;
}

/// Runs `work(thread)` in all threads, none of which begins before all are there.
template <class Work>
void inThreads(const Work& work) {
  std::atomic<int> missing = kThreads;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread)
    threads.emplace_back([&, thread] {
      --missing;
      while (missing > 0) std::this_thread::yield();
      work(thread);
    });
  for (std::thread& thread : threads) thread.join();
}

TEST(Threads, EachInstanceGivesWhatItGivesAlone) {
  ASSERT_GT(cases().size(), 50u);
  const std::vector<std::string> alone[] = {outcomes(false), outcomes(true)};
  std::atomic<int> wrong = 0;
  inThreads([&](int thread) {
    const bool decimal = thread % 2 != 0;
    for (int round = 0; round < kRounds; ++round) {
      const auto plugin = HIDReportVeskPlugin::init();
      plugin->setDisplayDecimal(decimal);
      // Each thread begins elsewhere, so that all decoders meet each other.
      for (std::size_t i = 0; i < cases().size(); ++i) {
        const std::size_t at = (i + static_cast<std::size_t>(thread) * 29) % cases().size();
        if (outcome(*plugin, cases()[at]) != alone[decimal ? 1 : 0][at]) ++wrong;
      }
    }
  });
  EXPECT_EQ(wrong, 0);
}

/// Each thread hands its instance another table, and its own options.
TEST(Threads, TablesAndOptionsBelongToOneInstance) {
  std::atomic<int> wrong = 0;
  inThreads([&](int thread) {
    const unsigned id = 0x10 + static_cast<unsigned>(thread);
    char report[] = {static_cast<char>(id), static_cast<char>(thread % 2)};
    for (int round = 0; round < kRounds * 20; ++round) {
      const auto plugin = HIDReportVeskPlugin::init();
      plugin->setReportIds(
          std::make_shared<const ReportTable>(ReportTable{{id, "parseAdcDumpState"}}));
      const char* const options[] = {"-decimal"};
      if (!plugin->parseArgs(thread % 2, options)) ++wrong;
      if (plugin->displayDecimal() != (thread % 2 != 0)) ++wrong;
      if (plugin->reportToObject(report, id, kFeature, 2).isNil()) ++wrong;
      if (!plugin->reportToObject(report, id + 1, kFeature, 2).isNil()) ++wrong;
    }
  });
  EXPECT_EQ(wrong, 0);
}

/// Results outlive their instances, and may move to another thread.
TEST(Threads, ResultsMoveToAnotherThread) {
  const std::vector<std::string> alone = outcomes(false);
  std::vector<std::vector<Result>> made(kThreads);
  inThreads([&](int thread) {
    const auto plugin = HIDReportVeskPlugin::init();
    for (CaseFile report : cases()) {
      Result result;
      try {
        result =
            plugin->reportToObject(report.bytes.data(), report.id(), report.type, report.length());
      } catch (const std::logic_error&) {
      }
      made[static_cast<std::size_t>(thread)].push_back(std::move(result));
    }
  });
  std::atomic<int> wrong = 0;
  inThreads([&](int thread) {
    const auto& results = made[static_cast<std::size_t>((thread + 1) % kThreads)];
    for (std::size_t i = 0; i < results.size(); ++i)
      if (!results[i].isNil() && !alone[i].starts_with(test::listing(results[i]))) ++wrong;
  });
  EXPECT_EQ(wrong, 0);
}

/// The same through the C interface.
TEST(Threads, CInterface) {
  const vesk_plugin_api& api = *vesk_plugin_entry();
  const auto countAll = [&api] {
    std::size_t count = 0;
    vesk_plugin* plugin = nullptr;
    if (api.create(&plugin) != VESK_OK) return count;
    for (const int useStrings : {0, 1}) {
      api.set_use_strings(plugin, useStrings);
      for (const CaseFile& report : cases()) {
        vesk_result* result = nullptr;
        if (api.report_to_object(
                plugin, report.bytes.data(), report.id(), report.type, report.length(), &result) ==
            VESK_OK)
          count += api.result_count(result);
        else
          count += std::char_traits<char>::length(api.error_message(plugin));
        api.result_free(result);
      }
    }
    for (std::size_t i = 0; i < api.report_count(plugin); ++i) {
      vesk_report_info info{};
      info.size = sizeof info;
      if (api.report_info(plugin, i, &info) == VESK_OK)
        count += static_cast<std::size_t>(info.smallest_buffer);
    }
    api.destroy(plugin);
    return count;
  };
  const std::size_t alone = countAll();
  EXPECT_GT(alone, 10000u);
  std::atomic<int> wrong = 0;
  inThreads([&](int) {
    for (int round = 0; round < kRounds; ++round)
      if (countAll() != alone) ++wrong;
  });
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace vesk
