// What decoders read: all that they show, nothing outside of their layout, and never to write it.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <map>
#include <set>

#include "plugin/report_list.h"
#include "tests/support/support.h"

namespace vesk {

/// For GoogleTest's messages.
static void PrintTo(const ListedReport& report, std::ostream* out) {
  *out << std::hex << "0x" << report.id;
}

namespace {

/// Bytes of a report that are not seen, besides the ID.
struct Unseen {
  std::set<std::size_t> anywhere;
  std::set<std::size_t> inText;  // only the object shows them
  std::set<std::size_t> inObject;
};

std::set<std::size_t> range(std::size_t begin, std::size_t end) {
  std::set<std::size_t> bytes;
  for (; begin < end; ++begin) bytes.insert(begin);
  return bytes;
}

/// Of all other reports every byte is seen, in both forms.
const std::map<std::uint32_t, Unseen> kUnseen = {
    {0xE1, {{}, {}, {953, 954}}},  // PMGR's number of events has no key
    {0xEA, {{}, {}, {953, 954}}},
    {0xE2, {{26}, {}, range(0, 232)}},  // there is no object
    // Of each mask, the text shows 48 bits.
    {0xE3, {{}, {7, 8, 15, 16, 23, 24, 31, 32, 39, 40, 47, 48, 55, 56}, {}}},
    {0xE4, {range(394, 401), {7, 8}, {}}},
    {0xE5, {range(394, 401), {7, 8}, {}}},
};

/// Reports of a fixed layout: all but the texts.
std::vector<ListedReport> fixedLayouts() {
  std::vector<ListedReport> reports;
  for (const ListedReport& report : kReports)
    if (report.length != LengthRule::Text) reports.push_back(report);
  return reports;
}

/// Text and object of a report, one behind the other, from bytes that may lie anywhere.
std::string textOf(const ListedReport& layout, char* bytes, bool decimal = false) {
  const auto plugin = test::makePlugin(decimal);
  plugin->setUseStrings(true);
  return test::listing(plugin->reportToObject(
      bytes, layout.id, layout.type, static_cast<std::int64_t>(layout.size)));
}

std::string objectOf(const ListedReport& layout, char* bytes) {
  const auto plugin = test::makePlugin();
  return test::listing(plugin->reportToObject(
      bytes, layout.id, layout.type, static_cast<std::int64_t>(layout.size)));
}

/// Bytes of which each can be seen to change when all its bits do.
std::vector<char> pattern(const ListedReport& layout) {
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

class EveryReport : public testing::TestWithParam<ListedReport> {};

TEST_P(EveryReport, EachByteMattersButForTheListed) {
  const ListedReport& layout = GetParam();
  std::vector<char> bytes = pattern(layout);
  const std::string text = textOf(layout, bytes.data());
  const std::string object = objectOf(layout, bytes.data());
  const auto listed = kUnseen.find(layout.id);
  const Unseen unseen = listed == kUnseen.end() ? Unseen{} : listed->second;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    bytes[at] = static_cast<char>(~bytes[at]);
    const bool seen = at != 0 && !unseen.anywhere.contains(at);
    EXPECT_EQ(textOf(layout, bytes.data()) != text, seen && !unseen.inText.contains(at))
        << "byte " << at;
    EXPECT_EQ(objectOf(layout, bytes.data()) != object, seen && !unseen.inObject.contains(at))
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
  const ListedReport& layout = GetParam();
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

TEST_P(EveryReport, ItsLengthMattersAsListed) {
  const ListedReport& layout = GetParam();
  const auto size = static_cast<std::int64_t>(layout.size);
  std::vector<char> bytes = pattern(layout);
  for (const bool useStrings : {false, true}) {
    const auto plugin = test::makePlugin();
    plugin->setUseStrings(useStrings);
    const auto decode = [&](std::int64_t length) {
      return test::listing(plugin->reportToObject(bytes.data(), layout.id, layout.type, length));
    };
    const std::string expected = decode(size);
    for (const std::int64_t length :
         {std::int64_t{0}, std::int64_t{1}, std::int64_t{-1}, size - 1, INT64_MAX, INT64_MIN})
      EXPECT_EQ(decode(length), layout.length == LengthRule::Exactly ? "nil\n" : expected)
          << length;
  }
}

INSTANTIATE_TEST_SUITE_P(Buffer, EveryReport, testing::ValuesIn(fixedLayouts()),
                         [](const auto& testCase) {
                           char name[8];
                           std::snprintf(name, sizeof name, "x%02X", testCase.param.id);
                           return std::string(name);
                         });

TEST(Buffer, TextIsReadToItsNul) {
  Guarded memory;
  for (const ListedReport& report : kReports) {
    if (report.length != LengthRule::Text) continue;
    const char text[] = "X1\n2\n3\n4\n5\n6";
    char* const bytes = memory.end - sizeof text;
    std::memcpy(bytes, text, sizeof text);
    for (const bool useStrings : {false, true}) {
      const auto plugin = test::makePlugin();
      plugin->setUseStrings(useStrings);
      EXPECT_FALSE(plugin->reportToObject(bytes, report.id, report.type, 0).isNil());
    }
  }
}

}  // namespace
}  // namespace vesk
