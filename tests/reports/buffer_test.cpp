// What decoders read: all that they show, nothing outside of their layout, and never to write it.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <set>

#include "tests/support/support.h"

namespace vesk {
namespace {

using test::ReportBytes;

struct Layout {
  std::uint32_t id;
  std::size_t size;
  std::set<std::size_t> unseen;        // bytes that must not matter, besides the ID
  std::set<std::size_t> unseenInText;  // bytes that only the object shows
  std::set<std::size_t> unseenInObject;
};

std::set<std::size_t> range(std::size_t begin, std::size_t end) {
  std::set<std::size_t> bytes;
  for (; begin < end; ++begin) bytes.insert(begin);
  return bytes;
}

const Layout kLayouts[] = {
    {0xDF, 25, {}, {}, {}},
    {0xA9, 41, {}, {}, {}},
    {0x76, 792, {}, {}, {}},
    {0xDC, 25, {}, {}, {}},
    {0xDE, 2, {}, {}, {}},
    {0x77, 2064, {}, {}, {}},
    {0xA2, 193, {}, {}, {}},
    {0xE0, 7, {}, {}, {}},
    {0xE1, 991, {}, {}, {953, 954}},  // PMGR's number of events has no key
    {0xEA, 991, {}, {}, {953, 954}},
    {0xE2, 232, {26}, {}, range(0, 232)},
    // Of each mask, the text shows 48 bits.
    {0xE3, 57, {}, {7, 8, 15, 16, 23, 24, 31, 32, 39, 40, 47, 48, 55, 56}, {}},
    {0xE4, 401, range(394, 401), {7, 8}, {}},
    {0xE5, 401, range(394, 401), {7, 8}, {}},
};

/// Text and object of a report, one behind the other, from bytes that may lie anywhere.
std::string textOf(const Layout& layout, char* bytes, bool decimal = false) {
  const auto plugin = test::makePlugin(decimal);
  plugin->setUseStrings(true);
  const std::int32_t type = ReportBytes(layout.id, 1).type();
  return test::listing(
      plugin->reportToObject(bytes, layout.id, type, static_cast<std::int64_t>(layout.size)));
}

std::string objectOf(const Layout& layout, char* bytes) {
  const auto plugin = test::makePlugin();
  const std::int32_t type = ReportBytes(layout.id, 1).type();
  return test::listing(
      plugin->reportToObject(bytes, layout.id, type, static_cast<std::int64_t>(layout.size)));
}

/// Bytes of which each can be seen to change when all its bits do.
std::vector<char> pattern(const Layout& layout) {
  std::vector<char> bytes(layout.size);
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 % 61);
  // A state that has a name, a trigger source that no other byte makes nonzero, and floats so large
  // that their last bit is among the decimals that are printed.
  if (layout.id == 0xDE) bytes[1] = 1;
  if (layout.id == 0xDC) std::fill(bytes.begin() + 21, bytes.end(), char{0});
  if (layout.id == 0x76) bytes[791] = 0x44;
  if (layout.id == 0xA2)
    for (std::size_t i = 4; i < bytes.size(); i += 4) bytes[i] = 0x48;
  return bytes;
}

/// For GoogleTest's messages.
void PrintTo(const Layout& layout, std::ostream* out) { *out << std::hex << "0x" << layout.id; }

class EveryReport : public testing::TestWithParam<Layout> {};

TEST_P(EveryReport, EachByteMattersButForTheListed) {
  const Layout& layout = GetParam();
  std::vector<char> bytes = pattern(layout);
  const std::string text = textOf(layout, bytes.data());
  const std::string object = objectOf(layout, bytes.data());
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    bytes[at] = static_cast<char>(~bytes[at]);
    const bool seen = at != 0 && !layout.unseen.contains(at);
    EXPECT_EQ(textOf(layout, bytes.data()) != text, seen && !layout.unseenInText.contains(at))
        << "byte " << at;
    EXPECT_EQ(objectOf(layout, bytes.data()) != object, seen && !layout.unseenInObject.contains(at))
        << "byte " << at;
    bytes[at] = static_cast<char>(~bytes[at]);
  }
}

/// Pages of memory with an unreadable one behind and before.
class Guarded {
 public:
  Guarded() {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    _size = 3 * page;
    _memory = static_cast<char*>(
        mmap(nullptr, _size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    begin = _memory + page;
    end = begin + page;
    mprotect(_memory, page, PROT_NONE);
    mprotect(end, page, PROT_NONE);
  }
  ~Guarded() { munmap(_memory, _size); }
  Guarded(const Guarded&) = delete;
  Guarded& operator=(const Guarded&) = delete;

  void setWritable(bool writable) {
    mprotect(begin,
             static_cast<std::size_t>(end - begin),
             writable ? PROT_READ | PROT_WRITE : PROT_READ);
  }

  char* begin;
  char* end;

 private:
  char* _memory;
  std::size_t _size;
};

TEST_P(EveryReport, ReadsItsLayoutAndNothingElse) {
  const Layout& layout = GetParam();
  std::vector<char> bytes = pattern(layout);
  const std::string text = textOf(layout, bytes.data());
  const std::string decimal = textOf(layout, bytes.data(), true);
  const std::string object = objectOf(layout, bytes.data());
  Guarded memory;
  const auto expectSame = [&](char* at) {
    std::memcpy(at, bytes.data(), bytes.size());
    memory.setWritable(false);  // nor does a decoder write
    EXPECT_EQ(textOf(layout, at), text);
    EXPECT_EQ(textOf(layout, at, true), decimal);
    EXPECT_EQ(objectOf(layout, at), object);
    memory.setWritable(true);
  };
  expectSame(memory.begin);
  expectSame(memory.end - bytes.size());
  // At every alignment, with other bytes around.
  for (int shift = 0; shift < 16; ++shift) {
    std::memset(memory.begin, shift * 17, static_cast<std::size_t>(memory.end - memory.begin));
    expectSame(memory.begin + 64 + shift);
  }
}

TEST_P(EveryReport, TheLengthDoesNotMatterToFeatureReports) {
  const Layout& layout = GetParam();
  if (layout.id == 0x76 || layout.id == 0x77) return;  // they demand theirs; tested beside them
  std::vector<char> bytes = pattern(layout);
  for (const bool useStrings : {false, true}) {
    const auto plugin = test::makePlugin();
    plugin->setUseStrings(useStrings);
    const std::string expected =
        test::listing(plugin->reportToObject(bytes.data(), layout.id, kFeature, 0));
    for (const std::int64_t length : {std::int64_t{1}, std::int64_t{-1}, INT64_MAX, INT64_MIN})
      EXPECT_EQ(test::listing(plugin->reportToObject(bytes.data(), layout.id, kFeature, length)),
                expected);
  }
}

INSTANTIATE_TEST_SUITE_P(Buffer, EveryReport, testing::ValuesIn(kLayouts),
                         [](const auto& testCase) {
                           char name[8];
                           std::snprintf(name, sizeof name, "x%02X", testCase.param.id);
                           return std::string(name);
                         });

TEST(Buffer, VersionTextIsReadToItsNul) {
  Guarded memory;
  for (const std::uint32_t id : {0xD0u, 0xD2u}) {
    const char text[] = "X1\n2\n3\n4\n5\n6";
    char* const report = memory.end - sizeof text;
    std::memcpy(report, text, sizeof text);
    for (const bool useStrings : {false, true}) {
      const auto plugin = test::makePlugin();
      plugin->setUseStrings(useStrings);
      EXPECT_FALSE(plugin->reportToObject(report, id, kFeature, 0).isNil());
    }
  }
}

}  // namespace
}  // namespace vesk
