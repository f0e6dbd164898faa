#include "model/Number.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <stdexcept>
#include <tuple>
#include <typeinfo>
#include <utility>
#include <vector>

#include "model/wire.h"

namespace vesk {
namespace {

using Types = std::tuple<bool, unsigned char, unsigned short, unsigned int, int, long long,
                         unsigned long long, float, double>;

constexpr Kind kKinds[] = {Kind::Bool,
                           Kind::UnsignedChar,
                           Kind::UnsignedShort,
                           Kind::UnsignedInt,
                           Kind::Int,
                           Kind::LongLong,
                           Kind::UnsignedLongLong,
                           Kind::Float,
                           Kind::Double};

/// Calls `check` with a value of each of the nine types and the kind that it is to have.
template <class Check>
void forEachType(const Check& check) {
  std::apply(
      [&check](auto... zero) {
        std::size_t i = 0;
        (check(zero, kKinds[i++]), ...);
      },
      Types());
}

template <class T>
constexpr bool throwsAs(const Number& number) {
  try {
    (void)number.as<T>();
    return false;
  } catch (const std::bad_cast&) {
    return true;
  }
}

// ------------------------------------------------------------------------------------------- kinds

/// The numbers of the kinds cross the C interface.
TEST(Number, KindsAreNumberedInTheirOrder) {
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(static_cast<std::size_t>(kKinds[i]), i);
}

TEST(Number, KindIsTheTypeItWasMadeFrom) {
  forEachType([](auto zero, Kind kind) {
    EXPECT_EQ(Number(zero).kind(), kind);
    EXPECT_EQ(kKindOf<decltype(zero)>, kind);
    EXPECT_EQ(sizeOf(kind), sizeof zero);
    EXPECT_EQ(Number(zero).isReal(), std::is_floating_point_v<decltype(zero)>);
    EXPECT_EQ(Number(zero).isSigned(),
              std::is_integral_v<decltype(zero)> && std::is_signed_v<decltype(zero)>);
  });
}

TEST(Number, KindOfFixedWidthTypes) {
  EXPECT_EQ(Number(std::uint8_t{1}).kind(), Kind::UnsignedChar);
  EXPECT_EQ(Number(std::uint16_t{1}).kind(), Kind::UnsignedShort);
  EXPECT_EQ(Number(std::uint32_t{1}).kind(), Kind::UnsignedInt);
  EXPECT_EQ(Number(std::int32_t{1}).kind(), Kind::Int);
  EXPECT_EQ(Number(std::uint64_t{1}).kind(), Kind::UnsignedLongLong);  // long or long long
  EXPECT_EQ(Number(std::int64_t{1}).kind(), Kind::LongLong);
#if __SIZEOF_LONG__ == 8  // a shorter one has no kind
  EXPECT_EQ(Number(1L).kind(), Kind::LongLong);
  EXPECT_EQ(Number(1UL).kind(), Kind::UnsignedLongLong);
#endif
}

// ------------------------------------------------------------------------------------------ values

TEST(Number, GivesItsValueBack) {
  forEachType([]<class T>(T, Kind) {
    using Limits = std::numeric_limits<T>;
    for (const T value : {T{0}, T{1}, Limits::min(), Limits::max(), Limits::lowest()})
      EXPECT_EQ(Number(value).template as<T>(), value);
  });
  EXPECT_EQ(Number(-1).as<int>(), -1);
  EXPECT_EQ(Number(-1LL).as<long long>(), -1);
  EXPECT_EQ(Number(0.1f).as<float>(), 0.1f);
  EXPECT_EQ(Number(0.1).as<double>(), 0.1);
  EXPECT_EQ(Number(std::numeric_limits<float>::denorm_min()).as<float>(),
            std::numeric_limits<float>::denorm_min());
}

TEST(Number, WidensWholeNumbersWithTheirSign) {
  EXPECT_EQ(Number(-1).bits(), 0xFFFFFFFFFFFFFFFF);
  EXPECT_EQ(Number(0xFFFFFFFFu).bits(), 0xFFFFFFFF);
  EXPECT_EQ(Number(std::uint8_t{0xFF}).bits(), 0xFFu);
  EXPECT_EQ(Number(true).bits(), 1u);
  EXPECT_EQ(Number(1.5f).real(), 1.5);
  EXPECT_EQ(Number(-2.5).real(), -2.5);
}

TEST(Number, ThrowsForAnotherTypeThanItsKinds) {
  forEachType([](auto made, Kind kind) {
    const Number number(made);
    forEachType([&](auto asked, Kind other) {
      EXPECT_EQ(throwsAs<decltype(asked)>(number), kind != other);
    });
  });
}

TEST(Number, IsReadFromMemoryAtAnyAddress) {
  unsigned char memory[1 + sizeof(long long)] = {};
  forEachType([&memory]<class T>(T, Kind kind) {
    for (const T value : {T{0}, T{1}, std::numeric_limits<T>::max()}) {
      std::memcpy(memory + 1, &value, sizeof value);
      const Number number = Number::read(kind, memory + 1);
      EXPECT_EQ(number.kind(), kind);
      EXPECT_EQ(number.template as<T>(), value);
    }
  });
}

TEST(Number, IsReadFromTheWire) {
  const unsigned char bytes[] = {0xFF, 0x01, 0x02, 0x03, 0x84, 0x05, 0x06, 0x07, 0x88};
  const void* const at = bytes + 1;  // on an odd address
  EXPECT_EQ(Number::readWire(Kind::Bool, at).as<bool>(), true);
  EXPECT_EQ(Number::readWire(Kind::UnsignedChar, at).as<unsigned char>(), 0x01);
  EXPECT_EQ(Number::readWire(Kind::UnsignedShort, at).as<unsigned short>(), 0x0201);
  EXPECT_EQ(Number::readWire(Kind::UnsignedInt, at).as<unsigned>(), 0x84030201u);
  EXPECT_EQ(Number::readWire(Kind::Int, at).as<int>(), static_cast<int>(0x84030201u));
  EXPECT_EQ(Number::readWire(Kind::LongLong, at).as<long long>(),
            static_cast<long long>(0x8807060584030201u));
  EXPECT_EQ(Number::readWire(Kind::UnsignedLongLong, at).as<unsigned long long>(),
            0x8807060584030201u);
  const unsigned char one[] = {0, 0, 0x80, 0x3F};
  EXPECT_EQ(Number::readWire(Kind::Float, one).as<float>(), 1.0f);
  const unsigned char minusTwo[] = {0, 0, 0, 0, 0, 0, 0, 0xC0};
  EXPECT_EQ(Number::readWire(Kind::Double, minusTwo).as<double>(), -2.0);
}

TEST(Number, RefusesAKindThatIsNone) {
  const unsigned char bytes[8] = {};
  EXPECT_THROW(Number::read(static_cast<Kind>(9), bytes), std::invalid_argument);
  EXPECT_THROW(Number::readWire(static_cast<Kind>(255), bytes), std::invalid_argument);
}

// ---------------------------------------------------------------------------------------- equality

TEST(NumberEquality, DoesNotLookAtTheKind) {
  const Number zeros[] = {false,
                          static_cast<unsigned char>(0),
                          static_cast<unsigned short>(0),
                          0u,
                          0,
                          0LL,
                          0ULL,
                          0.0f,
                          0.0};
  const Number ones[] = {true,
                         static_cast<unsigned char>(1),
                         static_cast<unsigned short>(1),
                         1u,
                         1,
                         1LL,
                         1ULL,
                         1.0f,
                         1.0};
  for (const Number& a : ones) {
    for (const Number& b : ones) EXPECT_TRUE(a == b);
    for (const Number& b : zeros) EXPECT_TRUE(a != b && b != a);
    EXPECT_FALSE(a == Number(2) || Number(2.0) == a || a == Number(-1));
  }
  for (const Number& a : zeros)
    for (const Number& b : zeros) EXPECT_TRUE(a == b);
}

static_assert(Number(1) == Number(true) && Number(1) == Number(1.0));
static_assert(Number(2) != Number(true));

/// Each must differ from each, in both directions.
TEST(NumberEquality, TellsNearValuesApart) {
  const std::vector<Number> different = {Number(0),
                                         Number(1),
                                         Number(-1),
                                         Number(2),
                                         Number(0.5),
                                         Number(-0.5f),
                                         Number(255),
                                         Number(256.0f),
                                         Number(65535u),
                                         Number(0xFFFFFFFFu),
                                         Number(0x100000000LL),
                                         Number(std::numeric_limits<int>::min()),
                                         Number(0x80000000u),
                                         Number(std::numeric_limits<long long>::min()),
                                         Number(std::numeric_limits<long long>::max()),
                                         Number(0x8000000000000000u),
                                         Number(0xFFFFFFFFFFFFFFFFu),
                                         Number(0x1p64),
                                         Number(-0x1p64),
                                         Number(9007199254740992LL),
                                         Number(9007199254740993LL),
                                         Number(0.1),
                                         Number(0.1f),
                                         Number(1e300),
                                         Number(std::numeric_limits<double>::infinity()),
                                         Number(-std::numeric_limits<float>::infinity()),
                                         Number(std::numeric_limits<float>::quiet_NaN()),
                                         Number(std::numeric_limits<double>::denorm_min())};
  for (std::size_t i = 0; i < different.size(); ++i)
    for (std::size_t j = 0; j < different.size(); ++j)
      EXPECT_EQ(different[i] == different[j], i == j) << i << ", " << j;
}

TEST(NumberEquality, ComparesTheSignAcrossKinds) {
  EXPECT_FALSE(Number(-1) == Number(~0ULL));
  EXPECT_FALSE(Number(~0ULL) == Number(-1LL));
  EXPECT_FALSE(Number(-1) == Number(0xFFFFFFFFu));
  EXPECT_TRUE(Number(-1) == Number(-1LL));
  EXPECT_TRUE(Number(-1) == Number(-1.0f));
  EXPECT_FALSE(Number(~0ULL) == Number(-1.0));
  EXPECT_TRUE(Number(0x7FFFFFFF) == Number(0x7FFFFFFFULL));
}

TEST(NumberEquality, ComparesWholeAndRealNumbersExactly) {
  // A double has no 2^53 + 1: rounded to one, it would seem equal.
  EXPECT_FALSE(Number(9007199254740993LL) == Number(9007199254740992.0));
  EXPECT_FALSE(Number(9007199254740992.0) == Number(9007199254740993ULL));
  EXPECT_TRUE(Number(9007199254740992ULL) == Number(9007199254740992.0));
  EXPECT_FALSE(Number(~0ULL) == Number(0x1p64));
  EXPECT_FALSE(Number(std::numeric_limits<long long>::max()) == Number(0x1p63));
  EXPECT_TRUE(Number(std::numeric_limits<long long>::min()) == Number(-0x1p63));
  EXPECT_TRUE(Number(0x8000000000000000ULL) == Number(0x1p63f));
  EXPECT_FALSE(Number(16777217) == Number(16777216.0f));
  EXPECT_FALSE(Number(1) == Number(1.5));
  EXPECT_FALSE(Number(0.1f) == Number(0.1));
  EXPECT_TRUE(Number(0.5f) == Number(0.5));
  EXPECT_FALSE(Number(0) == Number(std::numeric_limits<double>::infinity()));
}

TEST(NumberEquality, NanEqualsEveryNan) {
  const Number quiet = std::numeric_limits<double>::quiet_NaN();
  const Number negative = std::bit_cast<float>(0xFFC00001u);
  EXPECT_TRUE(quiet == quiet);
  EXPECT_TRUE(quiet == negative && negative == quiet);
  for (const Number& other : {Number(0), Number(~0ULL), Number(0.0), Number(1.0f), Number(true)})
    EXPECT_FALSE(quiet == other || other == quiet);
}

TEST(NumberEquality, ZeroHasNoSign) {
  EXPECT_TRUE(Number(-0.0) == Number(0.0));
  EXPECT_TRUE(Number(-0.0f) == Number(0.0));
  EXPECT_TRUE(Number(-0.0) == Number(0) && Number(0u) == Number(-0.0));
}

// ------------------------------------------------------------------------------------------ arrays

TEST(NumberSpan, ViewsValuesOfEachKind) {
  forEachType([]<class T>(T, Kind kind) {
    const T values[3] = {T{0}, T{1}, std::numeric_limits<T>::max()};
    const NumberSpan span(kind, values, 3);
    EXPECT_EQ(span.kind(), kind);
    EXPECT_EQ(span.data(), values);
    ASSERT_EQ(span.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(span[i].template as<T>(), values[i]);
    EXPECT_THROW(span[3], std::out_of_range);
    EXPECT_THROW(span[std::numeric_limits<std::size_t>::max()], std::out_of_range);
  });
}

TEST(NumberSpan, MayBeEmpty) {
  const NumberSpan span(Kind::Int, nullptr, 0);
  EXPECT_EQ(span.size(), 0u);
  EXPECT_THROW(span[0], std::out_of_range);
}

TEST(NumberArray, CopiesWireFieldsIntoAlignedValues) {
  struct Record {
    u8 id;
    u32 words[3];
    i32 numbers[2];
    f32 reals[1];
  };
  auto record = std::bit_cast<Record>(std::array<unsigned char, 25>{
      9,    1,    2,    3,    4, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0x80,  //
      0xFE, 0xFF, 0xFF, 0xFF, 5, 0,    0,    0,                          //
      0,    0,    0x20, 0xC1});
  const NumberArray words(record.words, 3);
  const NumberArray numbers(record.numbers, 2);
  const NumberArray reals(record.reals, 1);
  std::memset(&record, 0, sizeof record);  // the arrays own their values

  EXPECT_EQ(words.kind(), Kind::UnsignedInt);
  ASSERT_EQ(words.size(), 3u);
  EXPECT_EQ(words[0].as<unsigned>(), 0x04030201u);
  EXPECT_EQ(words[1].as<unsigned>(), 0xFFFFFFFFu);
  EXPECT_EQ(words[2].as<unsigned>(), 0x80000000u);
  EXPECT_THROW(words[3], std::out_of_range);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(words.span().data()) % alignof(std::uint32_t), 0u);
  EXPECT_EQ(static_cast<const std::uint32_t*>(words.span().data())[1], 0xFFFFFFFFu);

  EXPECT_EQ(numbers.kind(), Kind::Int);
  EXPECT_EQ(numbers[0].as<int>(), -2);
  EXPECT_EQ(numbers[1].as<int>(), 5);
  EXPECT_EQ(reals.kind(), Kind::Float);
  EXPECT_EQ(reals[0].as<float>(), -10.0f);
}

TEST(NumberArray, MayBeEmptyAndIsCopiedWhole) {
  const NumberArray empty(static_cast<const u32*>(nullptr), 0);
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_THROW(empty[0], std::out_of_range);

  const u32 field[1] = {u32::of(7)};
  const NumberArray one(field, 1);
  NumberArray copy = one;
  EXPECT_NE(copy.span().data(), one.span().data());
  EXPECT_EQ(copy[0], one[0]);
  copy = empty;
  EXPECT_EQ(copy.size(), 0u);
  EXPECT_EQ(one[0].as<unsigned>(), 7u);
}

}  // namespace
}  // namespace vesk
