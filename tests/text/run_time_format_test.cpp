// Formats that are parsed at run time, against the C library: every combination of flags, width,
// precision and conversion that is allowed, over the values at which such code goes wrong.

#include "text/run_time_format.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tests/text/comma_locale.h"
#include "tests/text/reference.h"
#include "tests/text/values.h"
#include "text/format.h"

namespace vesk::test {
namespace {

using format::Conversion;
using format::Format;

/// The 32 sets of flags.
std::vector<std::string> flagSets() {
  std::vector<std::string> sets;
  for (unsigned set = 0; set < 32; ++set) {
    std::string flags;
    for (unsigned i = 0; i < 5; ++i)
      if ((set >> i & 1) != 0) flags += "-+ #0"[i];
    sets.push_back(flags);
  }
  return sets;
}

const std::vector<std::string> kWidths = {
    "", "1", "2", "7", "8", "13", "14", "15", "16", "17", "18", "21", "40"};

bool isAllowed(const std::string& flags, char letter) {
  const bool hexOrFixed = letter == 'x' || letter == 'X' || letter == 'f';
  if (!hexOrFixed && flags.find('#') != std::string::npos) return false;
  return letter != 's' || flags.find('0') == std::string::npos;
}

/// Calls `check` with every format of a conversion, text around it.
template <class Check>
void forEachFormat(const std::string& length, char letter,
                   const std::vector<std::string>& precisions, const Check& check) {
  for (const std::string& flags : flagSets()) {
    if (!isAllowed(flags, letter)) continue;
    for (const std::string& width : kWidths)
      for (const std::string& precision : precisions) {
        check("<" + ("%" + flags + width + precision + length + letter) + "> ");
        if (failedOftenEnough()) return;
      }
  }
}

/// Checks one format with one value; `reference` is the value as snprintf takes it.
template <class T, class Reference>
void check(const std::string& text, const Format& format, const T& value, Reference reference) {
  static Printed printed;
  static Guarded guarded;
  const std::string_view expected = printed(text.c_str(), reference);
  const std::string_view got =
      guarded(format.size(value), [&](char* out) { return format.write(out, value); });
  if (got != expected || !guarded.intact())
    ADD_FAILURE() << "format \"" << text << "\", value " << testing::PrintToString(value)
                  << "\n  printed  " << got << "\n  expected " << expected
                  << (guarded.intact() ? "" : "\n  and wrote outside its room");
}

/// The first conversion of a text.
constexpr Conversion parsed(std::string_view text) {
  std::size_t at = 0;
  return format::parsePiece(text, at).conversion;
}

// --------------------------------------------------------------------------------------- integers

const std::vector<std::string> kIntegerPrecisions = {
    "", ".", ".0", ".1", ".2", ".3", ".6", ".8", ".10", ".14", ".20", ".33"};

template <class T>
void checkIntegers(const std::string& length) {
  const std::vector<T> all = boundaryIntegers<T>();
  const std::set<T> values(all.begin(), all.end());
  for (const char letter : {'d', 'i', 'u', 'x', 'X'})
    forEachFormat(length, letter, kIntegerPrecisions, [&](const std::string& text) {
      const Format format(text);
      ASSERT_TRUE(format.takes<T>()) << text;
      for (const T value : values) check(text, format, value, value);
    });
}

TEST(RunTimeFormat, PrintsUnsignedCharAsTheCLibrary) { checkIntegers<unsigned char>(""); }
TEST(RunTimeFormat, PrintsSignedCharAsTheCLibrary) { checkIntegers<signed char>(""); }
TEST(RunTimeFormat, PrintsUnsignedShortAsTheCLibrary) { checkIntegers<unsigned short>(""); }
TEST(RunTimeFormat, PrintsShortAsTheCLibrary) { checkIntegers<short>(""); }
TEST(RunTimeFormat, PrintsUnsignedIntAsTheCLibrary) { checkIntegers<unsigned>(""); }
TEST(RunTimeFormat, PrintsIntAsTheCLibrary) { checkIntegers<int>(""); }
TEST(RunTimeFormat, PrintsLongLongAsTheCLibrary) { checkIntegers<long long>("ll"); }
TEST(RunTimeFormat, PrintsUnsignedLongLongAsTheCLibrary) {
  checkIntegers<unsigned long long>("ll");
}

TEST(RunTimeFormat, PrintsBool) {
  for (const char* const text : {"%d", "%i", "%u", "%x", "%X", "%02x", "%5d", "%-5u|"})
    for (const bool value : {false, true}) check(text, Format(text), value, value ? 1 : 0);
}

TEST(RunTimeFormat, IgnoresSignFlagsOfUnsignedConversions) {
  for (const char* const text : {"%+u", "% u", "%+x", "% X", "%+8u", "% 08x"})
    for (const unsigned value : {0u, 7u, 0xFFFFFFFFu}) check(text, Format(text), value, value);
}

// ------------------------------------------------------------------------------------ fixed point

const std::vector<std::string> kFixedPrecisions = {
    "", ".", ".0", ".1", ".2", ".3", ".6", ".9", ".17", ".40"};

template <class T>
void checkFloats() {
  const std::vector<T> values = boundaryFloats<T>();
  const std::size_t step = kSlowBuild ? 7 : 2;
  std::size_t first = 0;
  forEachFormat("", 'f', kFixedPrecisions, [&](const std::string& text) {
    const Format format(text);
    ASSERT_TRUE(format.takes<T>()) << text;
    // Another part of the values each time: in the end, each has met each flag.
    for (std::size_t i = first++ % step; i < values.size(); i += step)
      check(text, format, values[i], static_cast<double>(values[i]));
  });
}

TEST(RunTimeFormat, PrintsFloatAsTheCLibrary) { checkFloats<float>(); }
TEST(RunTimeFormat, PrintsDoubleAsTheCLibrary) { checkFloats<double>(); }

template <class T>
void checkAllExponents(int random) {
  for (const char* const text : {"%.0f",
                                 "%.1f",
                                 "%.2f",
                                 "%.3f",
                                 "%f",
                                 "%.6f",
                                 "%.9f",
                                 "%.17f",
                                 "% -13.3f ",
                                 "%+16.6f",
                                 "%#.0f",
                                 "%020.3f"}) {
    const Format format(text);
    sweep<T>(random, [&](T value) {
      if (failedOftenEnough()) return;
      check(text, format, value, static_cast<double>(value));
    });
  }
}

TEST(RunTimeFormat, PrintsFloatsOfEveryExponentAsTheCLibrary) {
  checkAllExponents<float>(exhaustive() ? 1000 : kSlowBuild ? 10 : 60);
}

TEST(RunTimeFormat, PrintsDoublesOfEveryExponentAsTheCLibrary) {
  checkAllExponents<double>(exhaustive() ? 100 : kSlowBuild ? 0 : 6);
}

/// A double that came from a float takes a shorter way than its neighbours; both must round alike.
TEST(RunTimeFormat, RoundsDoublesBesideFloatsAsTheCLibrary) {
  auto bits = generator();
  for (const char* const text : {"%.3f", "%f", "%-9.3f", "%14f"}) {
    const Format format(text);
    for (int i = 0; i < (kSlowBuild ? 5000 : 50000); ++i) {
      // n / 2048 + a half of the last digit: a tie, or as near to one as a double comes.
      const double whole = static_cast<double>(static_cast<std::int32_t>(bits())) / 2048;
      for (const double value : {whole, whole + 0.0005, whole - 0.0000005})
        check(text, format, value, value);
      if (failedOftenEnough()) return;
    }
  }
}

TEST(RunTimeFormat, RoundsTiesToEven) {
  char out[64];
  const auto print = [&out](const char* text, double value) {
    const Format format(text);
    return std::string(out, format.write(out, value));
  };
  EXPECT_EQ(print("%.0f", 0.5), "0");
  EXPECT_EQ(print("%.0f", 1.5), "2");
  EXPECT_EQ(print("%.0f", 2.5), "2");
  EXPECT_EQ(print("%.3f", 0.0625), "0.062");
  EXPECT_EQ(print("%.3f", 0.1875), "0.188");
  EXPECT_EQ(print("%.3f", 1.0005), "1.000");  // its double lies below the tie
  EXPECT_EQ(print("%f", 0.00000762939453125), "0.000008");
  EXPECT_EQ(print("%.3f", -0.0), "-0.000");
  EXPECT_EQ(print("%.3f", -0.0001), "-0.000");
}

TEST(RunTimeFormat, PrintsWhatIsNotANumber) {
  char out[64];
  const auto print = [&out](const char* text, float value) {
    const Format format(text);
    return std::string(out, format.write(out, value));
  };
  const float nan = std::bit_cast<float>(0x7FC00000u);
  const float negativeNan = std::bit_cast<float>(0xFFC00000u);
  const float infinity = std::bit_cast<float>(0x7F800000u);
  EXPECT_EQ(print("% -13.3f ", nan), " nan          ");
  EXPECT_EQ(print("% -13.3f ", negativeNan), "-nan          ");
  EXPECT_EQ(print("% -13.3f ", infinity), " inf          ");
  EXPECT_EQ(print("% -13.3f ", -infinity), "-inf          ");
  EXPECT_EQ(print("%06f", nan), "   nan");  // no zeros before what is no number
  EXPECT_EQ(print("%+08.3f", infinity), "    +inf");
  EXPECT_EQ(print("%.3f", std::bit_cast<float>(0x7F800001u)), "nan");  // a signalling one
}

// ---------------------------------------------------------------------------------------- strings

const std::vector<std::string> kStringPrecisions = {
    "", ".", ".0", ".1", ".3", ".5", ".6", ".7", ".40"};

TEST(RunTimeFormat, PrintsStringsAsTheCLibrary) {
  const std::vector<std::string> values = {"",
                                           "a",
                                           "abc",
                                           "%d %",
                                           "(null)",
                                           "thirteen char",
                                           "a\nb\r",
                                           "\xC3\xA9t",
                                           std::string(100, 'x')};
  forEachFormat("", 's', kStringPrecisions, [&](const std::string& text) {
    const Format format(text);
    for (const std::string& value : values) {
      check(text, format, value, value.c_str());
      check(text, format, value.c_str(), value.c_str());
      check(text, format, std::string_view(value), value.c_str());
      if (value.size() <= 112) check(text, format, format::Text<112>(value), value.c_str());
    }
  });
}

TEST(RunTimeFormat, PrintsANullStringWholeOrNotAtAll) {
  const char* const null = nullptr;
  forEachFormat("", 's', kStringPrecisions, [&](const std::string& text) {
    check(text, Format(text), null, null);
  });
  char out[64];
  const auto print = [&](const char* text) {
    return std::string(out, Format(text).write(out, null));
  };
  EXPECT_EQ(print("%s"), "(null)");
  EXPECT_EQ(print("%.5s"), "");
  EXPECT_EQ(print("%.6s"), "(null)");
  EXPECT_EQ(print("%8.5s"), "        ");
  EXPECT_EQ(print("%-8s|"), "(null)  |");
}

TEST(RunTimeFormat, PrintsAStringViewThatHasNoNul) {
  const char characters[3] = {'a', 'b', 'c'};
  char out[64];
  const Format format("%4s");
  EXPECT_EQ(std::string(out, format.write(out, std::string_view(characters, 3))), " abc");
}

TEST(RunTimeFormat, PrintsAnEmptyStringViewWithoutCharacters) {
  char out[64];
  for (const char* const text : {"%s", "%3s", "%-3s", "%.2s"}) {
    const Format format(text);
    EXPECT_EQ(std::string(out, format.write(out, std::string_view())),
              std::string(static_cast<std::size_t>(parsed(text).width), ' '));
  }
}

// ------------------------------------------------------------------------------------------ room

/// In memory of exactly the room asked for, so that the address sanitizer sees each byte too much.
template <class T>
void checkExactRoom(const char* text, const T& value) {
  const Format format(text);
  const std::size_t room = format.size(value) + kernels::kSlack;
  const auto memory = std::make_unique<char[]>(room);
  const char* const end = format.write(memory.get(), value);
  EXPECT_LE(end, memory.get() + format.size(value)) << text;
}

TEST(RunTimeFormat, StaysInItsRoom) {
  for (const float value : boundaryFloats<float>())
    for (const char* const text :
         {"%f", "%.3f", "% -13.3f ", "%16.3f", "%-16f", "%.0f", "%999f", "%.999f", "%-999.999f"})
      checkExactRoom(text, value);
  for (const double value : boundaryFloats<double>())
    for (const char* const text : {"%f", "%.3f", "% -16.3f ", "%.999f"})
      checkExactRoom(text, value);
  for (const int value : boundaryIntegers<int>())
    for (const char* const text : {"%d", "%14d ", "%14d", "%08x ", "%.999d", "%999u", "%-999d"})
      checkExactRoom(text, value);
  for (const unsigned char value : boundaryIntegers<unsigned char>())
    for (const char* const text : {"%u", "%02x", "%14u", "%x"}) checkExactRoom(text, value);
  for (const long long value : boundaryIntegers<long long>())
    for (const char* const text : {"%lld", "%016llX", "%llu", "%#.20llx"})
      checkExactRoom(text, value);
  for (const char* const text : {"%s", "%40s", "%-40s", "%.3s", "%999s"}) {
    checkExactRoom(text, "abc");
    checkExactRoom(text, std::string(500, 'x'));
    checkExactRoom(text, static_cast<const char*>(nullptr));
    checkExactRoom(text, format::Text<16>("0123456789ABCDEF"));
    checkExactRoom(text, format::Text<240>("abc"));
  }
}

// ---------------------------------------------------------------------------------------- parsing

static_assert(parsed("% -13.3f ").width == 13 && parsed("% -13.3f ").precision == 3);
static_assert(parsed("no conversion").letter == 0);

TEST(Parser, ReadsFlagsInAnyOrderAndMoreThanOnce) {
  Conversion all;
  all.left = all.plus = all.blank = all.alternate = all.zero = true;
  all.width = 12;
  all.precision = 3;
  all.letter = 'f';
  EXPECT_EQ(parsed("%-+ #012.3f"), all);
  EXPECT_EQ(parsed("%0# +-12.3f"), all);
  EXPECT_EQ(parsed("%00##  ++--00012.003f"), all);
}

TEST(Parser, ReadsWidthPrecisionAndLength) {
  Conversion c;
  c.letter = 'd';
  EXPECT_EQ(parsed("%d"), c);
  c.width = 999;
  EXPECT_EQ(parsed("%999d"), c);
  c.precision = 0;
  EXPECT_EQ(parsed("%999.d"), c);
  c.longLong = true;
  EXPECT_EQ(parsed("%999.0lld"), c);
  c.precision = 999;
  EXPECT_EQ(parsed("%999.999lld"), c);
}

TEST(Parser, RejectsWhatItDoesNotUnderstand) {
  for (const char* const text : {
           "",        "no conversion",
           "%",       "a %",
           "%5",      "%-",
           "%.",      "%.3",
           "%l",      "%ll",
           "%c",      "%p",
           "%e",      "%E",
           "%g",      "%G",
           "%a",      "%A",
           "%F",      "%o",
           "%n",      "%%",
           "%ld",     "%lu",
           "%lx",     "%hd",
           "%hhd",    "%hu",
           "%zu",     "%jd",
           "%td",     "%Lf",
           "%lf",     "%llld",
           "%qd",     "%Id",
           "%'d",     "%*d",
           "%.*f",    "%1$d",
           "%1000d",  "%.1000f",
           "%99999d", "%4294967296d",
           "%.-1f",   "%5-d",
           "%5 d",    "%.3.3f",
           "%d%d",    "%d %",
           "%s%s",    "%d %%",
           "%%%d",    "%5+d",
           "%.3-f",   "%18446744073709551617d",
           "%D",      "%U",
           "%S",      "%C",
           "%w",      "% ",
       })
    EXPECT_THROW(Format{text}, std::invalid_argument) << text;
  EXPECT_THROW(Format{std::string_view("%\0d", 3)}, std::invalid_argument);
  EXPECT_THROW(Format{std::string_view("%d\0%", 4)}, std::invalid_argument);
}

/// C leaves these undefined.
TEST(Parser, RejectsFlagsThatHaveNoMeaning) {
  for (const std::string& flags : flagSets())
    for (const char letter : {'s', 'u', 'i', 'd', 'x', 'X', 'f'})
      for (const std::string width : {"", "5", ".3"}) {
        const std::string text = "%" + flags + width + letter;
        if (isAllowed(flags, letter))
          EXPECT_NO_THROW(Format{text}) << text;
        else
          EXPECT_THROW(Format{text}, std::invalid_argument) << text;
      }
  EXPECT_THROW(Format{"%#llu"}, std::invalid_argument);
  EXPECT_THROW(Format{"%lls"}, std::invalid_argument);
  EXPECT_THROW(Format{"%llf"}, std::invalid_argument);
}

TEST(Parser, KeepsTheTextAroundTheConversion) {
  char out[64];
  const Format format("0x%04X, and\n");
  EXPECT_EQ(std::string(out, format.write(out, 0xABu)), "0x00AB, and\n");
  const std::string_view withNul("\0%d\0", 4);
  EXPECT_EQ(std::string(out, Format(withNul).write(out, 5)), std::string("\0005\0", 3));
}

TEST(Parser, SplitsAFormatIntoPieces) {
  const std::string_view text = "ab%s: %lld!";
  std::size_t at = 0;
  format::Piece piece = format::parsePiece(text, at);
  EXPECT_EQ(text.substr(piece.begin, piece.end - piece.begin), "ab");
  EXPECT_EQ(piece.conversion.letter, 's');
  piece = format::parsePiece(text, at);
  EXPECT_EQ(text.substr(piece.begin, piece.end - piece.begin), ": ");
  EXPECT_EQ(piece.conversion.letter, 'd');
  EXPECT_TRUE(piece.conversion.longLong);
  piece = format::parsePiece(text, at);
  EXPECT_EQ(text.substr(piece.begin, piece.end - piece.begin), "!");
  EXPECT_EQ(piece.conversion.letter, 0);
  EXPECT_EQ(at, text.size());
}

static_assert(Format("% -13.3f ").takes<float>() && !Format("% -13.3f ").takes<int>());

TEST(Parser, KnowsWhichTypesAConversionTakes) {
  for (const char* const text : {"%d", "%i", "%u", "%x", "%X"}) {
    const Format format(text);
    EXPECT_TRUE(format.takes<bool>() && format.takes<unsigned char>() && format.takes<short>());
    EXPECT_TRUE(format.takes<int>() && format.takes<unsigned>());
    EXPECT_FALSE(format.takes<long long>() || format.takes<unsigned long long>());
    EXPECT_FALSE(format.takes<float>() || format.takes<double>() || format.takes<std::string>());
    EXPECT_FALSE(format.takes<const char*>());
  }
  for (const char* const text : {"%lld", "%lli", "%llu", "%llx", "%llX"}) {
    const Format format(text);
    EXPECT_TRUE(format.takes<long long>() && format.takes<unsigned long long>());
    EXPECT_TRUE(format.takes<std::uint64_t>() && format.takes<std::int64_t>());
    EXPECT_FALSE(format.takes<int>() || format.takes<unsigned>() || format.takes<bool>());
    EXPECT_FALSE(format.takes<double>() || format.takes<const char*>());
  }
  EXPECT_TRUE(Format("%f").takes<float>() && Format("%f").takes<double>());
  EXPECT_FALSE(Format("%f").takes<int>() || Format("%f").takes<long double>());
  EXPECT_TRUE(Format("%s").takes<const char*>() && Format("%s").takes<std::string>());
  EXPECT_TRUE(Format("%s").takes<std::string_view>() && Format("%s").takes<format::Text<16>>());
  EXPECT_FALSE(Format("%s").takes<int>() || Format("%s").takes<float>());
}

// ----------------------------------------------------------------------------------------- locale

TEST(RunTimeFormat, DoesNotFollowTheLocale) {
  const CommaLocale locale;
  if (!locale.found) GTEST_SKIP() << "this machine has no locale with a decimal comma";
  Printed printed;
  ASSERT_EQ(printed("%.3f", 1.5), "1,500");  // so it is in force

  char out[512];
  const auto print = [&out](const char* text, auto value) {
    return std::string(out, Format(text).write(out, value));
  };
  EXPECT_EQ(print("%.3f", 1.5), "1.500");  // by the kernel
  EXPECT_EQ(print("%.2f", 1.5), "1.50");   // by the general way
  EXPECT_EQ(print("%.3f", 0.1), "0.100");  // not a float's value
  EXPECT_EQ(print("%.1f", 1e10), "10000000000.0");
  EXPECT_EQ(print("%#.0f", 3.0), "3.");
  EXPECT_EQ(print("%d", 1234567), "1234567");
  EXPECT_EQ((format::string<"%.3f %f %.2f">(1.5f, 2.5, 3.5)), "1.500 2.500000 3.50");
}

}  // namespace
}  // namespace vesk::test
