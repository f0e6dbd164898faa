#include "model/ReportObject.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "model/dictionary.h"
#include "model/wire.h"

namespace vesk {
namespace {

Number numberAt(const ReportObject& object, std::string_view key) {
  return std::get<Number>(object.at(key));
}

std::vector<std::string> keysOf(const ReportObject& object) {
  std::vector<std::string> keys;
  for (std::size_t i = 0; i < object.size(); ++i) keys.emplace_back(object.key(i));
  return keys;
}

// ------------------------------------------------------------------------------------- dictionary

TEST(Dictionary, KeepsTheOrderOfItsKeys) {
  const ReportObject object = dictionary("zeta"_key = 1, "alpha"_key = 2, "Mid"_key = 3);
  EXPECT_FALSE(object.isString());
  EXPECT_EQ(keysOf(object), (std::vector<std::string>{"zeta", "alpha", "Mid"}));
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_EQ(std::get<Number>(object.value(i)), Number(static_cast<int>(i) + 1));
}

TEST(Dictionary, KeepsKindAndValueOfEachNumber) {
  const ReportObject object = dictionary("bool"_key = true,
                                         "uchar"_key = static_cast<unsigned char>(0xFE),
                                         "ushort"_key = static_cast<unsigned short>(0xFFFE),
                                         "uint"_key = 0xFFFFFFFEu,
                                         "int"_key = -2,
                                         "long long"_key = std::numeric_limits<long long>::min(),
                                         "ull"_key = 0xFFFFFFFFFFFFFFFEull,
                                         "float"_key = -1.5f,
                                         "double"_key = 0.1);
  EXPECT_EQ(numberAt(object, "bool").as<bool>(), true);
  EXPECT_EQ(numberAt(object, "uchar").as<unsigned char>(), 0xFE);
  EXPECT_EQ(numberAt(object, "ushort").as<unsigned short>(), 0xFFFE);
  EXPECT_EQ(numberAt(object, "uint").as<unsigned>(), 0xFFFFFFFEu);
  EXPECT_EQ(numberAt(object, "int").as<int>(), -2);
  EXPECT_EQ(numberAt(object, "long long").as<long long>(), std::numeric_limits<long long>::min());
  EXPECT_EQ(numberAt(object, "ull").as<unsigned long long>(), 0xFFFFFFFFFFFFFFFEull);
  EXPECT_EQ(numberAt(object, "float").as<float>(), -1.5f);
  EXPECT_EQ(numberAt(object, "double").as<double>(), 0.1);
}

TEST(Dictionary, TakesWireFieldsAsTheirValues) {
  struct Record {
    u8 one;
    u16 two;
    u32 four;
    u64 eight;
    i32 number;
    f32 real;
  };
  Record record = {
      u8::of(1), u16::of(0x0203), u32::of(0x84050607), u64::of(1u), i32::of(-8), f32::of(2.5f)};
  const ReportObject object = dictionary("one"_key = record.one,
                                         "two"_key = record.two,
                                         "four"_key = record.four,
                                         "eight"_key = record.eight,
                                         "number"_key = record.number,
                                         "real"_key = record.real);
  std::memset(&record, 0xFF, sizeof record);  // the object has its own values
  EXPECT_EQ(numberAt(object, "one").as<unsigned char>(), 1);
  EXPECT_EQ(numberAt(object, "two").as<unsigned short>(), 0x0203);
  EXPECT_EQ(numberAt(object, "four").as<unsigned>(), 0x84050607u);
  EXPECT_EQ(numberAt(object, "eight").as<unsigned long long>(), 1u);
  EXPECT_EQ(numberAt(object, "number").as<int>(), -8);
  EXPECT_EQ(numberAt(object, "real").as<float>(), 2.5f);
}

/// Behind a single byte, to prove that each array is moved to where its type may lie.
TEST(Dictionary, HoldsArraysAlignedAndContiguous) {
  struct Record {
    u8 id;
    u16 shorts[3];
    u8 bytes[5];
    i32 ints[2];
    u64 longs[2];
    f32 floats[1];
  };
  std::array<char, sizeof(Record)> bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i + 0xF0);
  auto record = view<Record>(bytes.data());
  const ReportObject object = dictionary("id"_key = record.id,
                                         "shorts"_key = record.shorts,
                                         "bytes"_key = record.bytes,
                                         "flag"_key = true,
                                         "ints"_key = record.ints,
                                         "name"_key = std::string_view("x"),
                                         "longs"_key = record.longs,
                                         "floats"_key = record.floats,
                                         "last"_key = record.id);
  std::memset(&record, 0, sizeof record);

