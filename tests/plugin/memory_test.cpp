// Allocations: how many a decode makes, and what happens when one fails.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <vector>

#include "plugin/report_list.h"
#include "plugin/vesk_plugin.h"
#include "tests/support/support.h"

namespace {

bool counting = false;
std::size_t allocations = 0;  // since counting began
std::size_t failAt = 0;       // number of the allocation that fails; 0: none
std::ptrdiff_t live = 0;      // allocations not yet freed, of those made while counting

/// A header of this size tells, when an allocation is freed, whether it was counted.
constexpr std::size_t kHeader = alignof(std::max_align_t);

// Not inlined: seen through, the compiler takes malloc and free for a mismatch of new and delete.

[[gnu::noinline]] void* allocate(std::size_t size) {
  if (counting && ++allocations == failAt) throw std::bad_alloc();
  auto* const block = static_cast<char*>(std::malloc(size + kHeader));
  if (block == nullptr) throw std::bad_alloc();
  *block = counting ? 1 : 0;
  live += *block;
  return block + kHeader;
}

[[gnu::noinline]] void release(void* pointer) {
  if (pointer == nullptr) return;
  char* const block = static_cast<char*>(pointer) - kHeader;
  live -= *block;
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void operator delete(void* pointer) noexcept { release(pointer); }
void operator delete(void* pointer, std::size_t) noexcept { release(pointer); }

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace vesk {
namespace {

/// Counts the allocations of `run`; the one of that number fails.
template <class Run>
void count(std::size_t fail, const Run& run) {
  allocations = 0;
  failAt = fail;
  counting = true;
  try {
    run();
  } catch (...) {
    counting = false;
    throw;
  }
  counting = false;
}

struct Case {
  std::uint32_t id;
  std::size_t size;
  const char* text;  // of a report that is one; null of the others
};

/// A case for each report, and two more texts.
std::vector<Case> makeCases() {
  std::vector<Case> cases;
  for (const ListedReport& report : kReports) {
    const bool isText = report.length == LengthRule::Text;
    cases.push_back({report.id, report.size, isText ? "1\n2\n3\n4\n5\n6\n7\n" : nullptr});
  }
  cases.push_back({0xD0, 2, "1.2.3"});
  cases.push_back({0xD0, 2, ""});
  return cases;
}

const std::vector<Case> kCases = makeCases();

/// A report of a case with each byte the same: what makes text long differs from report to report.
test::ReportBytes report(const Case& c, int byte) {
  if (c.text != nullptr) return {c.id, c.text};
  return test::ReportBytes(c.id, c.size).fill(1, c.size, byte);
}

constexpr int kBytes[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, 0xE6, 0xF8, 0xFE};

TEST(Memory, ADecodeMakesOneAllocation) {
  for (const Case& c : kCases) {
    for (const int byte : kBytes) {
      for (const bool decimal : {false, true}) {
        const auto plugin = test::makePlugin(decimal);
        test::ReportBytes r = report(c, byte);
        for (const bool useStrings : {true, false}) {
          plugin->setUseStrings(useStrings);
          Result result;
          count(0, [&] { result = plugin->reportToObject(r.data(), c.id, r.type(), r.length()); });
          EXPECT_EQ(allocations, result.isNil() ? 0u : 1u)
              << std::hex << c.id << " text " << useStrings << " byte " << byte;
        }
      }
    }
  }
}

TEST(Memory, LargeFloatsStillMakeOneAllocation) {
  const auto plugin = test::makePlugin();
  plugin->setUseStrings(true);
  test::ReportBytes baseline(0xA2, 193);
  for (std::size_t i = 0; i < 48; ++i) baseline.putFloat(1 + 4 * i, -3.4028235e38f);
  Result result;
  count(0, [&] { result = plugin->reportToObject(baseline.data(), 0xA2, kFeature, 193); });
  EXPECT_EQ(allocations, 1u);
  EXPECT_EQ(result.lines()->size(), 9u);
}

TEST(Memory, AnAllocationThatFailsLeavesTheInstanceUsable) {
  for (const Case& c : kCases) {
    for (const bool useStrings : {true, false}) {
      const auto plugin = test::makePlugin();
      plugin->setUseStrings(useStrings);
      test::ReportBytes r = report(c, 0x11);
      const auto decode = [&] {
        return plugin->reportToObject(r.data(), c.id, r.type(), r.length());
      };
      const std::string expected = test::listing(decode());
      const std::ptrdiff_t before = live;
      std::size_t failures = 0;
      for (std::size_t fail = 1;; ++fail) {
        try {
          count(fail, decode);
          break;
        } catch (const std::bad_alloc&) {
          ++failures;
        }
        EXPECT_EQ(live, before);
        EXPECT_EQ(test::listing(decode()), expected);
      }
      EXPECT_EQ(live, before);
      EXPECT_EQ(failures, decode().isNil() ? 0u : 1u) << std::hex << c.id;
    }
  }
}

TEST(Memory, InitGivesAWholeObjectOrNothing) {
  std::size_t failures = 0;
  for (std::size_t fail = 1;; ++fail) {
    std::unique_ptr<HIDReportVeskPlugin> plugin;
    const std::ptrdiff_t before = live;
    count(fail, [&] { plugin = HIDReportVeskPlugin::init(); });
    if (plugin) {
      const std::size_t known = plugin->reportIds()->size() + plugin->inputReportIds()->size();
      EXPECT_EQ(known, kReports.size());
      EXPECT_EQ(plugin->reportIdNames()->size(), plugin->reportIds()->size());
      break;
    }
    ++failures;
    EXPECT_EQ(live, before) << "leaked when allocation " << fail << " failed";
  }
  // The object and its three tables at least, the display names among them.
  EXPECT_GT(failures, 4u);
}

TEST(Memory, TheCInterfaceTellsThatThereIsNone) {
  const vesk_plugin_api& api = *vesk_plugin_entry();
  vesk_plugin* plugin = nullptr;
  std::size_t failures = 0;
  for (vesk_status status = VESK_NO_MEMORY; status != VESK_OK; ++failures) {
    const std::ptrdiff_t before = live;
    count(failures + 1, [&] { status = api.create(&plugin); });
    if (status == VESK_OK) break;
    EXPECT_EQ(status, VESK_NO_MEMORY);
    EXPECT_EQ(plugin, nullptr);
    EXPECT_EQ(live, before) << "leaked when allocation " << failures + 1 << " failed";
  }
  EXPECT_GT(failures, 5u);  // those of init(), and the instance's own

  const unsigned char report[] = {0xDE, 0x01};
  vesk_result* result = nullptr;
  vesk_status status = VESK_OK;
  count(1, [&] {
    status = api.report_to_object(plugin, report, 0xDE, VESK_FEATURE, sizeof report, &result);
  });
  EXPECT_EQ(status, VESK_NO_MEMORY);
  EXPECT_EQ(result, nullptr);
  EXPECT_STREQ(api.error_message(plugin), "out of memory");
  api.destroy(plugin);
}

TEST(Memory, PrintingThatFailsStopsAndLeavesTheInstanceUsable) {
  // Lines that grow, so that the copy to be printed is made anew several times.
  std::string text;
  std::string printed = "\n";
  LineList lines;
  for (std::size_t size = 0; size <= 1000; size = 3 * size + 20) {
    const std::string line(size, 'x');
    lines.add(line);
    printed += line + '\n';
    text += line + '\n';
  }
  printed += '\n';
  text.pop_back();
  const auto plugin = test::makePlugin();
  test::ReportBytes report(0xD2, text);
  const auto check = [&](const auto& print) {
    std::size_t failures = 0;
    for (bool failed = true; failed; ++failures) {
      const std::ptrdiff_t before = live;
      failed = false;
      const std::string got = test::captureOutput([&] {
        try {
          count(failures + 1, print);
        } catch (const std::bad_alloc&) {
          failed = true;
        }
      });
      EXPECT_EQ(live, before);
      if (!failed) {
        EXPECT_EQ(got, printed);
        break;
      }
      // Whole lines, and none behind that of which there was no copy.
      EXPECT_EQ(got, printed.substr(0, got.size()));
      EXPECT_LT(got.size(), printed.size() - 1);
      EXPECT_TRUE(got.empty() || got.back() == '\n');
    }
    return failures;
  };
  EXPECT_GT(check([&] { plugin->printStrings(&lines); }), 1u);
  EXPECT_GT(check([&] { plugin->parseReport(report.data(), 0xD2, kFeature, 0); }), 2u);
  EXPECT_TRUE(plugin->useStrings());
}

TEST(Memory, TheCInterfaceChangesNothingWhereThereIsNone) {
  const vesk_plugin_api& api = *vesk_plugin_entry();
  vesk_plugin* plugin = nullptr;
  ASSERT_EQ(api.create(&plugin), VESK_OK);
  const unsigned char report[] = {0xDE, 0x01};
  int flag = -1;
  const auto print = [&](std::size_t fail) {
    vesk_status status = VESK_OK;
    const std::string printed = test::captureOutput([&] {
      count(fail, [&] {
        status = api.parse_report(plugin, report, 0xDE, VESK_FEATURE, sizeof report, &flag);
      });
    });
    EXPECT_EQ(status, VESK_NO_MEMORY);
    EXPECT_EQ(flag, -1);
    EXPECT_STREQ(api.error_message(plugin), "out of memory");
    return printed;
  };
  EXPECT_EQ(print(1), "");    // the lines
  EXPECT_EQ(print(2), "\n");  // a copy of the first line, to be printed behind the empty one
  EXPECT_EQ(api.use_strings(plugin), 1);

  const char* const options[] = {"-decimal"};
  std::size_t failures = 0;
  for (vesk_status status = VESK_NO_MEMORY;; ++failures) {
    count(failures + 1, [&] { status = api.parse_args(plugin, 1, options, &flag); });
    if (status == VESK_OK) break;
    EXPECT_EQ(status, VESK_NO_MEMORY);
    EXPECT_EQ(flag, -1);
    EXPECT_EQ(api.use_strings(plugin), 1);
  }
  EXPECT_GT(failures, 0u);
  EXPECT_EQ(flag, 1);
  EXPECT_EQ(api.use_strings(plugin), 0);
  api.destroy(plugin);
}

TEST(Memory, TeardownFreesTheTables) {
  const std::ptrdiff_t before = live;
  count(0, [] { HIDReportVeskPlugin::init().reset(); });
  EXPECT_EQ(live, before);
}

TEST(Memory, OptionsThatFailChangeNothing) {
  const auto plugin = test::makePlugin();
  plugin->setUseStrings(true);
  const char* const options[] = {"-decimal", "-decimal"};
  for (std::size_t fail = 1;; ++fail) {
    const std::ptrdiff_t before = live;
    try {
      count(fail, [&] { plugin->parseArgs(2, options); });
      break;
    } catch (const std::bad_alloc&) {
      EXPECT_EQ(live, before);
      EXPECT_FALSE(plugin->displayDecimal());
      EXPECT_TRUE(plugin->useStrings());
    }
  }
  EXPECT_TRUE(plugin->displayDecimal());
  EXPECT_FALSE(plugin->useStrings());
}

TEST(Memory, NothingIsKeptOfAReport) {
  const auto plugin = test::makePlugin();
  for (const Case& c : kCases) {
    for (const bool useStrings : {true, false}) {
      plugin->setUseStrings(useStrings);
      test::ReportBytes r = report(c, 0x11);
      const std::ptrdiff_t before = live;
      count(0, [&] { plugin->reportToObject(r.data(), c.id, r.type(), r.length()); });
      EXPECT_EQ(live, before) << std::hex << c.id;
    }
  }
}

}  // namespace
}  // namespace vesk
