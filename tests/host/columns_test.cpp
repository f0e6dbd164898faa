// Reports as tables: the plug-in's own, and those of a plug-in that shows any object (see
// scripted_plugin.c).

#include "host/columns/Columns.h"
#include "host/Kinds.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace vesk::host {
namespace {

using namespace std::string_literals;

/// A plug-in, and columns that it fills.
class Tabler {
 public:
  explicit Tabler(const char* library, const ColumnChoice& choice = {})
      : _library(library),
        _plugin(_library, {}),
        _known(_plugin.reports()),
        _columns({_plugin, _known, _nowhere}, choice) {}

  /// What is wrong with the report, or an empty string.
  std::string add(std::string_view bytes, Report report = {}) {
    report.bytes = {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
    const ReportInfo* const info = _known.find(report.id(), report.type);
    if (info != nullptr) report.type = info->type;
    const auto problem = _columns.write(report, info);
    return problem ? problem->message : "";
  }

  Columns* operator->() { return &_columns; }
  const Table& operator[](std::string_view decoder) { return *_columns.table(decoder); }

 private:
  PluginLibrary _library;
  Plugin _plugin;
  KnownReports _known;
  Collector _nowhere;
  Columns _columns;
};

/// A number of a table, read as a program reads it.
template <class T>
T at(const Table& table, std::string_view name, std::size_t row, std::size_t index = 0) {
  const Column* const column = table.find(name);
  if (column == nullptr) throw std::out_of_range(std::string(name));
  EXPECT_EQ(column->offset % alignof(T), 0u) << name;
  EXPECT_EQ(sizeOfKind(column->kind), sizeof(T)) << name;
  EXPECT_LT(index, column->count) << name;
  T value;
  std::memcpy(&value, table.rowAt(row) + column->offset + index * sizeof value, sizeof value);
  return value;
}

std::vector<std::string> namesOf(const Table& table) {
  std::vector<std::string> names;
  for (const Column& column : table.columns()) names.push_back(column.name);
  return names;
}

std::string key(std::string_view name) {
  return "k" + std::string(1, static_cast<char>(name.size())) + std::string(name);
}
std::string number(std::int32_t kind, int value) {
  return {'n', static_cast<char>(kind), static_cast<char>(value)};
}
std::string array(std::int32_t kind, int count) {
  return {'a', static_cast<char>(kind), static_cast<char>(count)};
}
std::string text(std::string_view text) {
  return "s" + std::string(1, static_cast<char>(text.size())) + std::string(text);
}
std::string line(std::string_view text) {
  return "l" + std::string(1, static_cast<char>(text.size())) + std::string(text);
}

/// An image frame with a counter and a few samples.
std::string frame(char number, char first) {
  std::string bytes(792, '\0');
  bytes[0] = 0x76;
  bytes[4] = number;
  bytes[16] = first;           // D_SCAN_I[0]
  for (int i = 1; i < 4; ++i)  // its sign
    bytes[static_cast<std::size_t>(16 + i)] = first < 0 ? '\xFF' : '\0';
  bytes[16 + 4 * 48] = 1;   // D_SCAN_Q[0]
  bytes[16 + 4 * 191] = 9;  // P_SCAN_Q[47]
  return bytes;
}

TEST(Columns, ImageFramesAreRowsOfOneBlock) {
  Tabler tabler(VESK_PLUGIN);
  EXPECT_EQ(tabler->table("parseVeskImage"), nullptr);
  Report report;
  report.microseconds = -5;
  report.place = {Place::Unit::Packet, 7};
  report.sender = UsbSender{1, 5, 0x81};
  tabler->beginFile("bench.pcap");
  EXPECT_EQ(tabler.add(frame(1, -2), report), "");
  EXPECT_EQ(tabler.add(frame(2, 3)), "");
  EXPECT_EQ(tabler->rows(), 2u);

  const Table& images = tabler["parseVeskImage"];
  ASSERT_EQ(images.rows(), 2u);
  EXPECT_EQ(images.rowSize() % 8, 0u);
  EXPECT_EQ(images.rowAt(1) - images.rowAt(0), static_cast<std::ptrdiff_t>(images.rowSize()));
  const auto names = namesOf(images);
  EXPECT_EQ(std::vector(names.begin(), names.begin() + 5),
            (std::vector<std::string>{"time", "report_id", "source", "device", "place"}));
  EXPECT_EQ(at<std::int64_t>(images, "time", 0), -5);
  EXPECT_EQ(at<std::int64_t>(images, "time", 1), kNoTime);
  EXPECT_EQ(at<std::uint8_t>(images, "report_id", 0), 0x76);
  EXPECT_EQ(at<std::uint64_t>(images, "place", 0), 7u);
  EXPECT_EQ(at<std::uint64_t>(images, "place", 1), 0u);
  const auto textAt = [&](std::string_view name, std::size_t row) {
    return tabler->texts().text(at<std::uint32_t>(images, name, row));
  };
  EXPECT_EQ(textAt("source", 0), "bench.pcap");
  EXPECT_EQ(textAt("device", 0), "device 1:5, endpoint 1");
  EXPECT_EQ(textAt("device", 1), "");
  EXPECT_TRUE(images.find("source")->isText);
  EXPECT_FALSE(images.find("place")->isText);

  EXPECT_EQ(at<std::uint32_t>(images, "FRAME_NUMBER", 0), 1u);
  EXPECT_EQ(at<std::uint32_t>(images, "FRAME_NUMBER", 1), 2u);
  EXPECT_EQ(at<std::int32_t>(images, "D_SCAN_I", 0, 0), -2);
  EXPECT_EQ(at<std::int32_t>(images, "D_SCAN_I", 1, 0), 3);
  EXPECT_EQ(at<std::int32_t>(images, "D_SCAN_Q", 1, 0), 1);
  EXPECT_EQ(at<std::int32_t>(images, "P_SCAN_Q", 0, 47), 9);
  // The four arrays are neighbours: together they are one of 4 times 48.
  const Column* const first = images.find("D_SCAN_I");
  EXPECT_TRUE(first->isArray);
  EXPECT_EQ(first->count, 48u);
  EXPECT_EQ(images.find("P_SCAN_Q")->offset, first->offset + 3 * 48 * 4);
}

TEST(Columns, WhatCannotBeDecodedIsNoRow) {
  Tabler tabler(VESK_PLUGIN);
  EXPECT_EQ(tabler.add("\xDE"), "report 0xDE (feature): 1 byte, its layout needs 2");
  EXPECT_EQ(tabler.add("\x99z"), "report 0x99: unknown; --list-reports shows the known ones");
  EXPECT_EQ(tabler->rows(), 0u);
  EXPECT_EQ(tabler->table("parseAdcDumpState"), nullptr);
}

// A version that isn't UTF-8 has no object, and no lines either: it doesn't tell how versions are.
TEST(Columns, ARefusedReportTeachesNothing) {
  Tabler tabler(VESK_PLUGIN);
  const std::string refusal =
      "report 0xD0 (feature): its decoder failed: the version text is not UTF-8";
  EXPECT_EQ(tabler.add("\xD0\xFF\0"s), refusal);
  EXPECT_EQ(tabler.add("\xD0"
                       "1.2\0"s),
            "");
  EXPECT_EQ(tabler.add("\xD0\xFF\0"s), refusal);
  const Table& versions = tabler["parseVersion"];
  ASSERT_EQ(versions.rows(), 1u);
  EXPECT_EQ(tabler->texts().text(at<std::uint32_t>(versions, "value", 0)), "1.2");
}

TEST(Columns, EachKindIsAlignedForIt) {
  Tabler tabler(VESK_SCRIPTED);
  std::string object = "\x50";
  const std::string names = "abcdefghi";
  for (std::int32_t kind = VESK_BOOL; kind <= VESK_DOUBLE; ++kind) {
    object +=
        key(names.substr(static_cast<std::size_t>(kind), 1)) + number(kind, kind == 0 ? 1 : -kind);
    object += key("v" + names.substr(static_cast<std::size_t>(kind), 1)) + array(kind, 3);
  }
  ASSERT_EQ(tabler.add(object), "");
  ASSERT_EQ(tabler.add(object), "");
  const Table& table = tabler["scripted"];
  for (const std::size_t row : {0u, 1u}) {
    EXPECT_EQ(at<std::uint8_t>(table, "a", row), 1);
    EXPECT_EQ(at<std::uint8_t>(table, "b", row), 255);
    EXPECT_EQ(at<std::uint16_t>(table, "c", row), 254);
    EXPECT_EQ(at<std::uint32_t>(table, "d", row), 253u);
    EXPECT_EQ(at<std::int32_t>(table, "e", row), -4);
    EXPECT_EQ(at<std::int64_t>(table, "f", row), -5);
    EXPECT_EQ(at<std::uint64_t>(table, "g", row), 250u);
    EXPECT_EQ(at<float>(table, "h", row), -3.5f);
    EXPECT_EQ(at<double>(table, "i", row), -4.0);
    EXPECT_EQ(at<std::uint8_t>(table, "vb", row, 2), 3);
    EXPECT_EQ(at<std::uint16_t>(table, "vc", row, 2), 3);
    EXPECT_EQ(at<std::int32_t>(table, "ve", row, 1), 2);
    EXPECT_EQ(at<std::uint64_t>(table, "vg", row, 2), 3u);
    EXPECT_EQ(at<float>(table, "vh", row, 2), 1.5f);
    EXPECT_EQ(at<double>(table, "vi", row, 1), 1.0);
  }
}

TEST(Columns, AnotherShapeIsRefusedAndTheRestStays) {
  const std::string good = "\x50" + key("A") + number(VESK_INT, 7) + key("B") + text("x");
  const auto refused = [](const std::string& what) {
    return "report 0x50 (feature): its decoder failed: its object is not as that of the first such "
           "report: " +
           what;
  };
  const struct {
    std::string report;
    std::string message;
  } others[] = {
      {"\x50" + key("A") + number(VESK_UNSIGNED_INT, 7) + key("B") + text("x"),
       refused("\"A\" has another kind or length")},
      {"\x50" + key("A") + array(VESK_INT, 1) + key("B") + text("x"),
       refused("\"A\" has another kind or length")},
      {"\x50" + key("A") + text("7") + key("B") + text("x"),
       refused("\"A\" has another kind or length")},
      {"\x50" + key("B") + text("x") + key("A") + number(VESK_INT, 7),
       refused("\"B\" where \"A\" was")},
      {"\x50" + key("A") + number(VESK_INT, 7), refused("it has no \"B\"")},
      {good + key("C") + number(VESK_INT, 1), refused("it has more keys")},
      {"\x50"
       "0" +
           line("x"),
       refused("there is none")},
      {"\x50"
       "0",
       "report 0x50 (feature): its decoder failed: it gives no lines"},
  };
  for (const auto& other : others) {
    Tabler tabler(VESK_SCRIPTED);
    ASSERT_EQ(tabler.add(good), "");
    EXPECT_EQ(tabler.add(other.report), other.message);
    EXPECT_EQ(tabler.add(good), "");
    const Table& table = tabler["scripted"];
    ASSERT_EQ(table.rows(), 2u);
    EXPECT_EQ(at<std::int32_t>(table, "A", 1), 7);
    EXPECT_EQ(tabler->texts().text(at<std::uint32_t>(table, "B", 1)), "x");
  }
}

TEST(Columns, KindsThatNobodyKnowsAreRefused) {
  Tabler tabler(VESK_SCRIPTED);
  const std::string message =
      "report 0x50 (feature): its decoder failed: \"A\" is of a kind that is not known here";
  EXPECT_EQ(tabler.add("\x50" + key("A") + number(9, 1)), message);
  EXPECT_EQ(tabler->table("scripted"), nullptr);
  EXPECT_TRUE(tabler->take().byDecoder.empty());
  EXPECT_EQ(tabler.add("\x50" + key("A") + number(VESK_INT, 1)), "");
  EXPECT_EQ(tabler["scripted"].rows(), 1u);
}

TEST(Columns, OneTableForTwoIdsOfADecoder) {
  Tabler tabler(VESK_SCRIPTED);
  const std::string object = key("A") + number(VESK_INT, 7);
  EXPECT_EQ(tabler.add("\x50" + object), "");
  EXPECT_EQ(tabler.add("\x51" + object), "");
  EXPECT_EQ(tabler.add("\x52" + key("Z") + array(VESK_DOUBLE, 2)), "");
  const Table& table = tabler["scripted"];
  ASSERT_EQ(table.rows(), 2u);
  EXPECT_EQ(at<std::uint8_t>(table, "report_id", 0), 0x50);
  EXPECT_EQ(at<std::uint8_t>(table, "report_id", 1), 0x51);
  EXPECT_EQ(tabler["other"].rows(), 1u);
  EXPECT_EQ(tabler->rows(), 3u);
}

TEST(Columns, LinesStandForAnObjectThatIsMissing) {
  Tabler tabler(VESK_SCRIPTED);
  ASSERT_EQ(tabler.add("\x50"
                       "0" +
                       line("one") + line("") + line("three")),
            "");
  ASSERT_EQ(tabler.add("\x50"
                       "0" +
                       line("")),
            "");
  const Table& table = tabler["scripted"];
  EXPECT_EQ(namesOf(table).back(), "lines");
  EXPECT_EQ(tabler->texts().text(at<std::uint32_t>(table, "lines", 0)), "one\n\nthree");
  EXPECT_EQ(tabler->texts().text(at<std::uint32_t>(table, "lines", 1)), "");
  EXPECT_EQ(
      tabler.add("\x50" + text("bare")),
      "report 0x50 (feature): its decoder failed: its object is not as that of the first such "
      "report: there is one");
}

TEST(Columns, AKeyThatIsTakenHasAMark) {
  Tabler tabler(VESK_SCRIPTED);
  ASSERT_EQ(tabler.add("\x50" + key("time") + number(VESK_INT, 7) + key("X") + number(VESK_INT, 8) +
                       key("X") + number(VESK_INT, 9)),
            "");
  const Table& table = tabler["scripted"];
  EXPECT_EQ(at<std::int64_t>(table, "time", 0), kNoTime);
  EXPECT_EQ(at<std::int32_t>(table, "time_", 0), 7);
  EXPECT_EQ(at<std::int32_t>(table, "X", 0), 8);
  EXPECT_EQ(at<std::int32_t>(table, "X_", 0), 9);
}

TEST(Columns, ChosenOnesAlone) {
  Tabler tabler(VESK_SCRIPTED, {{"scripted", {"C", "A"}}});
  const std::string report = "\x50" + key("A") + number(VESK_INT, 7) + key("B") + text("unkept") +
                             key("C") + array(VESK_DOUBLE, 2);
  ASSERT_EQ(tabler.add(report), "");
  ASSERT_EQ(tabler.add(report), "");
  const Table& table = tabler["scripted"];
  const auto names = namesOf(table);
  EXPECT_EQ(std::vector(names.begin() + 5, names.end()), (std::vector<std::string>{"A", "C"}));
  EXPECT_EQ(at<std::int32_t>(table, "A", 1), 7);
  EXPECT_EQ(at<double>(table, "C", 1, 1), 1.0);
  EXPECT_EQ(tabler->texts().count(), 1u);  // the empty one
  // What isn't kept has to be as it was, too: it is the same decoder's.
  EXPECT_NE(tabler.add("\x50" + key("A") + number(VESK_INT, 7) + key("B") + array(VESK_INT, 1) +
                       key("C") + array(VESK_DOUBLE, 2)),
            "");
  // A decoder without a choice has all.
  ASSERT_EQ(tabler.add("\x52" + key("Z") + text("kept")), "");
  EXPECT_NE(tabler["other"].find("Z"), nullptr);
}

TEST(Columns, TakenTablesLiveOnAndNewOnesBegin) {
  Tabler tabler(VESK_SCRIPTED);
  tabler->beginFile("night.pcap");
  const auto report = [](int value, std::string_view word) {
    return "\x50" + key("A") + number(VESK_INT, value) + key("B") + text(word);
  };
  ASSERT_EQ(tabler.add(report(1, "first")), "");
  const Tables before = tabler->take();
  EXPECT_EQ(tabler->rows(), 0u);
  EXPECT_EQ(tabler->texts().count(), 2u);  // the empty one and the file's name
  ASSERT_EQ(tabler.add(report(2, "second")), "");
  EXPECT_NE(tabler.add("\x50" + key("A") + text("1")), "");  // the shape stays
  const Tables after = tabler->take();

  const Table& first = *before.byDecoder.at("scripted");
  const Table& second = *after.byDecoder.at("scripted");
  ASSERT_EQ(first.rows(), 1u);
  ASSERT_EQ(second.rows(), 1u);
  EXPECT_EQ(at<std::int32_t>(first, "A", 0), 1);
  EXPECT_EQ(at<std::int32_t>(second, "A", 0), 2);
  EXPECT_EQ(before.texts->text(at<std::uint32_t>(first, "B", 0)), "first");
  EXPECT_EQ(after.texts->text(at<std::uint32_t>(second, "B", 0)), "second");
  EXPECT_EQ(after.texts->text(at<std::uint32_t>(second, "source", 0)), "night.pcap");
  EXPECT_TRUE(tabler->take().byDecoder.empty());
}

TEST(Columns, RowsStayWhatTheyAreWhileTheBlockGrows) {
  Tabler tabler(VESK_SCRIPTED);
  constexpr int kRows = 20'000;
  for (int i = 0; i < kRows; ++i)
    ASSERT_EQ(tabler.add("\x50" + key("A") + number(VESK_INT, i % 100) + key("B") +
                         array(VESK_UNSIGNED_LONG_LONG, 20)),
              "");
  const Tables taken = tabler->take();
  const Table& table = *taken.byDecoder.at("scripted");
  ASSERT_EQ(table.rows(), static_cast<std::size_t>(kRows));
  for (std::size_t i = 0; i < table.rows(); ++i) {
    ASSERT_EQ(at<std::int32_t>(table, "A", i), static_cast<int>(i) % 100);
    ASSERT_EQ(at<std::uint64_t>(table, "B", i, 19), 20u);
  }
}

TEST(Columns, LiveDevicesAreNamedAsTheyAreNow) {
  Tabler tabler(VESK_SCRIPTED);
  HidDevice device;
  device.node = "/dev/hidraw3";
  device.vendor = 0x1209;
  device.product = 1;
  Report report;
  report.device = &device;
  ASSERT_EQ(tabler.add("\x50" + key("A") + number(VESK_INT, 7), report), "");
  device.serial = "A7";
  ASSERT_EQ(tabler.add("\x50" + key("A") + number(VESK_INT, 7), report), "");
  const auto deviceOf = [&](std::size_t row) {
    return tabler->texts().text(at<std::uint32_t>(tabler["scripted"], "device", row));
  };
  EXPECT_EQ(deviceOf(0), "/dev/hidraw3 (1209:0001)");
  EXPECT_EQ(deviceOf(1), "/dev/hidraw3 (1209:0001, serial A7)");
}

TEST(Columns, TextsAreKeptOnce) {
  Texts texts;
  EXPECT_EQ(texts.numberOf(""), 0u);
  EXPECT_EQ(texts.numberOf("a"), 1u);
  for (int i = 0; i < 1000; ++i) texts.numberOf("t" + std::to_string(i));
  EXPECT_EQ(texts.numberOf("a"), 1u);
  EXPECT_EQ(texts.text(1), "a");
  EXPECT_EQ(texts.text(2 + 999), "t999");
  EXPECT_EQ(texts.count(), 1002u);
}

TEST(Columns, ABlockMovesWithWhatItHolds) {
  Block block;
  EXPECT_EQ(block.data(), nullptr);
  block.reserve(1);
  block.data()[0] = std::byte{42};
  const std::size_t before = block.capacity();
  block.reserve(before + 1);
  EXPECT_GT(block.capacity(), before);
  EXPECT_EQ(block.data()[0], std::byte{42});
  EXPECT_EQ(block.data()[before], std::byte{0});
  Block other(std::move(block));
  EXPECT_EQ(other.data()[0], std::byte{42});
  other.shrink(0);
  EXPECT_EQ(other.capacity(), 0u);
  EXPECT_EQ(other.data(), nullptr);
  EXPECT_THROW(other.reserve(static_cast<std::size_t>(-1)), std::bad_alloc);
  EXPECT_THROW(other.reserve(static_cast<std::size_t>(-1) / 2), std::bad_alloc);
  EXPECT_EQ(other.capacity(), 0u);
}

}  // namespace
}  // namespace vesk::host
