// The writer of JSON text. What it must give is written by hand, by the grammar of JSON; that
// Python's reader understands it is tested in outputs_test.py.

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <string>
#include <vector>

#include "host/writing/JsonWriter.h"
#include "host/writing/Utf8.h"

namespace vesk::host {
namespace {

std::string stringOf(std::string_view text) {
  JsonWriter json;
  json.string(text);
  return std::string(json.text());
}

template <class T>
std::string numberOf(T value) {
  JsonWriter json;
  json.number(value);
  return std::string(json.text());
}

template <class T>
std::string arrayOf(const std::vector<T>& values) {
  JsonWriter json;
  json.array(std::span<const T>(values));
  return std::string(json.text());
}

TEST(JsonWriter, EveryControlCharacter) {
  const std::array<std::string, 32> escapes = {
      "\\u0000", "\\u0001", "\\u0002", "\\u0003", "\\u0004", "\\u0005", "\\u0006", "\\u0007",
      "\\b",     "\\t",     "\\n",     "\\u000B", "\\f",     "\\r",     "\\u000E", "\\u000F",
      "\\u0010", "\\u0011", "\\u0012", "\\u0013", "\\u0014", "\\u0015", "\\u0016", "\\u0017",
      "\\u0018", "\\u0019", "\\u001A", "\\u001B", "\\u001C", "\\u001D", "\\u001E", "\\u001F"};
  for (std::size_t code = 0; code < escapes.size(); ++code) {
    const std::string character(1, static_cast<char>(code));
    EXPECT_EQ(stringOf(character), '"' + escapes[code] + '"');
    // Before, in and behind the eight characters that are looked at together.
    for (std::size_t before = 0; before < 20; ++before)
      EXPECT_EQ(stringOf(std::string(before, 'x') + character + std::string(9, 'y')),
                '"' + std::string(before, 'x') + escapes[code] + std::string(9, 'y') + '"')
          << code << " behind " << before;
  }
}

TEST(JsonWriter, QuotesAndBackslashes) {
  EXPECT_EQ(stringOf(""), R"("")");
  EXPECT_EQ(stringOf(std::string_view()), R"("")");
  EXPECT_EQ(stringOf(R"("\)"), R"("\"\\")");
  EXPECT_EQ(stringOf(R"(12345678"23456789\)"), R"("12345678\"23456789\\")");
  EXPECT_EQ(stringOf(std::string(5000, '"')).size(), 10002u);
}

TEST(JsonWriter, WhatStandsForItself) {
  for (const char* text : {"/",
                           "\x7F",
                           " ",
                           "!",
                           "#",
                           "[",
                           "]",
                           "'",
                           "\xC3\xA9",
                           "\xE2\x80\xA8",
                           "\xF0\x9F\x98\x80",
                           "1234567\xE2\x80\xA8"})
    EXPECT_EQ(stringOf(text), '"' + std::string(text) + '"');
  EXPECT_EQ(stringOf("\xE2\x80\xA8\n"), "\"\xE2\x80\xA8\\n\"") << "beside an escape, too";
}

TEST(JsonWriter, NamesThatAreNoUtf8) {
  EXPECT_EQ(stringOf(asUtf8("a\xFF\"\xC3")), "\"a\xEF\xBF\xBD\\\"\xEF\xBF\xBD\"");
}

TEST(JsonWriter, Commas) {
  JsonWriter json;
  json.beginObject();
  json.member("a", 1u);
  json.key("b");
  json.beginObject();
  json.endObject();
  json.key("c");
  json.beginArray();
  json.endArray();
  json.key("d");
  json.beginArray();
  json.beginArray();
  json.null();
  json.boolean(true);
  json.endArray();
  json.boolean(false);
  json.beginObject();
  json.raw(R"("x":1,"y":2)");
  json.member("z", "3");
  json.endObject();
  json.endArray();
  json.member("none", std::optional<int>());
  json.member("one", std::optional<int>(-1));
  json.endObject();
  EXPECT_EQ(json.text(),
            R"({"a":1,"b":{},"c":[],"d":[[null,true],false,{"x":1,"y":2,"z":"3"}],"one":-1})");
}

TEST(JsonWriter, BeginsAnew) {
  JsonWriter json;
  EXPECT_EQ(json.text(), "");
  json.beginArray();
  json.number(1);
  json.clear();
  EXPECT_EQ(json.text(), "");
  json.string("x");
  EXPECT_EQ(json.text(), R"("x")");
}

TEST(JsonWriter, DeepNesting) {
  JsonWriter json;
  for (int i = 0; i < 10000; ++i) json.beginArray();
  for (int i = 0; i < 10000; ++i) json.endArray();
  EXPECT_EQ(json.text(), std::string(10000, '[') + std::string(10000, ']'));
}

TEST(JsonWriter, Numbers) {
  EXPECT_EQ(numberOf(std::numeric_limits<std::uint32_t>::max()), "4294967295");
  EXPECT_EQ(numberOf(std::numeric_limits<std::int32_t>::min()), "-2147483648");
  EXPECT_EQ(numberOf(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615");
  EXPECT_EQ(numberOf(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
  EXPECT_EQ(numberOf(std::numeric_limits<double>::max()), "1.7976931348623157e+308");
  EXPECT_EQ(numberOf(std::numeric_limits<double>::denorm_min()), "5e-324");
  EXPECT_EQ(numberOf(std::numeric_limits<float>::max()), "3.4028235e+38");
  EXPECT_EQ(numberOf(0.1F), "0.1");
  EXPECT_EQ(numberOf(0.0), "0");
  EXPECT_EQ(numberOf(-0.0), "-0.0");
  EXPECT_EQ(numberOf(-0.0F), "-0.0");
  for (const double none : {std::numeric_limits<double>::quiet_NaN(),
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity()})
    EXPECT_EQ(numberOf(none), "null");
}

TEST(JsonWriter, Arrays) {
  EXPECT_EQ(arrayOf<std::uint32_t>({}), "[]");
  EXPECT_EQ(arrayOf<std::int32_t>({-1}), "[-1]");
  EXPECT_EQ(arrayOf<std::int32_t>({0, 10, -2147483647 - 1}), "[0,10,-2147483648]");
  EXPECT_EQ(arrayOf<float>({-0.0F, std::numeric_limits<float>::quiet_NaN(), 1.5F}),
            "[-0.0,null,1.5]");
  EXPECT_EQ(arrayOf<double>({std::numeric_limits<double>::lowest()}), "[-1.7976931348623157e+308]");
  std::string expected = "[4294967295";
  for (int i = 1; i < 20000; ++i) expected += ",4294967295";
  EXPECT_EQ(arrayOf(std::vector<std::uint32_t>(20000, 4294967295)), expected + "]")
      << "more than there was room for";
}

}  // namespace
}  // namespace vesk::host
