// Image, ADC dump and baseline reports.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/support.h"

namespace vesk {
namespace {

using test::arrayAt;
using test::decode;
using test::Lines;
using test::linesOf;
using test::numberAt;
using test::objectOf;
using test::ReportBytes;
using test::stringAt;

// ------------------------------------------------------------------------------------------- image

TEST(Image, EveryOtherLengthIsRefused) {
  for (const std::int64_t length : {std::int64_t{0},
                                    std::int64_t{791},
                                    std::int64_t{793},
                                    std::int64_t{-792},
                                    std::int64_t{792} + (std::int64_t{1} << 32),
                                    INT64_MAX,
                                    INT64_MIN}) {
    for (const bool useStrings : {false, true}) {
      const auto plugin = test::makePlugin();
      plugin->setUseStrings(useStrings);
      ReportBytes report(0x76, 792);
      EXPECT_TRUE(plugin->reportToObject(report.data(), 0x76, kInput, length).isNil()) << length;
      // Refused before the buffer is touched.
      EXPECT_TRUE(plugin->reportToObject(nullptr, 0x76, kInput, length).isNil()) << length;
    }
  }
}

TEST(Image, TheHeaderIsInAnOrderOfItsOwn) {
  ReportBytes report(0x76, 792);
  report.put(1, {0x07}).put16(2, 0x0001).put32(4, 4000000000).put32(8, 0xABC).put32(12, 99);
  report.put32(784, 0x1F).putFloat(788, 25.5f);
  const Lines lines = linesOf(report);
  ASSERT_EQ(lines.size(), 40u);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 9),
            (Lines{
                "[Frame # = 4000000000]",
                "[Frame Params = 0x00000abc]",
                "[Timestamp = 99 ms]",
                "[TMON = 25.500000 degC]",
                "[TMON Params = 0x0000001f]",
                "[Cookie = 0x07]",
                "[Flags = 0x0001]",
                "",
                "[D-SCAN I]",
            }));
}

TEST(Image, EachBlockHasATitleSixLinesAndAnEmptyLine) {
  ReportBytes report(0x76, 792);
  for (std::size_t i = 0; i < 192; ++i) report.put32(16 + 4 * i, i);
  const Lines lines = linesOf(report);
  const char* const titles[] = {"[D-SCAN I]", "[D-SCAN Q]", "[P-SCAN I]", "[P-SCAN Q]"};
  const char* const firsts[] = {
      "00000000 00000001 00000002 00000003 00000004 00000005 00000006 00000007 ",
      "00000030 00000031 00000032 00000033 00000034 00000035 00000036 00000037 ",
      "00000060 00000061 00000062 00000063 00000064 00000065 00000066 00000067 ",
      "00000090 00000091 00000092 00000093 00000094 00000095 00000096 00000097 "};
  for (std::size_t block = 0; block < 4; ++block) {
    EXPECT_EQ(lines[8 + 8 * block], titles[block]);
    EXPECT_EQ(lines[9 + 8 * block], firsts[block]);
    EXPECT_EQ(lines[15 + 8 * block], "");
  }
}

TEST(Image, ASampleOfMinusOne) {
  ReportBytes report(0x76, 792);
  report.put32(16, 0xFFFFFFFF);
  EXPECT_EQ(linesOf(report)[9].substr(0, 9), "ffffffff ");
  EXPECT_EQ(linesOf(report, true)[9].substr(0, 15), "            -1 ");
  EXPECT_EQ(linesOf(report, true)[9].size(), 8u * 15);
}

TEST(Image, DecimalChangesTheSamplesOnly) {
  ReportBytes report(0x76, 792);
  report.fill(1, 792, 0x11);
  const Lines hexadecimal = linesOf(report);
  const Lines decimal = linesOf(report, true);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(hexadecimal[i], decimal[i]);
  EXPECT_EQ(decimal[9].substr(0, 15), "     286331153 ");
}