  const auto check = [&object]<class T>(
                         std::string_view key, T, std::size_t count, std::size_t offset) {
    const auto span = std::get<NumberSpan>(object.at(key));
    EXPECT_EQ(span.kind(), kKindOf<T>);
    ASSERT_EQ(span.size(), count) << key;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(span.data()) % alignof(T), 0u) << key;
    const T* const values = static_cast<const T*>(span.data());
    for (std::size_t i = 0; i < count; ++i) {
      std::uint64_t bits = 0;  // by hand from the report's bytes, the last one first
      for (std::size_t k = sizeof(T); k-- > 0;)
        bits = bits << 8 | ((offset + i * sizeof(T) + k + 0xF0) & 0xFF);
      T expected;
      if constexpr (std::is_floating_point_v<T>)
        expected = std::bit_cast<T>(static_cast<std::uint32_t>(bits));
      else
        expected = static_cast<T>(bits);
      EXPECT_EQ(values[i], expected) << key << i;
      EXPECT_EQ(span[i].template as<T>(), expected) << key << i;
    }
    EXPECT_THROW(span[count], std::out_of_range);
  };
  check("shorts", std::uint16_t{}, 3, 1);
  check("bytes", std::uint8_t{}, 5, 7);
  check("ints", std::int32_t{}, 2, 12);
  check("longs", std::uint64_t{}, 2, 20);
  check("floats", float{}, 1, 36);
  EXPECT_EQ(numberAt(object, "id").as<unsigned char>(), 0xF0);
  EXPECT_EQ(numberAt(object, "last").as<unsigned char>(), 0xF0);
  EXPECT_EQ(numberAt(object, "flag").as<bool>(), true);
  EXPECT_EQ(std::get<std::string_view>(object.at("name")), "x");
}

TEST(Dictionary, CopiesItsStrings) {
  std::string first = "first";
  std::string second(1000, 's');
  const ReportObject object = dictionary("a"_key = std::string_view(first),
                                         "none"_key = std::string_view(),
                                         "number"_key = 7,
                                         "b"_key = std::string_view(second),
                                         "nul"_key = std::string_view("x\0y", 3),
                                         "empty"_key = std::string_view(""));
  first.assign(first.size(), '-');
  second.assign(second.size(), '-');
  EXPECT_EQ(std::get<std::string_view>(object.at("a")), "first");
  EXPECT_EQ(std::get<std::string_view>(object.at("none")), "");
  EXPECT_EQ(std::get<std::string_view>(object.at("b")), std::string(1000, 's'));
  EXPECT_EQ(std::get<std::string_view>(object.at("nul")), std::string_view("x\0y", 3));
  EXPECT_EQ(std::get<std::string_view>(object.at("empty")), "");
  EXPECT_EQ(numberAt(object, "number").as<int>(), 7);
}

