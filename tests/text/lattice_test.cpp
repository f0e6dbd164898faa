// Formats that are template arguments, against the C library: a lattice of flags, widths, precisions and
// conversions that is made while this file is compiled.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/text/compiled.h"
#include "tests/text/values.h"
#include "text/format.h"

namespace vesk::test {
namespace {

using format::Literal;

constexpr std::string_view kFlags[] = {"", "-", "0", "+", " ", "#", "-+", "+0", " 0", "#0", "-#"};
constexpr std::string_view kWidths[] = {"", "1", "8", "14", "16", "17", "23"};
constexpr std::string_view kPrecisions[] = {"", ".0", ".3", ".6", ".9"};
constexpr std::size_t kPoints = std::size(kFlags) * std::size(kWidths) * std::size(kPrecisions);

/// The characters of a point of the lattice; none where C leaves the flags undefined.
struct Spelling {
  char characters[16]{};
  std::size_t size = 0;

  constexpr void append(std::string_view text) {
    for (const char c : text) characters[size++] = c;
  }
};

consteval Spelling spell(std::string_view conversion, std::size_t point) {
  const std::string_view flags = kFlags[point % std::size(kFlags)];
  const std::string_view width = kWidths[point / std::size(kFlags) % std::size(kWidths)];
  const std::string_view precision = kPrecisions[point / std::size(kFlags) / std::size(kWidths)];
  const char letter = conversion.back();
  const bool hexOrFixed = letter == 'x' || letter == 'X' || letter == 'f';
  Spelling spelling;
  if (!hexOrFixed && flags.find('#') != flags.npos) return spelling;
  if (letter == 's' && flags.find('0') != flags.npos) return spelling;
  spelling.append("%");
  spelling.append(flags);
  spelling.append(width);
  spelling.append(precision);
  spelling.append(conversion);
  return spelling;
}

template <std::size_t size>
consteval Literal<size + 1> literal(const Spelling& spelling) {
  char characters[size + 1]{};
  for (std::size_t i = 0; i < size; ++i) characters[i] = spelling.characters[i];
  return Literal<size + 1>(characters);
}

template <Literal conversion, std::size_t point, class T>
void checkPoint(std::span<const T> values) {
  constexpr Spelling spelling = spell(conversion.view(), point);
  if constexpr (spelling.size != 0) {
    static constexpr auto text = literal<spelling.size>(spelling);
    for (const T& value : values) check<text>(value);
  }
}

/// How many points of it are checked with each type: every one is a function to compile, which takes
/// a compiler minutes for all, and sanitizers make it many times as long.
#if defined(VESK_WHOLE_LATTICE)
constexpr std::size_t kChecked = 60;
#else
constexpr std::size_t kChecked = 8;
#endif

/// The checked points, spread so far apart that each side of the lattice is met at all its places:
/// the step has no factor in common with any of them.
template <Literal conversion, class T, std::size_t... index>
void checkPoints(const std::vector<T>& values, std::index_sequence<index...>) {
  constexpr std::size_t step = 163;
  (checkPoint<conversion, index * step % kPoints, T>(values), ...);
}

template <Literal conversion, class T>
void checkLattice(const std::vector<T>& values) {
  checkPoints<conversion, T>(values, std::make_index_sequence<kChecked>{});
}

TEST(CompiledLattice, Int) { checkLattice<"d">(boundaryIntegers<std::int32_t>()); }
TEST(CompiledLattice, UnsignedInt) { checkLattice<"u">(boundaryIntegers<std::uint32_t>()); }
TEST(CompiledLattice, UnsignedShort) { checkLattice<"X">(boundaryIntegers<std::uint16_t>()); }
TEST(CompiledLattice, UnsignedChar) { checkLattice<"x">(boundaryIntegers<std::uint8_t>()); }
TEST(CompiledLattice, SignedChar) { checkLattice<"i">(boundaryIntegers<std::int8_t>()); }
TEST(CompiledLattice, LongLong) { checkLattice<"lld">(boundaryIntegers<std::int64_t>()); }
TEST(CompiledLattice, UnsignedLongLong) { checkLattice<"llX">(boundaryIntegers<std::uint64_t>()); }
TEST(CompiledLattice, Float) { checkLattice<"f">(boundaryFloats<float>()); }
TEST(CompiledLattice, Double) { checkLattice<"f">(boundaryFloats<double>()); }
TEST(CompiledLattice, String) { checkLattice<"s">(kStrings); }

}  // namespace
}  // namespace vesk::test
