// UTF-8 against an encoder written for the purpose: what it makes is well-formed, nothing else is.

#include "text/utf8.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "tests/text/reference.h"

namespace vesk::test {
namespace {

std::string encoded(std::uint32_t point) {
  const auto byte = [](std::uint32_t value) { return static_cast<char>(value); };
  const auto tail = [&](int shift) { return byte(0x80 | (point >> shift & 0x3F)); };
  if (point < 0x80) return {byte(point)};
  if (point < 0x800) return {byte(0xC0 | point >> 6), tail(0)};
  if (point < 0x10000) return {byte(0xE0 | point >> 12), tail(6), tail(0)};
  return {byte(0xF0 | point >> 18), tail(12), tail(6), tail(0)};
}

/// Calls `check` with each code point that has an encoding.
template <class Check>
void forEachPoint(std::uint32_t step, const Check& check) {
  for (std::uint32_t point = 0; point < 0x110000; point += point < 0x11000 ? 1 : step)
    if (point < 0xD800 || point > 0xDFFF) check(point);
}

/// In memory of just its size, so that the address sanitizer sees each byte too much.
std::size_t lengthOf(std::string_view text) {
  const auto memory = std::make_unique<char[]>(text.size());
  text.copy(memory.get(), text.size());
  return utf8Length({memory.get(), text.size()});
}

TEST(Utf8, HasASequenceForEachCodePoint) {
  forEachPoint(kSlowBuild ? 101 : 1, [](std::uint32_t point) {
    const std::string text = encoded(point);
    ASSERT_EQ(utf8Length(text), text.size()) << point;
    ASSERT_EQ(utf8Length(text + "\xFF"), text.size()) << point;
    ASSERT_TRUE(isUtf8(text)) << point;
    ASSERT_TRUE(isUtf8("1234567" + text + "1234567")) << point;
  });
}

TEST(Utf8, HasNoOtherSequences) {
  // All leads with all that can stand behind them, as far as two bytes decide, and a good rest.
  std::set<std::string> wellFormed;
  forEachPoint(1, [&](std::uint32_t point) {
    const std::string text = encoded(point);
    if (text.size() == 1 || text.substr(2) == std::string(text.size() - 2, '\x80'))
      wellFormed.insert(text);
  });
  for (int first = 0; first < 256; ++first)
    for (int second = 0; second < 256; ++second) {
      const std::string two = {static_cast<char>(first), static_cast<char>(second)};
      const std::string text = two + "\x80\x80";
      std::size_t expected = 0;
      for (std::size_t size = 1; size <= 4; ++size)
        if (wellFormed.count(text.substr(0, size)) != 0) expected = size;
      ASSERT_EQ(utf8Length(text), expected) << first << ' ' << second;
      ASSERT_EQ(isUtf8(text.substr(0, std::max<std::size_t>(expected, 1))), expected != 0)
          << first << ' ' << second;
    }
}

TEST(Utf8, HasNoSequenceThatIsCutOff) {
  forEachPoint(101, [](std::uint32_t point) {
    const std::string text = encoded(point);
    for (std::size_t size = 1; size < text.size(); ++size) {
      ASSERT_EQ(lengthOf(text.substr(0, size)), 0u) << point;
      ASSERT_FALSE(isUtf8("12345678" + text.substr(0, size))) << point;
    }
  });
  EXPECT_EQ(lengthOf(""), 0u);
  EXPECT_TRUE(isUtf8(""));
}

TEST(Utf8, HasNoSequenceWithAnotherByteInIt) {
  for (const std::uint32_t point : {0x80u, 0x7FFu, 0x800u, 0xFFFFu, 0x10000u, 0x10FFFFu})
    for (const char wrong : {'\0', 'a', '\x7F', '\xC0', '\xFF'})
      for (std::size_t at = 1; at < encoded(point).size(); ++at) {
        std::string text = encoded(point);
        text[at] = wrong;
        EXPECT_EQ(utf8Length(text), 0u) << point << ", byte " << at;
        EXPECT_FALSE(isUtf8("1234567" + text)) << point << ", byte " << at;
      }
}

TEST(Utf8, IsTextWhereverASequenceStands) {
  for (std::size_t before = 0; before < 20; ++before) {
    for (std::size_t behind = 0; behind < 20; ++behind) {
      const std::string front(before, 'a');
      const std::string back(behind, 'z');
      EXPECT_TRUE(isUtf8(front + back));
      for (const char* const good : {"\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
        EXPECT_TRUE(isUtf8(front + good + back)) << before << ' ' << behind;
        EXPECT_TRUE(isUtf8(front + good + good + back)) << before << ' ' << behind;
      }
      for (const char* const bad : {"\x80", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82", "\xFF"}) {
        EXPECT_FALSE(isUtf8(front + bad + back)) << before << ' ' << behind;
        EXPECT_FALSE(isUtf8(front + "\xC3\xA9" + bad + back)) << before << ' ' << behind;
      }
    }
  }
}

}  // namespace
}  // namespace vesk::test
