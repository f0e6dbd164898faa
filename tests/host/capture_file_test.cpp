// Captures, byte by byte: both forms, both byte orders, every kind of time, and what is wrong.

#include "host/inputs/CaptureFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "tests/host/captures.h"
#include "tests/host/strings.h"

namespace vesk::host {
namespace {

using namespace std::string_view_literals;

std::string textOf(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// A packet in words: "1 @1.000005 link 189 if 0: abc".
std::string wordsOf(const CaptureFile::Packet& packet) {
  std::ostringstream text;
  text << packet.number << " @";
  if (packet.microseconds)
    text << *packet.microseconds;
  else
    text << '?';
  text << " link " << packet.interface.linkType << " if " << packet.interface.number << ": "
       << textOf(packet.bytes);
  if (packet.captured != packet.bytes.size()) text << " of " << packet.captured;
  if (packet.length != packet.captured) text << " of " << packet.length;
  return text.str() + "\n";
}

/// All packets and what ends them, in words.
std::string readAll(const std::string& content, std::size_t step = 1 << 20) {
  StringBytes bytes(content, step);
  CaptureFile file(bytes);
  std::string text;
  for (;;) {
    const auto next = file.next();
    if (const auto* packet = std::get_if<CaptureFile::Packet>(&next)) {
      text += wordsOf(*packet);
      continue;
    }
    if (const auto* damage = std::get_if<CaptureFile::Damage>(&next))
      text += "damage in packet " + std::to_string(damage->packet) + " at byte " +
              std::to_string(damage->offset) + ": " + damage->message + "\n";
    EXPECT_TRUE(std::holds_alternative<CaptureFile::End>(file.next())) << "the end stays the end";
    return text;
  }
}

std::string faultOf(const std::string& content) {
  StringBytes bytes(content);
  try {
    const CaptureFile file(bytes);
  } catch (const InputFault& fault) {
    return fault.what();
  }
  return "none";
}

TEST(CaptureFile, Pcap) {
  for (const std::endian order : kOrders) {
    CaptureBytes file(order);
    file.pcap(kMicroMagic, 189).record(1, 5, "abc").record(2, 999'999, "").record(3, 0, "d");
    EXPECT_EQ(readAll(file.bytes()),
              "1 @1000005 link 189 if 0: abc\n"
              "2 @2999999 link 189 if 0: \n"
              "3 @3000000 link 189 if 0: d\n");
    StringBytes bytes(file.bytes());
    CaptureFile capture(bytes);
    EXPECT_FALSE(capture.severalInterfaces());
    const auto first = capture.next();
    EXPECT_EQ(std::get<CaptureFile::Packet>(first).order, order);
    EXPECT_FALSE(std::get<CaptureFile::Packet>(first).interface.used);
    const auto second = capture.next();
    EXPECT_TRUE(std::get<CaptureFile::Packet>(second).interface.used);
  }
}

TEST(CaptureFile, PcapOfNanoseconds) {
  for (const std::endian order : kOrders)
    EXPECT_EQ(readAll(CaptureBytes(order)
                          .pcap(kNanoMagic, 249)
                          .record(1, 5'999, "x")
                          .record(4'294'967'295, 999'999'999, "y")
                          .bytes()),
              "1 @1000005 link 249 if 0: x\n"
              "2 @4294967295999999 link 249 if 0: y\n");
}

TEST(CaptureFile, PcapWithLongerHeadersOfPackets) {
  for (const std::endian order : kOrders)
    EXPECT_EQ(readAll(CaptureBytes(order)
                          .pcap(kModifiedMagic, 220)
                          .u32(7)
                          .u32(8)
                          .u32(2)
                          .u32(3)
                          .text("ifprt_\0\0"sv)
                          .text("ab")
                          .bytes()),
              "1 @7000008 link 220 if 0: ab of 3\n");
}

TEST(CaptureFile, TimesThatMakeNoSense) {
  const auto file = CaptureBytes(std::endian::little).pcap(kMicroMagic, 189);
  EXPECT_EQ(readAll(CaptureBytes(file).record(1, 1'000'000, "x").bytes()),
            "1 @? link 189 if 0: x\n");
}

TEST(CaptureFile, LinkTypeHasSixteenBits) {
  // Above them stand the length of a checksum that a link has, and whether it is known.
  EXPECT_EQ(
      readAll(
          CaptureBytes(std::endian::big).pcap(kMicroMagic, 0x240000BD).record(0, 0, "x").bytes()),
      "1 @0 link 189 if 0: x\n");
}

TEST(CaptureFile, LongPacketsAreHeldInPart) {
  const std::string longData(300'000, 'l');
  const std::string longest(262'128, 'm');  // with its header, just what is held
  for (const std::uint32_t linkType : {189u, 249u}) {
    CaptureBytes file(std::endian::little);
    file.pcap(kMicroMagic, linkType, 400'000).record(1, 0, longData).record(2, 0, longest);
    file.record(3, 0, "c");
    const std::string link = " link " + std::to_string(linkType) + " if 0: ";
    EXPECT_EQ(readAll(file.bytes()),
              "1 @1000000" + link + std::string(262'128, 'l') + " of 300000\n" + "2 @2000000" +
                  link + longest + "\n3 @3000000" + link + "c\n");
  }
  CaptureBytes file(std::endian::little);
  file.section().interface(249).enhanced(0, 1, longData).enhanced(0, 2, "b");
  EXPECT_EQ(readAll(file.bytes()),
            "1 @1 link 249 if 0: " + std::string(262'116, 'l') + " of 300000\n" +
                "2 @2 link 249 if 0: b\n");
}

TEST(CaptureFile, LengthsThatNoPacketHas) {
  const auto claim = [](std::uint32_t linkType, std::uint32_t longest, std::uint32_t length) {
    CaptureBytes file(std::endian::little);
    file.pcap(kMicroMagic, linkType, longest).u32(0).u32(0).u32(length).u32(length).text("abc");
    return readAll(file.bytes());
  };
  const auto invalid = [](std::uint32_t length, std::uint32_t longest) {
    return "damage in packet 1 at byte 24: invalid packet capture length " +
           std::to_string(length) + ", bigger than snaplen of " + std::to_string(longest) + "\n";
  };
  const auto truncated = [](std::uint32_t length) {
    return "damage in packet 1 at byte 24: truncated dump file; tried to read " +
           std::to_string(length) + " captured bytes, only got 3\n";
  };
  for (const std::uint32_t longest : {0u, 96u, 262'144u}) {
    EXPECT_EQ(claim(189, longest, 262'144), truncated(262'144));
    EXPECT_EQ(claim(189, longest, 262'145), invalid(262'145, 262'144));
    EXPECT_EQ(claim(189, longest, 0xFFFFFFFF), invalid(0xFFFFFFFF, 262'144));
    EXPECT_EQ(claim(249, longest, 1 << 27), truncated(1 << 27));
    EXPECT_EQ(claim(249, longest, (1 << 27) + 1), invalid((1 << 27) + 1, 1 << 27));
  }
  EXPECT_EQ(claim(220, 400'000, 400'000), truncated(400'000));
  EXPECT_EQ(claim(220, 400'000, 400'001), invalid(400'001, 400'000));
  EXPECT_EQ(claim(220, 0xFFFFFFFF, (1 << 27) + 1), invalid((1 << 27) + 1, 1 << 27));
}

TEST(CaptureFile, Pcapng) {
  for (const std::endian order : kOrders) {
    CaptureBytes file(order);
    file.section()
        .block(0x0BAD, "of somebody")
        .interface(1)
        .interface(220)
        .block(4, "names")
        .enhanced(1, 1'000'005, "usb")
        .enhanced(0, 2'000'000, "ether")
        .old(1, 0x1'0000'0000, "old")
        .simple(6, "simple")
        .block(5, "counts");
    EXPECT_EQ(readAll(file.bytes()),
              "1 @1000005 link 220 if 1: usb\n"
              "2 @2000000 link 1 if 0: ether\n"
              "3 @4294967296 link 220 if 1: old\n"
              "4 @? link 1 if 0: simple\n");
    StringBytes bytes(file.bytes());
    CaptureFile capture(bytes);
    EXPECT_TRUE(capture.severalInterfaces());
    EXPECT_TRUE(capture.interfaces().empty());
    const auto first = capture.next();
    EXPECT_EQ(std::get<CaptureFile::Packet>(first).order, order);
    EXPECT_EQ(capture.interfaces().size(), 2u);
  }
}

TEST(CaptureFile, SectionsBeginAnew) {
  const auto section = [](std::endian order, std::uint16_t linkType, const char* data) {
    return CaptureBytes(order).section().interface(linkType).enhanced(0, 7, data).bytes();
  };
  const std::string both =
      section(std::endian::little, 189, "a") + section(std::endian::big, 249, "b");
  EXPECT_EQ(readAll(both + section(std::endian::little, 220, "c")),
            "1 @7 link 189 if 0: a\n"
            "2 @7 link 249 if 1: b\n"
            "3 @7 link 220 if 2: c\n");
  const auto noInterface = CaptureBytes(std::endian::little).section().enhanced(0, 7, "d");
  EXPECT_EQ(readAll(both + noInterface.bytes()),
            "1 @7 link 189 if 0: a\n2 @7 link 249 if 1: b\n"
            "damage in packet 3 at byte " +
                std::to_string(both.size() + 28) +
                ": a packet arrived on interface 0, but there's no Interface Description Block "
                "for that interface\n");
}

TEST(CaptureFile, SimplePacketsAreCutAsTheInterfaceSays) {
  const auto simple = [](std::uint32_t longest, std::uint32_t length, std::string_view data) {
    CaptureBytes file(std::endian::little);
    file.section().interface(189, {}, longest).simple(length, data);
    return readAll(file.bytes());
  };
  EXPECT_EQ(simple(0, 5, "abcde"), "1 @? link 189 if 0: abcde\n");
  EXPECT_EQ(simple(3, 5, "abc"), "1 @? link 189 if 0: abc of 5\n");
  EXPECT_EQ(simple(9, 5, "abcde"), "1 @? link 189 if 0: abcde\n");
  EXPECT_EQ(simple(9, 20, "abcdefgh"),
            "damage in packet 1 at byte 48: block of type 3 in pcapng dump file is too short\n");
}

/// Options of an interface, written by `add`, and one packet at `time`: its time.
template <class Add>
std::string timeWith(Add add, std::uint64_t time) {
  std::string all;
  for (const std::endian order : kOrders) {
    CaptureBytes options(order);
    options.u16(2).u16(3).text("ab\0\0"sv);  // a name in front
    add(options);
    options.u16(0).u16(0).text("what follows the end");
    CaptureBytes file(order);
    file.section().interface(189, options.bytes()).enhanced(0, time, "x");
    const std::string words = readAll(file.bytes());
    EXPECT_TRUE(all.empty() || all == words) << words;
    all = words;
  }
  const std::size_t begin = all.find('@') + 1;
  return begin == 0 ? all : all.substr(begin, all.find(' ', begin) - begin);
}

std::string timeOf(std::uint64_t time, std::uint8_t resolution, std::int64_t offset = 0) {
  return timeWith([&](CaptureBytes& options) { options.resolution(resolution).offset(offset); },
                  time);
}

TEST(CaptureFile, UnitsOfTime) {
  EXPECT_EQ(timeWith([](CaptureBytes&) {}, 1'700'000'000'123'456), "1700000000123456");
  EXPECT_EQ(timeOf(1'700'000'000'123'456, 6), "1700000000123456");
  EXPECT_EQ(timeOf(1'700'000'000'123'456'789, 9), "1700000000123456");
  EXPECT_EQ(timeOf(1'700'000'000, 0), "1700000000000000");
  EXPECT_EQ(timeOf(1'700'000'000'123, 3), "1700000000123000");
  EXPECT_EQ(timeOf(10'000'000'000'000'000'001u, 19), "1000000");
  EXPECT_EQ(timeOf(~std::uint64_t{0}, 19), "1844674");
  EXPECT_EQ(timeOf(5, 0x80), "5000000");
  EXPECT_EQ(timeOf((17 << 10) + 512, 0x80 + 10), "17500000");
  EXPECT_EQ(timeOf((std::uint64_t{17} << 32) + 0x4000'0000, 0x80 + 32), "17250000");
  EXPECT_EQ(timeOf((std::uint64_t{17} << 40) + 0xFF'FFFF'FFFF, 0x80 + 40), "17999999");
  EXPECT_EQ(timeOf(~std::uint64_t{0}, 0x80 + 63), "1999999");
  EXPECT_EQ(timeOf((std::uint64_t{1} << 63) + (std::uint64_t{1} << 60), 0x80 + 63), "1125000");
}

TEST(CaptureFile, OffsetsOfTimes) {
  EXPECT_EQ(timeOf(5, 6, 1'700'000'000), "1700000000000005");
  EXPECT_EQ(timeOf(1'700'000'000'000'005, 6, -1'000'000'000), "700000000000005");
  EXPECT_EQ(timeOf(1'000'005, 6, -1), "5");
  EXPECT_EQ(timeOf(1'000'005, 6, -2), "?") << "before 1970";
  EXPECT_EQ(timeOf(0, 6, 1'000'000'000'000), "1000000000000000000");
  EXPECT_EQ(timeOf(0, 6, 1'000'000'000'001), "?");
  EXPECT_EQ(timeOf(1'000'000, 6, 1'000'000'000'000), "?");
  EXPECT_EQ(timeOf(0, 6, INT64_MAX), "?");
  EXPECT_EQ(timeOf(0, 6, INT64_MIN), "?");
  EXPECT_EQ(timeOf(1'000'000'000'001, 0), "?");
}

TEST(CaptureFile, OptionsThatLie) {
  const auto complaint = [](const std::string& message) {
    return "damage in packet 1 at byte 28: " + message + "\n";
  };
  const std::string tooShort = complaint("block of type 1 in pcapng dump file is too short");
  const auto with = [](const auto& add) { return timeWith(add, 0); };
  EXPECT_EQ(
      timeOf(0, 20),
      complaint("Interface Description Block if_tsresol option resolution 10^-20 is too high"));
  EXPECT_EQ(
      timeOf(0, 0x80 + 64),
      complaint("Interface Description Block if_tsresol option resolution 2^-64 is too high"));
  EXPECT_EQ(with([](CaptureBytes& options) { options.u16(9).u16(2).u32(6); }),
            complaint("Interface Description Block has if_tsresol option with length 2 != 1"));
  EXPECT_EQ(with([](CaptureBytes& options) { options.u16(14).u16(4).u32(6); }),
            complaint("Interface Description Block has if_tsoffset option with length 4 != 8"));
  EXPECT_EQ(with([](CaptureBytes& options) { options.u16(2).u16(100).text("abc"); }), tooShort);
  const std::string half = CaptureBytes(std::endian::little).u16(2).u16(1).bytes();
  CaptureBytes file(std::endian::little);
  EXPECT_EQ(readAll(file.section().interface(189, half).bytes()), tooShort);
}

TEST(CaptureFile, BlocksThatLie) {
  for (const std::endian order : kOrders) {
    CaptureBytes good(order);
    good.section().interface(189).enhanced(0, 1, "abcd");
    const std::string begin = "1 @1 link 189 if 0: abcd\n";
    const auto damage = [&](const std::string& message) {
      return begin + "damage in packet 2 at byte 84: " + message + "\n";
    };
    const auto with = [&](const auto& add) {
      CaptureBytes file = good;
      add(file);
      return readAll(file.bytes());
    };
    const std::string too = " in pcapng dump file is too short";
    EXPECT_EQ(with([](CaptureBytes& file) { file.u32(6).u32(8).u32(8); }),
              damage("block in pcapng dump file has a length of 8 < 12"));
    EXPECT_EQ(with([](CaptureBytes& file) { file.u32(9).u32(13).text("x").u32(13); }),
              damage("block in pcapng dump file has a length of 13 that is not a multiple of 4"));
    EXPECT_EQ(with([](CaptureBytes& file) { file.u32(9).u32((1 << 24) + 4); }),
              damage("pcapng block size 16777220 > maximum 16777216"));
    EXPECT_EQ(with([](CaptureBytes& file) { file.u32(9).u32(16).text("abcd").u32(20); }),
              damage("block total length in header and trailer don't match"));
    EXPECT_EQ(with([](CaptureBytes& file) { file.enhanced(1, 1, "x"); }),
              damage("a packet arrived on interface 1, but there's no Interface Description Block "
                     "for that interface"));
    EXPECT_EQ(with([](CaptureBytes& file) { file.block(6, std::string(16, '\0')); }),
              damage("block of type 6" + too));
    EXPECT_EQ(with([](CaptureBytes& file) {
                file.block(6, file.body().u32(0).u64(0).u32(5).u32(5).text("abcd").bytes());
              }),
              damage("block of type 6" + too));
    EXPECT_EQ(with([](CaptureBytes& file) { file.block(2, "short"); }),
              damage("block of type 2" + too));
    EXPECT_EQ(with([](CaptureBytes& file) { file.block(3, ""); }), damage("block of type 3" + too));
    EXPECT_EQ(with([](CaptureBytes& file) { file.block(1, "shor"); }),
              damage("block of type 1" + too));
    EXPECT_EQ(with([](CaptureBytes& file) { file.u32(0x0A0D0D0A).u32(28).text("none"); }),
              damage("the file has a section with a bad byte order magic field"));
    EXPECT_EQ(with([](CaptureBytes& file) {
                file.block(0x0A0D0D0A, file.body().u32(0x1A2B3C4D).u16(1).u16(1).u64(0).bytes());
              }),
              damage("unsupported pcapng savefile version 1.1"));
    EXPECT_EQ(with([](CaptureBytes& file) {
                file.block(0x0A0D0D0A, file.body().u32(0x1A2B3C4D).bytes());
              }),
              damage("block of type 168627466" + too));
    EXPECT_EQ(with([](CaptureBytes& file) { file.interface(1, std::string(300'000, '\0')); }),
              damage("an interface that is described in 300008 bytes"));
  }
}

TEST(CaptureFile, LongBlocksArePassedOver) {
  CaptureBytes file(std::endian::little);
  file.section().interface(189).block(10, std::string(1'000'000, 's')).enhanced(0, 1, "x");
  EXPECT_EQ(readAll(file.bytes()), "1 @1 link 189 if 0: x\n");
  const std::string cut = file.bytes().substr(0, 800'000);
  EXPECT_EQ(readAll(cut),
            "damage in packet 1 at byte 48: truncated pcapng dump file; tried to read 1000004 "
            "bytes, only got 799944\n");
}

TEST(CaptureFile, MoreInterfacesThanAnybodyHas) {
  CaptureBytes file(std::endian::little);
  file.section();
  for (int i = 0; i < 65537; ++i) file.interface(189);
  EXPECT_EQ(readAll(file.bytes()),
            "damage in packet 1 at byte " + std::to_string(28 + 65536 * 20) +
                ": more than 65536 interfaces\n");
}

TEST(CaptureFile, CutOffAnywhere) {
  CaptureBytes records(std::endian::little);
  records.pcap(kMicroMagic, 189).record(1, 0, "abc").record(2, 0, "defg");
  const std::string first = "1 @1000000 link 189 if 0: abc\n";
  for (std::size_t size = 44; size <= 62; ++size) {
    const std::size_t got = size - 43;
    std::string expected = first + "damage in packet 2 at byte 43: truncated dump file; ";
    if (got < 16)
      expected += "tried to read 16 header bytes, only got " + std::to_string(got) + "\n";
    else
      expected += "tried to read 4 captured bytes, only got " + std::to_string(got - 16) + "\n";
    EXPECT_EQ(readAll(records.bytes().substr(0, size)), expected) << size;
  }
  EXPECT_EQ(readAll(records.bytes().substr(0, 43)), first);

  CaptureBytes blocks(std::endian::big);
  blocks.section().interface(189).enhanced(0, 1, "abc").block(5, "defg").section();
  const std::string begin = "1 @1 link 189 if 0: abc\n";
  const auto cut = [&](std::size_t size) { return readAll(blocks.bytes().substr(0, size)); };
  const auto damage = [&](std::size_t at, std::size_t wanted, std::size_t got) {
    return begin + "damage in packet 2 at byte " + std::to_string(at) +
           ": truncated pcapng dump file; tried to read " + std::to_string(wanted) +
           " bytes, only got " + std::to_string(got) + "\n";
  };
  EXPECT_EQ(cut(84), begin);
  for (std::size_t got = 1; got < 8; ++got) EXPECT_EQ(cut(84 + got), damage(84, 8, got));
  for (std::size_t got = 8; got < 16; ++got) EXPECT_EQ(cut(84 + got), damage(84, 8, got - 8));
  EXPECT_EQ(cut(100), begin);
  for (std::size_t got = 8; got < 12; ++got) EXPECT_EQ(cut(100 + got), damage(100, 12, got));
  for (std::size_t got = 12; got < 28; ++got) EXPECT_EQ(cut(100 + got), damage(100, 20, got - 8));
  EXPECT_EQ(cut(128), begin);
}

TEST(CaptureFile, LongPacketThatIsCutOff) {
  CaptureBytes file(std::endian::little);
  file.pcap(kMicroMagic, 249).record(1, 0, std::string(300'000, 'l'));
  const std::string words = readAll(file.bytes().substr(0, 290'000));
  EXPECT_EQ(words.substr(words.find('\n') + 1),
            "damage in packet 2 at byte 24: truncated dump file; tried to read 300000 captured "
            "bytes, only got 289960\n");
}

TEST(CaptureFile, Heads) {
  EXPECT_EQ(faultOf(""), "no capture: 0 of 4 bytes to know it by");
  EXPECT_EQ(faultOf("\xD4\xC3\xB2"), "no capture: 3 of 4 bytes to know it by");
  EXPECT_EQ(faultOf("de 01\n"), "no capture: it begins as neither pcap nor pcapng does");
  for (const std::endian order : kOrders) {
    const std::string head = CaptureBytes(order).pcap(kMicroMagic, 189).bytes();
    EXPECT_EQ(faultOf(head), "none");
    EXPECT_EQ(readAll(head), "");
    EXPECT_EQ(faultOf(head.substr(0, 23)),
              "truncated dump file; tried to read 24 file header bytes, only got 23");
    for (const auto& [major, minor] : {std::pair{1, 4}, {2, 3}, {2, 5}, {3, 0}}) {
      CaptureBytes file(order);
      file.u32(kMicroMagic);
      file.u16(static_cast<std::uint16_t>(major)).u16(static_cast<std::uint16_t>(minor));
      EXPECT_EQ(faultOf(file.text(std::string(16, '\0')).bytes()),
                "unsupported pcap savefile version " + std::to_string(major) + "." +
                    std::to_string(minor));
    }
    const std::string section = CaptureBytes(order).section().bytes();
    EXPECT_EQ(readAll(section), "");
    EXPECT_EQ(faultOf(section.substr(0, 10)),
              "truncated pcapng dump file; tried to read 12 bytes, only got 10");
    EXPECT_EQ(faultOf(section.substr(0, 27)),
              "truncated pcapng dump file; tried to read 20 bytes, only got 19");
    std::string other = section;
    other[8] = 'x';
    EXPECT_EQ(faultOf(other), "the file has a section with a bad byte order magic field");
  }
}

TEST(CaptureFile, PiecesMakeNoDifference) {
  for (const char* name :
       {"tour-usbmon.pcap", "tour-usbmon-mapped.pcapng", "tour-usbpcap.pcap", "two-links.pcapng"}) {
    std::ifstream file(std::string(VESK_SAMPLES) + "/forms/" + name, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    const std::string whole = readAll(content.str());
    EXPECT_FALSE(whole.empty()) << name;
    for (const std::size_t step : kSteps) EXPECT_EQ(readAll(content.str(), step), whole) << name;
  }
}

}  // namespace
}  // namespace vesk::host
