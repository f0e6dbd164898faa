// Formats that are left to the C library: what a conversion gets for an argument, against snprintf
// with an argument of the very type, and in which locale it is made.

#include "text/library_format.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tests/text/comma_locale.h"
#include "tests/text/reference.h"
#include "tests/text/values.h"

namespace vesk::test {
namespace {

using format::LibraryFormat;

template <class T>
std::string written(std::string_view text, T value) {
  std::string out;
  LibraryFormat(text).append(out, value);
  return out;
}

/// Checks one format with one value; `reference` is the value as snprintf takes it.
template <class T, class Reference>
void check(const std::string& text, T value, Reference reference) {
  static Printed printed;
  EXPECT_EQ(written(text, value), printed(text.c_str(), reference)) << text << ' ' << value;
}

// --------------------------------------------------------------------------------------- integers

/// With which flags a conversion has a meaning.
std::vector<std::string> flagsOf(char letter) {
  if (letter == 'd' || letter == 'i') return {"", "-", "+", " ", "0", "+0", "- ", "-0"};
  if (letter == 'u') return {"", "-", "0", "-0"};
  return {"", "-", "#", "0", "#0", "-#"};
}

/// Every conversion of integers with one length modifier, which names Signed.
template <class Signed>
void checkModifier(const std::string& modifier) {
  using Unsigned = std::make_unsigned_t<Signed>;
  for (const char letter : {'d', 'i', 'u', 'o', 'x', 'X'})
    for (const std::string& flags : flagsOf(letter))
      for (const std::string size : {"", "1", "9", "24", ".0", ".5", "12.7", "70"}) {
        const std::string text = "<%" + flags + size + modifier + letter + "> ";
        const auto checkBoth = [&](auto value) {
          if (letter == 'd' || letter == 'i')
            check(text, value, static_cast<Signed>(value));
          else
            check(text, value, static_cast<Unsigned>(value));
        };
        for (const std::int32_t value : boundaryIntegers<std::int32_t>()) checkBoth(value);
        for (const std::uint32_t value : boundaryIntegers<std::uint32_t>()) checkBoth(value);
        if (failedOftenEnough()) return;
      }
}

TEST(LibraryFormat, PrintsIntegersAsTheTypeThatTheModifierNames) {
  checkModifier<int>("");
  checkModifier<signed char>("hh");
  checkModifier<short>("h");
  checkModifier<long>("l");
  checkModifier<long long>("ll");
  checkModifier<std::intmax_t>("j");
  checkModifier<std::make_signed_t<std::size_t>>("z");
  checkModifier<std::ptrdiff_t>("t");
}

TEST(LibraryFormat, ConvertsTheValue) {
  constexpr std::uint32_t kOnes = 0xFFFFFFFF;
  EXPECT_EQ(written("%o", kOnes), "37777777777");
  EXPECT_EQ(written("%o", -1), "37777777777");
  EXPECT_EQ(written("%#o", std::uint32_t{8}), "010");
  EXPECT_EQ(written("%hhx", std::uint32_t{0x1FF}), "ff");
  EXPECT_EQ(written("%hhd", std::uint32_t{0x1FF}), "-1");
  EXPECT_EQ(written("%hhu", -1), "255");
  EXPECT_EQ(written("%hd", std::uint32_t{0x18000}), "-32768");
  EXPECT_EQ(written("%d", kOnes), "-1");
  // Of 64 bits: the value, not the 32 bits with whatever stands above them.
  EXPECT_EQ(written("%ld", kOnes), "4294967295");
  EXPECT_EQ(written("%ld", -1), "-1");
  EXPECT_EQ(written("%lu", kOnes), "4294967295");
  EXPECT_EQ(written("%lu", -1), "18446744073709551615");
  EXPECT_EQ(written("%llX", INT32_MIN), "FFFFFFFF80000000");
}

TEST(LibraryFormat, PrintsCharacters) {
  EXPECT_EQ(written("%c", std::uint32_t{'A'}), "A");
  EXPECT_EQ(written("%c", std::uint32_t{0x12345641}), "A");
  EXPECT_EQ(written("%3c|", std::int32_t{'z'}), "  z|");
  EXPECT_EQ(written("%-3c|", std::int32_t{'z'}), "z  |");
  EXPECT_EQ(written("%c", -1), "\xFF");
  EXPECT_EQ(written("<%2c>", std::uint32_t{0}), std::string("< \0>", 4));
}

// ----------------------------------------------------------------------------------------- floats

TEST(LibraryFormat, PrintsFloats) {
  for (const char letter : {'f', 'F', 'e', 'E', 'g', 'G', 'a', 'A'})
    for (const std::string flags : {"", "-", "+", " ", "#", "0", "+#0", "- "})
      for (const std::string size : {"", "9", ".0", ".1", ".6", "20.3", "80", ".40"})
        for (const float value : boundaryFloats<float>()) {
          const std::string sized = "<%" + flags + size;
          check(sized + letter + "> ", value, static_cast<double>(value));
          check(sized + 'l' + letter + "> ", value, static_cast<double>(value));
          check(sized + 'L' + letter + "> ", value, static_cast<long double>(value));
          if (failedOftenEnough()) return;
        }
  EXPECT_EQ(written("%e", 1.5f), "1.500000e+00");
  EXPECT_EQ(written("%g", 0.0001f), "0.0001");
  EXPECT_EQ(written("%G", 1e-10f), "1E-10");
  EXPECT_EQ(written("%a", 1.5f), "0x1.8p+0");
  EXPECT_EQ(written("%A", -0.0f), "-0X0P+0");
  EXPECT_EQ(written("%F", INFINITY), "INF");
  EXPECT_EQ(written("%5E|", -NAN), " -NAN|");
}

// ------------------------------------------------------------------------------- the format's text

TEST(LibraryFormat, PercentSignsStandBesideTheConversion) {
  EXPECT_EQ(written("%%%d", 5), "%5");
  EXPECT_EQ(written("%d%%", 5), "5%");
  EXPECT_EQ(written("a%%b%%%dc%%%%d", 5), "a%b%5c%%d");
  EXPECT_EQ(written("%%d%o", 8), "%d10");
  EXPECT_EQ(written("%g %% ", 0.5f), "0.5 % ");
}

TEST(LibraryFormat, WidthsAndPrecisionsOfAnySize) {
  EXPECT_EQ(written("%1000d", 7), std::string(999, ' ') + '7');
  EXPECT_EQ(written("%-1000d|", 7), '7' + std::string(999, ' ') + '|');
  EXPECT_EQ(written("%.1000d", 7), std::string(999, '0') + '7');
  EXPECT_EQ(written("%.1000f", 0.5f), "0.5" + std::string(999, '0'));
  EXPECT_EQ(written("%0100000x", 15), std::string(99999, '0') + 'f');
  // At the size of the room that is tried first.
  for (std::size_t size = 60; size < 70; ++size)
    EXPECT_EQ(written('%' + std::to_string(size) + 'o', 7), std::string(size - 1, ' ') + '7');
}

TEST(LibraryFormat, AppendsToWhatIsThere) {
  const LibraryFormat format("%1002o;");
  std::string line = "before ";
  format.append(line, std::uint32_t{8});
  format.append(line, std::uint32_t{9});
  EXPECT_EQ(line, "before " + std::string(1000, ' ') + "10;" + std::string(1000, ' ') + "11;");
}

TEST(LibraryFormat, LeavesOutWhatHasNoMeaning) {
  EXPECT_EQ(written("%#d", 5), "5");
  EXPECT_EQ(written("%#5u", std::uint32_t{5}), "    5");
  EXPECT_EQ(written("%'d", 1234567), "1234567");
  EXPECT_EQ(written("%'.1f", 1234567.0f), "1234567.0");
  EXPECT_EQ(written("%+ #03.9c|", 'x'), "  x|");
  EXPECT_EQ(written("%--++005d", 5), "+5   ");
}

TEST(LibraryFormat, RejectsWhatItDoesNotUnderstand) {
  for (const char* const text : {
           "",
           "no conversion",
           "%",
           "a %",
           "%5",
           "%.",
           "%.3",
           "%l",
           "%hh",
           "%%",
           "%%%",
           "%%%%d",
           "%s",
           "%ls",
           "%S",
           "%n",
           "%hhn",
           "%p",
           "%m",
           "%C",
           "%lc",
           "%hc",
           "%llc",
           "%b",
           "%@",
           "%D",
           "%U",
           "%O",
           "%*d",
           "%.*f",
           "%-*d",
           "%1$d",
           "%1$*2$d",
           "%5%",
           "%-%",
           "%Id",
           "%qd",
           "%Ld",
           "%hf",
           "%hhf",
           "%llf",
           "%jf",
           "%zf",
           "%tf",
           "%lll",
           "%llld",
           "%hhhd",
           "%hld",
           "%d%d",
           "%d %",
           "%d%%%",
           "%d%s",
           "%o %n",
           "%d%1$d",
           "%.-1f",
           "%5-d",
           "%.3.3f",
           "%2147483648d",
           "%.2147483648d",
           "%4294967296d",
           "%18446744073709551617d",
           "%w",
           "% ",
           "%_d",
       })
    EXPECT_THROW(LibraryFormat{text}, std::invalid_argument) << text;
  EXPECT_THROW(LibraryFormat{std::string_view("%\0d", 3)}, std::invalid_argument);
  EXPECT_THROW(LibraryFormat{std::string_view("%d%\0", 4)}, std::invalid_argument);
}

TEST(LibraryFormat, KnowsWhichTypesAConversionTakes) {
  for (const char* const text : {"%d", "%i", "%u", "%o", "%x", "%X", "%c", "%lld", "%hhx"}) {
    const LibraryFormat format(text);
    EXPECT_TRUE(format.takes<std::int32_t>() && format.takes<std::uint32_t>()) << text;
    EXPECT_FALSE(format.takes<float>()) << text;
  }
  for (const char* const text : {"%f", "%F", "%e", "%E", "%g", "%G", "%a", "%A", "%Lf", "%lg"}) {
    const LibraryFormat format(text);
    EXPECT_TRUE(format.takes<float>()) << text;
    EXPECT_FALSE(format.takes<std::int32_t>() || format.takes<std::uint32_t>()) << text;
  }
}

TEST(LibraryFormat, MoreThanTheCLibraryMakesThrows) {
  if (!exhaustive()) GTEST_SKIP() << "takes seconds: the C library makes 2 GiB of it first";
  const LibraryFormat format("%+.2147483647d");
  std::string out = "as it was";
  EXPECT_THROW(format.append(out, 5), std::length_error);
  EXPECT_EQ(out, "as it was");
}

// ----------------------------------------------------------------------------------------- locale

TEST(LibraryFormat, LeavesTheLocaleOfTheThread) {
  const locale_t before = uselocale(LC_GLOBAL_LOCALE);
  EXPECT_EQ(written("%g", 1.5f), "1.5");
  EXPECT_EQ(uselocale(locale_t{}), LC_GLOBAL_LOCALE);
  const locale_t own = duplocale(LC_GLOBAL_LOCALE);
  uselocale(own);
  EXPECT_EQ(written("%o", 8), "10");
  EXPECT_EQ(uselocale(locale_t{}), own);
  uselocale(before);
  freelocale(own);
}

void expectPoints() {
  EXPECT_EQ(written("%.2f%%", 1.5f), "1.50%");
  EXPECT_EQ(written("%e", 1.5f), "1.500000e+00");
  EXPECT_EQ(written("%a", 1.5f), "0x1.8p+0");
  EXPECT_EQ(written("%70g", 0.5f), std::string(67, ' ') + "0.5");  // more than fits at first
}

TEST(LibraryFormat, DoesNotFollowTheLocaleOfTheProcess) {
  const CommaLocale locale;
  if (!locale.found) GTEST_SKIP() << "this machine has no locale with a decimal comma";
  Printed printed;
  ASSERT_EQ(printed("%g", 1.5), "1,5");  // so it is in force
  expectPoints();
  EXPECT_EQ(printed("%g", 1.5), "1,5");  // and still is
}

TEST(LibraryFormat, DoesNotFollowTheLocaleOfTheThread) {
  const CommaLocale locale;
  if (!locale.found) GTEST_SKIP() << "this machine has no locale with a decimal comma";
  const locale_t comma = duplocale(LC_GLOBAL_LOCALE);
  std::setlocale(LC_NUMERIC, "C");
  const locale_t before = uselocale(comma);
  Printed printed;
  EXPECT_EQ(printed("%g", 1.5), "1,5");
  expectPoints();
  EXPECT_EQ(printed("%g", 1.5), "1,5");
  EXPECT_EQ(uselocale(locale_t{}), comma);
  uselocale(before);
  freelocale(comma);
}

}  // namespace
}  // namespace vesk::test
