#include "model/lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/wire.h"

namespace vesk {
namespace {

/// Checks a list against its lines, one by one and as a text.
void expectLines(const LineList& list, const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  EXPECT_EQ(list.text(), text);
  EXPECT_EQ(list.empty(), lines.empty());
  ASSERT_EQ(list.size(), lines.size());
  for (std::size_t i = 0; i < lines.size(); ++i) EXPECT_EQ(list[i], lines[i]) << "line " << i;
  EXPECT_THROW(list[lines.size()], std::out_of_range);
  EXPECT_THROW(list[std::numeric_limits<std::size_t>::max()], std::out_of_range);
}

TEST(LineList, IsEmptyAtFirst) {
  expectLines(LineList(), {});
  expectLines(LineList(0, 0), {});
  expectLines(LineList(10, 1000), {});
}

TEST(LineList, KeepsTheOrder) {
  LineList list(3, 80);
  list.add("Pump:");
  list.add(line<"   Strokes:%u">(7u));
  list.add(std::string_view("third"));
  expectLines(list, {"Pump:", "   Strokes:7", "third"});
}

TEST(LineList, KeepsEmptyLines) {
  LineList list;
  list.add("");
  list.add(std::string_view());
  list.add("a");
  list.add(std::string());
  list.add(line<"">());
  list.add(line<"%s">(""));
  expectLines(list, {"", "", "a", "", "", ""});
}

TEST(LineList, KeepsNewlinesWithinALine) {
  LineList list;
  list.add("a\nb");
  list.add("\n");
  list.add("c\r");
  list.add(line<"%s|">("d\ne"));
  expectLines(list, {"a\nb", "\n", "c\r", "d\ne|"});
}

TEST(LineList, KeepsNulCharacters) {
  LineList list;
  list.add("a\0b");
  list.add(std::string_view("\0\0", 2));
  expectLines(list, {std::string("a\0b", 3), std::string(2, '\0')});
}

TEST(LineList, TakesAPercentSignAsItStands) {
  LineList list;
  list.add("100 %d");
  list.add(std::string_view("%s%n"));
  expectLines(list, {"100 %d", "%s%n"});
}

/// Lists without a hint and with one that is too small, right or too large are the same list.
TEST(LineList, GrowsBeyondItsHints) {
  std::vector<std::string> expected;
  for (int i = 0; i < 300; ++i)
    expected.push_back(std::string(static_cast<std::size_t>(i * 7 % 90), 'x') + std::to_string(i));
  for (const std::size_t lines : {0u, 1u, 2u, 299u, 300u, 1000u})
    for (const std::size_t characters : {0u, 1u, 16u, 17u, 100u, 5000u, 100000u}) {
      LineList list(lines, characters);
      for (const std::string& line : expected) list.add(line);
      expectLines(list, expected);
    }
}

TEST(LineList, GrowsByTheBytes) {
  // Each length, so that the last byte of the block is met from both sides.
  for (std::size_t size = 0; size < 200; ++size) {
    const std::string line(size, 'y');
    LineList list(1, size + 1);
    list.add(line);
    list.add(vesk::line<"%s">(line));
    list.add(line);
    expectLines(list, {line, line, line});
  }
}

TEST(LineList, DoesNotMoveWhileItsHintsSuffice) {
  LineList list(100, 100 * 11);
  list.add("0123456789");
  const char* const block = list.text().data();
  for (int i = 1; i < 100; ++i) list.add("0123456789");
  EXPECT_EQ(list.text().data(), block);
  EXPECT_EQ(list.size(), 100u);
}

TEST(LineList, HoldsALongLine) {
  const std::string line(1000000, 'z');
  LineList list;
  list.add("first");
  list.add(line);
  list.add(vesk::line<"%s">(line));
  expectLines(list, {"first", line, line});
}

TEST(LineList, HoldsManyLines) {
  constexpr std::uint32_t kLines = 100000;
  LineList list;
  for (std::uint32_t i = 0; i < kLines; ++i) list.add(line<"line %u">(i));
  ASSERT_EQ(list.size(), kLines);
  for (std::uint32_t i = 0; i < kLines; ++i) ASSERT_EQ(list[i], "line " + std::to_string(i));
  EXPECT_EQ(list.text().size(), 100000 * 6 + 10 + 90 * 2 + 900 * 3 + 9000 * 4 + 90000 * 5);
}

// ------------------------------------------------------------------------------ many lines at once

TEST(LineList, AddsALineForEachElement) {
  using format::Text;
  const u32 counters[4] = {u32::of(0), u32::of(7), u32::of(4294967295), u32::of(10)};
  const Text<16> labels[4] = {
      Text<16>("zero"), Text<16>("0123456789ABCDEF"), Text<16>(), Text<16>("x", 5)};
  for (const std::size_t hint : {0u, 1u, 10u}) {
    LineList list(hint, 30 * hint);
    list.add("before");
    list.add(each<"%s: %u">(labels, counters));
    list.add(each<"0x%08x">(counters));
    list.add("behind");
    expectLines(list,
                {"before",
                 "zero: 0",
                 "0123456789ABCDEF: 7",
                 ": 4294967295",
                 "    x: 10",
                 "0x00000000",
                 "0x00000007",
                 "0xffffffff",
                 "0x0000000a",
                 "behind"});
  }
}

/// A column of a type of its own: the squares of 0 to 2.
struct Squares {
  static constexpr std::size_t kExtent = 3;
  unsigned operator[](std::size_t i) const { return static_cast<unsigned>(i * i); }
};

TEST(LineList, TakesColumnsOfEveryType) {
  const std::array<u16, 3> first{u16::of(7), u16::of(8), u16::of(9)};
  const int second[3] = {-1, 0, 1};
  LineList list;
  list.add(each<"%u %i %u">(first, second, Squares()));
  expectLines(list, {"7 -1 0", "8 0 1", "9 1 4"});
}

TEST(LineList, KeepsTheRoomThatIsAskedFor) {
  const LineRoom more = LineRoom{1, 11} + 2 * LineRoom{1, 3};
  LineList list = LineList::withRoom(more, line<"%s:">("Pump"), line<"">());
  expectLines(list, {"Pump:", ""});
  const char* const block = list.text().data();
  list.add("0123456789");
  list.add("ab");
  list.add(line<"%s">("cd"));
  EXPECT_EQ(list.text().data(), block);
  expectLines(list, {"Pump:", "", "0123456789", "ab", "cd"});
}

TEST(LineList, AddsABlockThatIsWrittenAtOnce) {
  LineList list;
  list.add("before");
  list.addBlock(0, 3, [](char*) {});
  for (int i = 0; i < 30; ++i)
    list.addBlock(2, 3, [](char* out) { std::ranges::copy(std::string_view("abc\ndef\n"), out); });
  list.add("behind");
  std::vector<std::string> expected = {"before"};
  for (int i = 0; i < 30; ++i) expected.insert(expected.end(), {"abc", "def"});
  expected.emplace_back("behind");
  expectLines(list, expected);
}

TEST(LineList, AddsLinesThatAreWrittenInPlace) {
  LineList list;
  list.addLines(0, 100, [](char* out, std::size_t) { return out; });
  expectLines(list, {});
  std::vector<std::string> expected;
  for (std::size_t count = 1; count < 50; ++count) {
    list.addLines(count, count, [](char* out, std::size_t i) {
      return std::fill_n(out, i, static_cast<char>('a' + i % 26));
    });
    for (std::size_t i = 0; i < count; ++i)
      expected.emplace_back(i, static_cast<char>('a' + i % 26));
    list.add("-");
    expected.emplace_back("-");
  }
  expectLines(list, expected);
}

TEST(LineList, AddsSeveralLinesInOneCall) {
  const std::string text(100, 't');
  const LineList made = LineList::of(line<"%s: %u">("a", 1u), line<"">(), line<"[%s]">(text));
  expectLines(made, {"a: 1", "", "[" + text + "]"});

  LineList list;
  list.add("before");
  for (int i = 0; i < 20; ++i) list.add(line<"%i">(i), line<"%s">(text), line<"% -13.3f|">(1.5f));
  list.add("behind");
  std::vector<std::string> expected = {"before"};
  for (int i = 0; i < 20; ++i)
    expected.insert(expected.end(), {std::to_string(i), text, " 1.500       |"});
  expected.emplace_back("behind");
  expectLines(list, expected);
}

// ----------------------------------------------------------------------------------- copy and move

LineList twoLines() {
  LineList list(2, 40);
  list.add("one");
  list.add("two");
  return list;
}

TEST(LineList, CopiesAreIndependent) {
  LineList original = twoLines();
  LineList copy = original;
  expectLines(copy, {"one", "two"});
  EXPECT_NE(copy.text().data(), original.text().data());
  copy.add("three");
  original.add("other");
  original.add("fourth");
  expectLines(copy, {"one", "two", "three"});
  expectLines(original, {"one", "two", "other", "fourth"});

  copy = original;
  original.add("fifth");
  expectLines(copy, {"one", "two", "other", "fourth"});
}

TEST(LineList, CopiesOfEmptyLists) {
  const LineList none;
  const LineList reserved(5, 100);
  LineList copy = none;
  expectLines(copy, {});
  copy = reserved;
  expectLines(copy, {});
  copy.add("a");
  expectLines(copy, {"a"});
  copy = none;
  expectLines(copy, {});
  copy.add("b");
  expectLines(copy, {"b"});
}

TEST(LineList, MovesWithoutCopying) {
  static_assert(std::is_nothrow_move_constructible_v<LineList>);
  static_assert(std::is_nothrow_move_assignable_v<LineList>);
  LineList original = twoLines();
  const char* const block = original.text().data();
  LineList moved = std::move(original);
  EXPECT_EQ(moved.text().data(), block);
  expectLines(moved, {"one", "two"});

  LineList assigned;
  assigned.add("old");
  assigned = std::move(moved);
  EXPECT_EQ(assigned.text().data(), block);
  expectLines(assigned, {"one", "two"});
}

TEST(LineList, CanBeUsedAfterAMove) {
  LineList original = twoLines();
  const LineList moved = std::move(original);
  expectLines(original, {});  // NOLINT(bugprone-use-after-move)
  original.add("again");
  expectLines(original, {"again"});
  expectLines(moved, {"one", "two"});
  original = twoLines();
  expectLines(original, {"one", "two"});
}

TEST(LineList, SurvivesAssignmentToItself) {
  LineList list = twoLines();
  LineList& same = list;
  list = same;
  expectLines(list, {"one", "two"});
  list = std::move(same);
  expectLines(list, {"one", "two"});
}

TEST(LineList, MoreTextThanItsEndsCanTellThrows) {
  if (sizeof(std::size_t) <= 4) GTEST_SKIP() << "there is no more than that";
  EXPECT_THROW(LineList(1, std::size_t{1} << (sizeof(std::size_t) * 4 + 1)), std::length_error);
}

}  // namespace
}  // namespace vesk