TEST(Image, ObjectHasElevenKeys) {
  ReportBytes report(0x76, 792);
  report.put(1, {0xFF}).put16(2, 0xFFFF).put32(16, 0xFFFFFFFF).put32(780, 0x80000000);
  const ReportObject object = objectOf(report, true);
  ASSERT_EQ(object.size(), 11u);
  EXPECT_EQ(numberAt(object, "COOKIE").as<unsigned char>(), 255);
  EXPECT_EQ(numberAt(object, "FLAGS").as<unsigned short>(), 65535);
  EXPECT_EQ(numberAt(object, "FRAME_NUMBER").kind(), Kind::UnsignedInt);
  EXPECT_EQ(numberAt(object, "TMON_DEG_C").kind(), Kind::Float);
  for (const char* const key : {"D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q"}) {
    EXPECT_EQ(arrayAt(object, key).kind(), Kind::Int);
    EXPECT_EQ(arrayAt(object, key).size(), 48u);
  }
  EXPECT_EQ(arrayAt(object, "D_SCAN_I")[0].as<int>(), -1);
  EXPECT_EQ(arrayAt(object, "P_SCAN_Q")[47].as<int>(), INT32_MIN);
}

TEST(Image, ATemperatureThatIsNoNumber) {
  ReportBytes report(0x76, 792);
  report.putFloat(788, std::numeric_limits<float>::quiet_NaN());
  EXPECT_EQ(linesOf(report)[3], "[TMON = nan degC]");
  EXPECT_TRUE(std::isnan(numberAt(objectOf(report), "TMON_DEG_C").as<float>()));
}

// ------------------------------------------------------------------------- ADC dump configuration

TEST(AdcDumpConfig, TextAndObject) {
  ReportBytes report(0xDC, 25);
  report.put32(1, 0x2000).put32(5, 0x1).put32(9, 0x8000).put32(13, 4096).put32(17, 250);
  EXPECT_EQ(linesOf(report),
            (Lines{
                "--ADC Dump Configuration--",
                "",
                "Start Address       = 0x00002000",
                "Channel Enable Mask = 800000000001",
                "Sample Count        = 4096",
                "Stim Timer Compare  = 250",
                "Trigger Source      = RX_EN",
            }));
  EXPECT_EQ(test::listing(decode(report, false)),
            "dictionary 5\n"
            "\"START_ADDRESS\" unsigned int 8192\n"
            "\"CHANNEL_ENABLE_MASK\" unsigned long long 140737488355329\n"
            "\"SAMPLE_COUNT\" unsigned int 4096\n"
            "\"STIM_TIMER_COMPARE\" unsigned int 250\n"
            "\"TRIGGER_SOURCE\" string \"RX_EN\"\n");
}

TEST(AdcDumpConfig, TheHighWordIsNotMasked) {
  ReportBytes report(0xDC, 25);
  report.put32(5, 0x89).put32(9, 0x12345678);
  EXPECT_EQ(linesOf(report)[3], "Channel Enable Mask = 1234567800000089");
  EXPECT_EQ(numberAt(objectOf(report), "CHANNEL_ENABLE_MASK").as<unsigned long long>(),
            0x1234567800000089u);
}

TEST(AdcDumpConfig, AnyBitOfTheTriggerCounts) {
  for (const std::uint64_t trigger : {0x1ull, 0x100ull, 0x80000000ull}) {
    ReportBytes report(0xDC, 25);
    report.put32(21, trigger);
    EXPECT_EQ(linesOf(report)[6], "Trigger Source      = STIM_TIMER");
    EXPECT_EQ(stringAt(objectOf(report), "TRIGGER_SOURCE"), "STIM_TIMER");
  }
}

// ---------------------------------------------------------------------------------- ADC dump state

TEST(AdcDumpState, EveryCode) {
  for (int code = 0; code < 256; ++code) {
    const std::string name = code == 0   ? "STANDBY"
                             : code == 1 ? "SINGLE"
                             : code == 2 ? "CONTINUOUS"
                                         : "INVALID";
    ReportBytes report(0xDE, 2);
    report.put(1, {code});
    EXPECT_EQ(linesOf(report), Lines{"ADC Dump State: " + name});
    EXPECT_TRUE(objectOf(report).isString());
    EXPECT_EQ(objectOf(report).string(), name);
  }
}

// --------------------------------------------------------------------------------- ADC dump packet

TEST(AdcDumpPacket, EveryOtherLengthIsRefused) {
  for (const std::int64_t length : {std::int64_t{0},
                                    std::int64_t{2063},
                                    std::int64_t{2065},
                                    std::int64_t{-2064},
                                    std::int64_t{2064} + (std::int64_t{1} << 32)}) {
    for (const bool useStrings : {false, true}) {
      const auto plugin = test::makePlugin();
      plugin->setUseStrings(useStrings);
      EXPECT_TRUE(plugin->reportToObject(nullptr, 0x77, kInput, length).isNil()) << length;
    }
  }
}