TEST(Dictionary, KnowsWhichKeysItHas) {
  const ReportObject object = dictionary("KEY"_key = 1, ""_key = 2, "KEY2"_key = 3);
  EXPECT_TRUE(object.find("KEY").has_value());
  EXPECT_EQ(numberAt(object, ""), Number(2));
  EXPECT_EQ(numberAt(object, "KEY2"), Number(3));
  for (const std::string_view key : {std::string_view("key"),
                                     std::string_view("KE"),
                                     std::string_view("KEY3"),
                                     std::string_view("KEY\0", 4),
                                     std::string_view(" "),
                                     std::string_view("KEY ")}) {
    EXPECT_FALSE(object.find(key).has_value()) << key;
    EXPECT_THROW(object.at(key), std::out_of_range) << key;
  }
  EXPECT_THROW(object.key(3), std::out_of_range);
  EXPECT_THROW(object.value(3), std::out_of_range);
  EXPECT_THROW(object.string(), std::bad_variant_access);
}

TEST(Dictionary, ShowsBothEntriesOfAKeyThatIsThereTwice) {
  const ReportObject object = dictionary("a"_key = 1, "b"_key = 2, "a"_key = 3);
  EXPECT_EQ(keysOf(object), (std::vector<std::string>{"a", "b", "a"}));
  EXPECT_EQ(numberAt(object, "a"), Number(1));  // the first one is found
  EXPECT_EQ(std::get<Number>(object.value(2)), Number(3));
}

/// The keys K000 to K249.
template <std::size_t number>
consteval format::Literal<5> numberedKey() {
  const char key[5] = {'K',
                       static_cast<char>('0' + number / 100),
                       static_cast<char>('0' + number / 10 % 10),
                       static_cast<char>('0' + number % 10),
                       '\0'};
  return format::Literal<5>(key);
}

template <std::size_t... number>
ReportObject numbered(std::index_sequence<number...>) {
  return dictionary((Key<numberedKey<number>()>() = static_cast<unsigned>(number * 3))...);
}

TEST(Dictionary, FindsEachOfManyKeys) {
  const ReportObject object = numbered(std::make_index_sequence<250>());
  ASSERT_EQ(object.size(), 250u);
  for (unsigned i = 0; i < 1000; ++i) {
    const std::string digits = std::to_string(i);
    const std::string key = "K" + std::string(3 - digits.size(), '0') + digits;
    if (i >= 250) {
      EXPECT_FALSE(object.find(key).has_value()) << key;
      continue;
    }
    EXPECT_EQ(object.key(i), key);
    EXPECT_EQ(numberAt(object, key).as<unsigned>(), i * 3);
    EXPECT_EQ(std::get<Number>(object.value(i)).as<unsigned>(), i * 3);
  }
}

// ------------------------------------------------------------------------------------ bare strings

TEST(BareString, HoldsItsText) {
  std::string text = "STANDBY";
  const ReportObject object{std::string_view(text)};
  text.assign(text.size(), '-');
  EXPECT_TRUE(object.isString());
  EXPECT_EQ(object.string(), "STANDBY");
  EXPECT_EQ(object.size(), 0u);
  EXPECT_FALSE(object.find("STANDBY").has_value());
  EXPECT_FALSE(object.find("").has_value());
  EXPECT_THROW(object.at(""), std::out_of_range);
  EXPECT_THROW(object.key(0), std::out_of_range);
  EXPECT_THROW(object.value(0), std::out_of_range);
}

TEST(BareString, MayBeEmpty) {
  for (const std::string_view text : {std::string_view(), std::string_view("")}) {
    const ReportObject object{text};
    EXPECT_TRUE(object.isString());
    EXPECT_EQ(object.string(), "");
    const ReportObject copy = object;
    EXPECT_EQ(copy.string(), "");
  }
}

TEST(BareString, KeepsNulCharacters) {
  EXPECT_EQ(ReportObject(std::string_view("a\0b", 3)).string(), std::string_view("a\0b", 3));
}

// ----------------------------------------------------------------------------------- copy and move

ReportObject plain(std::uint32_t number, std::string_view text) {
  const u32 words[3] = {u32::of(number), u32::of(number + 1), u32::of(number + 2)};
  return dictionary("number"_key = number, "words"_key = words, "text"_key = text);
}

