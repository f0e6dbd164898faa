// Detecting forms, and reading them whatever pieces they come in.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "host/inputs/Forms.h"
#include "host/inputs/Hex.h"
#include "tests/host/strings.h"

namespace vesk::host {
namespace {

const KnownReports& known() {
  static const KnownReports rows({
      {0xD0, ReportType::Feature, "version", "ersion", 2, false, true, {}},
      {0xDE, ReportType::Feature, "state", "tate", 2, false, false, {}},
      {0xE1, ReportType::Feature, "long", "ong", 991, false, false, {}},
      {0x76, ReportType::Input, "image", std::nullopt, 792, true, false, {}},
      {0x77, ReportType::Input, "packet", std::nullopt, 2064, true, false, {}},
  });
  return rows;
}

std::string sample(const std::string& name) {
  std::ifstream file(std::string(VESK_SAMPLES) + "/" + name, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  EXPECT_FALSE(content.view().empty()) << name;
  return content.str();
}

/// The name of the form that is detected.
std::string_view detect(const std::string& content, std::size_t step = 1 << 20) {
  StringBytes bytes(content, step);
  const InputForm& form = detectForm(bytes, known());
  EXPECT_EQ(bytes.position(), 0u) << "detecting takes nothing";
  return form.name;
}

std::unique_ptr<Input> open(std::string_view form, Bytes& bytes) {
  const InputForm* const row = inputFormNamed(form);
  if (row == nullptr) throw std::invalid_argument(std::string(form));
  return openInput(*row, bytes, {known()});
}

TEST(Detection, HexText) {
  const std::string reportOf30 = "de01" + std::string(56, '0');
  for (const std::string& text : {std::string(),
                                  std::string("d0 31 00"),
                                  std::string("feature de01"),
                                  std::string("\n\n# x\n\nde"),
                                  std::string("0xde,0x01"),
                                  std::string("de:01"),
                                  std::string("xyz"),
                                  std::string("00"),
                                  std::string("000000"),
                                  std::string("0000000"),
                                  std::string("DE"),
                                  std::string("# de"),
                                  reportOf30 + "\n" + reportOf30 + "\n",
                                  "de" + std::string(200, '0') + "\n",
                                  std::string(60, 'f')})
    EXPECT_EQ(detect(text), "hex") << text;
}

TEST(Detection, Dumps) {
  for (const char* text : {"00000000: d031 00  .1.\n",
                           "00000000  d0 31 00  |.1.|\n",
                           "000000 d0 31 00\n",
                           "0000000 31d0 0000\n",
                           "00000010: de01  ..\n",
                           "00000010  de 01  |..|\n"})
    EXPECT_EQ(detect(text), "dump") << text;
}

TEST(Detection, PlainDumps) {
  const std::string begin = "e1" + std::string(58, '0') + "\n";
  EXPECT_EQ(detect(begin + std::string(60, '0') + "\n"), "xxd-p");
  EXPECT_EQ(detect(begin), "xxd-p");
  EXPECT_EQ(detect("de01" + std::string(54, '1') + "de\n01\n"), "xxd-p");
  EXPECT_EQ(detect("d0" + std::string(58, '1') + "\n1100\n"), "xxd-p");
  EXPECT_EQ(detect(begin + "feature de 01\n"), "hex");
}

TEST(Detection, Recordings) {
  for (const char* text : {"D: 0\n", "# c\n\nE: 0.0 1 00\n", "R: 1 00\n", "N:\n", "B: 1\r\n"})
    EXPECT_EQ(detect(text), "recording") << text;
}

TEST(Detection, Captures) {
  for (const char* text : {"\xA1\xB2\xC3\xD4", "\xD4\xC3\xB2\xA1", "\x4D\x3C\xB2\xA1", "\n\r\r\n"})
    EXPECT_EQ(detect(text), "usb") << text;
}

TEST(Detection, Binary) {
  for (const std::string& text : {std::string("\xDE\x01"),
                                  std::string("v\1\2\3"),
                                  std::string("w\0\xFF", 3),
                                  std::string("\x99"),
                                  std::string("\0\0", 2),
                                  std::string("\x01"),
                                  std::string("\xD0hello")})
    EXPECT_EQ(detect(text), "binary") << text;
}

TEST(Detection, WhatOthersCompressOrEncode) {
  for (const std::string& text : {std::string("PK\x03\x04"),
                                  std::string("\xFF\xFE"
                                              "d\0",
                                              4)}) {
    StringBytes bytes(text);
    EXPECT_THROW(detectForm(bytes, known()), InputFault);
  }
}

TEST(Detection, DoesNotWaitForMoreThanItNeeds) {
  // A live pipe that has sent so much and is silent now: another read would be one too many.
  for (const char* text : {"de 01\n", "\xDE\x01", "D: 0\n", "# c\nde01\n", "\xD4\xC3\xB2\xA1"}) {
    StringBytes bytes(text);
    bytes.failAtEnd();
    EXPECT_NO_THROW(detectForm(bytes, known())) << text;
  }
}

/// All that an input gives, in words.
std::string allOf(Input& input) {
  std::ostringstream text;
  for (;;) {
    const Item item = input.next();
    if (std::holds_alternative<End>(item)) return text.str();
    if (const auto* report = std::get_if<Report>(&item)) {
      text << describe("f", report->place) << ' ' << describe(report->id(), report->type) << ' '
           << report->microseconds.value_or(-1) << ' ' << report->preamble.size();
      for (const std::uint8_t byte : report->bytes) text << ' ' << int{byte};
    } else {
      const auto& problem = std::get<Problem>(item);
      text << describe("f", problem.place) << ' ' << nameOf(problem.code) << ' ' << problem.message;
    }
    text << '\n';
  }
}

std::string readAs(std::string_view form, const std::string& content, std::size_t step) {
  StringBytes bytes(content, step);
  return allOf(*open(form, bytes));
}

TEST(Inputs, PiecesMakeNoDifference) {
  const std::pair<const char*, const char*> samples[] = {
      {"tour.hex", "hex"},
      {"forms/tour.bin", "binary"},
      {"forms/tour.xxd", "dump"},
      {"forms/tour.hexdump", "dump"},
      {"forms/tour.od", "dump"},
      {"forms/tour.xxd-p", "xxd-p"},
      {"forms/tour.hid", "recording"},
      {"forms/tour-dmesg.log", "log"},
      {"forms/tour.csv", "csv"},
      {"forms/tour-array.txt", "array"},
      {"forms/tour-logcat.log", "log"},
      {"forms/tour-usbhid-dump.txt", "usbhid-dump"},
      {"forms/tour-usbmon.txt", "usbmon"},
      {"forms/tour-tshark.txt", "packets"},
      {"forms/tour-usbmon.pcap", "usb"},
      {"forms/tour-usbmon-mapped.pcapng", "usb"},
      {"forms/tour-usbpcap.pcap", "usb"}};
  for (const auto& [name, form] : samples) {
    const std::string content = sample(name);
    const std::string whole = readAs(form, content, content.size());
    EXPECT_GT(std::ranges::count(whole, '\n'), 0) << name;
    for (const std::size_t step : kSteps) {
      EXPECT_EQ(readAs(form, content, step), whole) << name << " in steps of " << step;
      EXPECT_EQ(detect(content, step), form) << name << " in steps of " << step;
    }
  }
  for (const InputForm& form : inputForms())
    EXPECT_TRUE(
        std::ranges::any_of(samples, [&](const auto& row) { return row.second == form.name; }))
        << "the input form " << form.name << " has no sample in this test";
}

TEST(InputForms, RowsAreWhole) {
  for (const InputForm& form : inputForms()) {
    EXPECT_EQ(inputFormNamed(form.name), &form) << "two forms are named " << form.name;
    EXPECT_FALSE(form.description.empty()) << form.name;
    EXPECT_NE(form.open, nullptr) << form.name;
  }
  EXPECT_EQ(inputFormNamed(""), nullptr);
  EXPECT_EQ(inputFormNamed("he"), nullptr);
}

TEST(Inputs, AReadThatFailsComesAfterWhatWasGood) {
  const std::pair<std::string, const char*> inputs[] = {
      {"de 01\nde 02\n", "hex"},
      {"\xDE\x01\xDE\x02", "binary"},
      {"00000000: de01 de02  ....\n", "dump"},
      {"E: 0.0 2 de 01\nF: 0.0 2 de 02\n", "recording"},
      {sample("forms/tour-usbmon.pcap").substr(0, 1000), "usb"}};
  for (const auto& [content, form] : inputs) {
    StringBytes bytes(content);
    bytes.failAtEnd();
    const auto input = open(form, bytes);
    EXPECT_TRUE(std::holds_alternative<Report>(input->next())) << content;
    EXPECT_TRUE(std::holds_alternative<Report>(input->next())) << content;
    EXPECT_THROW(
        {
          while (!std::holds_alternative<End>(input->next())) continue;
        },
        InputFault)
        << content;
  }
}

TEST(Inputs, CaptureWhoseHeadCannotBeRead) {
  StringBytes bytes("\xD4\xC3\xB2\xA1");
  bytes.failAtEnd();
  EXPECT_THROW(open("usb", bytes), InputFault);
}

TEST(Inputs, TheEndStaysTheEnd) {
  for (const char* form : {"hex", "binary", "dump", "xxd-p", "recording"}) {
    StringBytes bytes("");
    const auto input = open(form, bytes);
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::holds_alternative<End>(input->next()));
  }
}

TEST(Inputs, EndAfterAProblemStaysTheEnd) {
  for (const auto& [content, form] :
       {std::pair{"\x99\xDE\x01", "binary"}, std::pair{"000000 zz\n000000 de 01\n", "dump"}}) {
    StringBytes bytes(content);
    const auto input = open(form, bytes);
    EXPECT_TRUE(std::holds_alternative<Problem>(input->next()));
    for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::holds_alternative<End>(input->next()));
  }
}

std::vector<std::uint8_t> hex(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  EXPECT_EQ(appendHex(text, bytes), std::nullopt) << text;
  return bytes;
}

TEST(Hex, Separators) {
  const std::vector<std::uint8_t> expected = {0xDE, 0x01, 0xAF};
  for (const char* text : {"de01af",
                           "DE 01 AF",
                           "0xde 0x01 0xaf",
                           "0XDE,0X01,0XAF",
                           "de:01:af",
                           " de,\t01 , af ",
                           "0xde01af",
                           "de0x010xaf",
                           "de 01af",
                           "de01 af",
                           "de 01  af ",
                           "de 010xaf",
                           "de01,0xaf",
                           "de:01 af,"})
    EXPECT_EQ(hex(text), expected) << text;
  EXPECT_TRUE(hex("").empty());
  EXPECT_TRUE(hex(" ,: ").empty());
}

TEST(Hex, Complaints) {
  const std::pair<const char*, const char*> cases[] = {
      {"de 0", "odd number of digits in \"0\""},
      {"d", "odd number of digits in \"d\""},
      {"de 01 af0 02", "odd number of digits in \"af0\""},
      {"de 01 0g 02", "\"g\" is no hexadecimal digit, in \"0g\""},
      {"de013 02", "odd number of digits in \"de013\""},
      {"0x", "\"x\" is no hexadecimal digit, in \"0x\""},
      {"0xg1", "\"x\" is no hexadecimal digit, in \"0xg1\""},
      {"1xde", "\"x\" is no hexadecimal digit, in \"1xde\""},
      {"de;01", "\";\" is no hexadecimal digit, in \"de;01\""},
      {"d\x01", "\"?\" is no hexadecimal digit, in \"d?\""}};
  for (const auto& [text, complaint] : cases) {
    std::vector<std::uint8_t> bytes;
    EXPECT_EQ(appendHex(text, bytes), complaint);
  }
}

TEST(Hex, QuotesStayShortAndPrintable) {
  EXPECT_EQ(inQuotes("a\tb\xC3\xA9"), "\"a?b??\"");
  EXPECT_EQ(inQuotes(std::string(100, 'x')), "\"" + std::string(24, 'x') + "...\"");
}

}  // namespace
}  // namespace vesk::host