TEST(AdcDumpPacket, TextHasSeventyLinesAndNoEmptyOneAtTheEnd) {
  ReportBytes report(0x77, 2064);
  report.put(1, {0xAB, 0xCD, 0xEF}).put32(4, 17).put32(8, 0).put32(12, 16384);
  for (std::size_t i = 0; i < 512; ++i) report.put32(16 + 4 * i, i);
  for (const bool decimal : {false, true}) {
    const Lines lines = linesOf(report, decimal);
    ASSERT_EQ(lines.size(), 70u);
    EXPECT_EQ(Lines(lines.begin(), lines.begin() + 7),
              (Lines{
                  "[ADC Packet #    = 17]",
                  "[Magic Value     = 0xabcdef]",
                  "[Payload Size    = 0]",
                  "[Total Dump Size = 16384]",
                  "",
                  "[Packet Payload Data]",
                  "00000000 00000001 00000002 00000003 00000004 00000005 00000006 00000007 ",
              }));
    EXPECT_EQ(lines[69],
              "000001f8 000001f9 000001fa 000001fb 000001fc 000001fd 000001fe 000001ff ");
  }
}

TEST(AdcDumpPacket, ObjectKeysAndMagic) {
  ReportBytes report(0x77, 2064);
  report.put(1, {0xAB, 0xCD, 0xEF}).put32(2060, 0xFFFFFFFF);
  const ReportObject object = objectOf(report);
  ASSERT_EQ(object.size(), 5u);
  EXPECT_EQ(numberAt(object, "MAGIC_VALUE").as<int>(), 0x3FF);
  EXPECT_EQ(numberAt(object, "PACKET_ID").kind(), Kind::UnsignedInt);
  EXPECT_EQ(numberAt(object, "PAYLOAD_SIZE").kind(), Kind::UnsignedInt);
  EXPECT_EQ(numberAt(object, "TOTAL_DUMP_SIZE").kind(), Kind::UnsignedInt);
  EXPECT_EQ(arrayAt(object, "PAYLOAD_DATA").size(), 512u);
  EXPECT_EQ(arrayAt(object, "PAYLOAD_DATA")[511].as<unsigned>(), 0xFFFFFFFFu);
  report.put(1, {1, 2, 3});
  EXPECT_EQ(linesOf(report)[1], "[Magic Value     = 0x010203]");
  EXPECT_EQ(numberAt(objectOf(report), "MAGIC_VALUE").as<int>(), 7);
}

// ---------------------------------------------------------------------------------------- baseline

TEST(Baseline, NineLinesOfLeftJustifiedColumns) {
  ReportBytes report(0xA2, 193);
  report.putFloat(1, 1.5f).putFloat(5, -2.25f);
  for (const bool decimal : {false, true}) {
    const Lines lines = linesOf(report, decimal);
    ASSERT_EQ(lines.size(), 9u);
    EXPECT_EQ(lines[0], "Vesk Algorithms Baseline:");
    EXPECT_EQ(lines[1], "");
    EXPECT_EQ(lines[2].substr(0, 28), " 1.500        -2.250        ");
    EXPECT_EQ(lines[2].size(), 8u * 14);
    EXPECT_EQ(lines[8], "");
  }
}

TEST(Baseline, AWideValuePushesTheLine) {
  ReportBytes report(0xA2, 193);
  report.putFloat(1, 123456789.0f);  // as a float 123456792
  EXPECT_EQ(linesOf(report)[2].substr(0, 21), " 123456792.000  0.000");
}

TEST(Baseline, NanAndInfinities) {
  ReportBytes report(0xA2, 193);
  report.put32(1, 0x7FC00000).put32(5, 0xFFC00000).put32(9, 0x7F800000).put32(13, 0xFF800000);
  EXPECT_EQ(linesOf(report)[2].substr(0, 56),
            " nan          -nan           inf          -inf          ");
}

TEST(Baseline, ObjectIsOneArrayOfFloats) {
  ReportBytes report(0xA2, 193);
  report.putFloat(189, -0.5f);
  const ReportObject object = objectOf(report);
  ASSERT_EQ(object.size(), 1u);
  EXPECT_EQ(arrayAt(object, "BASELINE").size(), 48u);
  EXPECT_EQ(arrayAt(object, "BASELINE")[47].as<float>(), -0.5f);
}

}  // namespace
}  // namespace vesk
