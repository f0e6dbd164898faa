#include "model/wire.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "model/layout.h"

namespace vesk {
namespace {

/// One of each field, all behind an odd one.
struct Record {
  u8 id;
  u16 two;
  u32 four;
  u64 eight;
  i32 number;
  f32 real;
  u16 many[3];
  u8 last;
};
static_assert(sizeof(Record) == 1 + 2 + 4 + 8 + 4 + 4 + 6 + 1);
static_assert(alignof(Record) == 1);
static_assert(offsetof(Record, two) == 1 && offsetof(Record, four) == 3);
static_assert(offsetof(Record, eight) == 7 && offsetof(Record, number) == 15);
static_assert(offsetof(Record, real) == 19 && offsetof(Record, many) == 23);
static_assert(offsetof(Record, last) == 29);

static_assert(sizeof(u8) == 1 && sizeof(u16) == 2 && sizeof(u32) == 4 && sizeof(u64) == 8);
static_assert(sizeof(i32) == 4 && sizeof(f32) == 4);
static_assert(alignof(u8) == 1 && alignof(u16) == 1 && alignof(u32) == 1 && alignof(i32) == 1);
static_assert(std::is_trivially_copyable_v<u64>);
static_assert(std::is_convertible_v<u16, std::uint16_t>);
static_assert(u16{0x01, 0x80} == 0x8001 && u16::of(0x8001).bytes[1] == 0x80);

constexpr unsigned char kBytes[] = {
    0xE1,                                            // id
    0x02, 0x81,                                      // two
    0x04, 0x03, 0x02, 0xF1,                          // four
    0x08, 0x07, 0x06, 0x05, 0x04, 0x03, 0x02, 0x91,  // eight
    0xFE, 0xFF, 0xFF, 0xFF,                          // number
    0x00, 0x00, 0x48, 0xC1,                          // real
    0x01, 0x00, 0x00, 0x01, 0xFF, 0xFF,              // many
    0x7F,                                            // last
};
static_assert(sizeof kBytes == sizeof(Record));

TEST(Wire, ReadsEachFieldAtItsOffset) {
  const auto& record = view<Record>(reinterpret_cast<const char*>(kBytes));
  EXPECT_EQ(record.id, 0xE1);
  EXPECT_EQ(record.two, 0x8102);
  EXPECT_EQ(record.four, 0xF1020304u);
  EXPECT_EQ(record.eight, 0x9102030405060708u);
  EXPECT_EQ(record.number, -2);
  EXPECT_EQ(record.real, -12.5f);
  EXPECT_EQ(record.many[0], 0x0001);
  EXPECT_EQ(record.many[1], 0x0100);
  EXPECT_EQ(record.many[2], 0xFFFF);
  EXPECT_EQ(record.last, 0x7F);
}

TEST(Wire, ReadsFromAnyAddress) {
  for (std::size_t offset = 0; offset < 16; ++offset) {
    // No more memory than the record's, so that the address sanitizer sees a byte too much.
    std::vector<char> memory(offset + sizeof(Record));
    std::memcpy(memory.data() + offset, kBytes, sizeof kBytes);
    const auto& record = view<Record>(memory.data() + offset);
    EXPECT_EQ(record.eight, 0x9102030405060708u);
    EXPECT_EQ(record.last, 0x7F);
  }
}

TEST(Wire, ViewsInPlace) {
  std::vector<char> memory(1 + sizeof(Record));
  std::memcpy(memory.data() + 1, kBytes, sizeof kBytes);
  const auto& record = view<Record>(memory.data() + 1);
  EXPECT_EQ(static_cast<const void*>(&record), memory.data() + 1);
  EXPECT_EQ(record.eight, 0x9102030405060708u);
  memory[1] = 5;
  EXPECT_EQ(record.id, 5);
}

template <class T>
std::vector<unsigned> bytesOf(const wire::Field<T>& field) {
  return {std::begin(field.bytes), std::end(field.bytes)};
}

TEST(Wire, WritesLittleEndianBytes) {
  EXPECT_EQ(bytesOf(u8::of(0xAB)), (std::vector<unsigned>{0xAB}));
  EXPECT_EQ(bytesOf(u16::of(0x0102)), (std::vector<unsigned>{2, 1}));
  EXPECT_EQ(bytesOf(u32::of(0x01020304)), (std::vector<unsigned>{4, 3, 2, 1}));
  EXPECT_EQ(bytesOf(u64::of(0x0102030405060708)), (std::vector<unsigned>{8, 7, 6, 5, 4, 3, 2, 1}));
  EXPECT_EQ(bytesOf(i32::of(-2)), (std::vector<unsigned>{0xFE, 0xFF, 0xFF, 0xFF}));
  EXPECT_EQ(bytesOf(f32::of(1.0f)), (std::vector<unsigned>{0, 0, 0x80, 0x3F}));
}

template <class T>
void expectRoundTrip(std::initializer_list<T> values) {
  for (const T value : values) EXPECT_EQ(wire::Field<T>::of(value).value(), value);
}

TEST(Wire, GivesBackWhatItHolds) {
  expectRoundTrip<std::uint8_t>({0, 1, 0x80, 0xFF});
  expectRoundTrip<std::uint16_t>({0, 1, 0xFF, 0x100, 0xFFFF});
  expectRoundTrip<std::uint32_t>({0, 1, 0x80000000, 0xFFFFFFFF});
  expectRoundTrip<std::uint64_t>({0, 1, 0x8000000000000000, 0xFFFFFFFFFFFFFFFF});
  expectRoundTrip<std::int32_t>({0, 1, -1, std::numeric_limits<std::int32_t>::min()});
  expectRoundTrip<float>({0.0f,
                          1.5f,
                          -1e30f,
                          std::numeric_limits<float>::denorm_min(),
                          std::numeric_limits<float>::infinity()});
}

/// The bits of a NaN stand in the report and are to stay what they are.
TEST(Wire, KeepsTheBitsOfANan) {
  const f32 field{{0x01, 0x00, 0xC0, 0xFF}};
  EXPECT_EQ(std::bit_cast<std::uint32_t>(field.value()), 0xFFC00001u);
}

TEST(Wire, CopiesRunsOfValues) {
  const auto& record = view<Record>(reinterpret_cast<const char*>(kBytes));
  std::array<std::uint16_t, 4> values{9, 9, 9, 9};
  wire::copyValues(record.many, 3, values.data());
  EXPECT_EQ(values, (std::array<std::uint16_t, 4>{0x0001, 0x0100, 0xFFFF, 9}));
  wire::copyValues(record.many, 0, values.data());
  wire::copyValues(static_cast<const u32*>(nullptr), 0, nullptr);
  EXPECT_EQ(values[0], 0x0001);
}

}  // namespace
}  // namespace vesk