void expectPlain(const ReportObject& object, std::uint32_t number, std::string_view text) {
  ASSERT_EQ(keysOf(object), (std::vector<std::string>{"number", "words", "text"}));
  EXPECT_EQ(numberAt(object, "number").as<unsigned>(), number);
  const auto words = std::get<NumberSpan>(object.at("words"));
  for (std::uint32_t i = 0; i < 3; ++i) EXPECT_EQ(words[i].as<unsigned>(), number + i);
  EXPECT_EQ(std::get<std::string_view>(object.at("text")), text);
}

TEST(ReportObject, CopiesAreIndependent) {
  auto original = std::make_unique<ReportObject>(plain(7, "seven"));
  ReportObject copy = *original;
  EXPECT_NE(std::get<NumberSpan>(copy.at("words")).data(),
            std::get<NumberSpan>(original->at("words")).data());
  *original = plain(8, "eight");
  expectPlain(copy, 7, "seven");
  expectPlain(*original, 8, "eight");
  copy = *original;
  original.reset();
  expectPlain(copy, 8, "eight");
}

TEST(ReportObject, MovesWithoutCopying) {
  ReportObject original = plain(7, "seven");
  const void* const words = std::get<NumberSpan>(original.at("words")).data();
  ReportObject moved = std::move(original);
  EXPECT_EQ(std::get<NumberSpan>(moved.at("words")).data(), words);
  expectPlain(moved, 7, "seven");
  original = plain(9, "nine");  // a moved-from object can be assigned to
  expectPlain(original, 9, "nine");
  original = std::move(moved);
  expectPlain(original, 7, "seven");
}

TEST(ReportObject, SurvivesAssignmentToItself) {
  ReportObject object = plain(7, "seven");
  const ReportObject& same = object;
  object = same;
  expectPlain(object, 7, "seven");
}

TEST(ReportObject, ChangesBetweenStringAndDictionary) {
  ReportObject object{std::string_view("text")};
  object = plain(1, "one");
  expectPlain(object, 1, "one");
  object = ReportObject(std::string_view("text"));
  EXPECT_TRUE(object.isString());
  EXPECT_EQ(object.string(), "text");
}

/// A shape that is made while the program runs lives as long as the objects made by it.
TEST(ReportObject, KeepsTheOwnerOfItsShape) {
  struct Owner {
    std::string key = "a key that is longer than a string holds in place";
    std::array<Shape::Field, 1> fields;
    std::array<std::uint16_t, slotsFor(1)> slots{};
    Shape shape;
  };
  auto owner = std::make_shared<Owner>();
  owner->fields[0] = {owner->key, Shape::Category::Number, Kind::UnsignedShort, 1, 0};
  enterKeys(owner->fields, owner->slots);
  owner->shape = {owner->fields, owner->slots};
  const std::weak_ptr<const Owner> watched = owner;

  auto object = std::make_unique<ReportObject>(&owner->shape, 2, owner);
  object->block()[0] = 0x34;
  object->block()[1] = 0x12;
  owner.reset();
  auto copy = std::make_unique<ReportObject>(*object);
  object.reset();
  ASSERT_FALSE(watched.expired());
  EXPECT_EQ(
      numberAt(*copy, "a key that is longer than a string holds in place").as<unsigned short>(),
      0x1234);
  copy.reset();
  EXPECT_TRUE(watched.expired());
}

// ------------------------------------------------------------------------------------------- shape

TEST(Shape, LeavesAFreeSlotInEveryTable) {
  for (std::size_t keys = 0; keys < 1000; ++keys) {
    const std::size_t slots = slotsFor(keys);
    EXPECT_GT(slots, keys);  // else the search for a missing key has no end
    EXPECT_EQ(slots & (slots - 1), 0u);
  }
}

TEST(Shape, HashIsFnv1a) {
  EXPECT_EQ(Shape::hash(""), 0x811C9DC5u);
  EXPECT_EQ(Shape::hash("a"), 0xE40C292Cu);
  EXPECT_EQ(Shape::hash("foobar"), 0xBF9CF968u);
}

}  // namespace
}  // namespace vesk
