// The reader for programs without a command line: what it lets pass, and how it ends.

#include "host/read/Reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Plugin.h"
#include "host/read/MemoryBytes.h"
#include "tests/host/strings.h"

namespace vesk::host {
namespace {

const KnownReports& known() {
  static const PluginLibrary library(VESK_PLUGIN);
  static const KnownReports reports(Plugin(library, {}).reports());
  return reports;
}

/// All items as text: "feature DE 2" (type, ID, size), or "bad_hex line 3".
std::vector<std::string> read(Bytes& bytes, const ReadSettings& settings) {
  Reader reader(bytes, known(), settings);
  std::vector<std::string> items;
  for (;;) {
    const Item item = reader.next();
    if (const auto* report = std::get_if<Report>(&item)) {
      const std::string type(report->type ? nameOf(*report->type) : "unknown");
      items.push_back(type + " " + std::to_string(report->id()) + " " +
                      std::to_string(report->bytes.size()));
      EXPECT_EQ(reader.info() == nullptr, type == "unknown");
    } else if (const auto* problem = std::get_if<Problem>(&item)) {
      items.push_back(std::string(nameOf(problem->code)) + " " +
                      std::to_string(problem->place.number));
    } else {
      EXPECT_TRUE(std::holds_alternative<End>(reader.next()));  // and stays there
      return items;
    }
  }
}

using Items = std::vector<std::string>;

const std::string kMixed = "de 01\ninput 76 00\nzz\n99 01\ndf 00\n";

TEST(Reader, AllThatAnInputHolds) {
  StringBytes bytes(kMixed);
  EXPECT_EQ(read(bytes, {}),
            (Items{"feature 222 2", "input 118 2", "bad_hex 3", "unknown 153 2", "feature 223 2"}));
}

TEST(Reader, ReportsOfAnId) {
  MemoryBytes bytes(kMixed);
  EXPECT_EQ(read(bytes, {.selection = {.ids = {0xDE, 0xDF}}}),
            (Items{"feature 222 2", "bad_hex 3", "feature 223 2"}));
}

TEST(Reader, ReportsOfAType) {
  MemoryBytes bytes(kMixed);
  EXPECT_EQ(read(bytes, {.selection = {.type = ReportType::Input}}),
            (Items{"input 118 2", "bad_hex 3"}));
}

// What has no time is in no window, and is told; a problem without one may be in it.
TEST(Reader, ReportsOfATime) {
  MemoryBytes bytes("F: 1.0 2 de 01\nF: 2.5 2 de 01\nE: x\nF: 3.0 2 df 00\n");
  const TimeWindow window{2'000'000, 2'500'000};
  EXPECT_EQ(read(bytes, {.form = inputFormNamed("recording"), .selection = {.window = window}}),
            (Items{"feature 222 2", "bad_recording 3"}));
  MemoryBytes untimed("de 01\nde 02\n");
  Reader reader(untimed, known(), {.selection = {.window = window}});
  EXPECT_TRUE(std::holds_alternative<End>(reader.next()));
  EXPECT_EQ(reader.untimed(), 2u);
}

TEST(Reader, AFormThatIsSaid) {
  MemoryBytes bytes("\xDE\x01\xDE\x02");
  EXPECT_EQ(read(bytes, {.form = inputFormNamed("binary")}),
            (Items{"feature 222 2", "feature 222 2"}));
}

TEST(Reader, AFailureBehindGoodReportsIsTheLastProblem) {
  StringBytes bytes("de 01\n");
  bytes.failAtEnd();
  EXPECT_EQ(read(bytes, {}), (Items{"feature 222 2", "unreadable_input 0"}));
}

TEST(Reader, WhatNothingCanBeMadeOfIsRefusedAtOnce) {
  MemoryBytes bytes(std::string_view("PK\x03\x04....", 8));
  EXPECT_THROW(Reader(bytes, known(), {}), InputFault);
}

TEST(Reader, NothingIsNoProblem) {
  MemoryBytes bytes("");
  EXPECT_EQ(read(bytes, {}), Items{});
}

TEST(Reader, MemoryIsReadInPieces) {
  const std::string content(3'000'000, '\n');
  std::vector<std::uint64_t> before;
  MemoryBytes bytes(content, [&](std::uint64_t read) { before.push_back(read); });
  std::uint64_t taken = 0;
  while (!bytes.peek(1).empty()) {
    taken += bytes.window().size();
    bytes.take(bytes.window().size());
  }
  EXPECT_EQ(taken, 3'000'000u);
  EXPECT_GT(before.size(), 10u);
  EXPECT_EQ(before.front(), 0u);
  EXPECT_EQ(before.back(), 3'000'000u);
}

}  // namespace
}  // namespace vesk::host
