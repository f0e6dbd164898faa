// Our reader of captures beside libpcap, on captures of every kind and on damaged ones: the same
// packets at the same times, and the end or damage in the same place.
//
// Both are given the same bytes. What differs on purpose is named in difference() and what it calls.

#include <gtest/gtest.h>
#include <pcap/pcap.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <random>
#include <sstream>
#include <vector>

#include "host/inputs/CaptureFile.h"
#include "tests/host/captures.h"
#include "tests/host/strings.h"

namespace vesk::host {
namespace {

struct Seen {
  std::optional<std::int64_t> microseconds;
  std::string bytes;
  std::uint64_t captured;
  std::uint64_t length;
  int linkType;
};

struct Reading {
  bool opened = false;
  bool reachedEnd = false;
  std::vector<Seen> packets;
  std::string message;
};

Reading readOurs(const std::string& content) {
  Reading reading;
  try {
    StringBytes bytes(content);
    CaptureFile file(bytes);
    reading.opened = true;
    for (;;) {
      const auto next = file.next();
      if (const auto* packet = std::get_if<CaptureFile::Packet>(&next)) {
        const auto* const data = reinterpret_cast<const char*>(packet->bytes.data());
        reading.packets.push_back({packet->microseconds,
                                   std::string(data, packet->bytes.size()),
                                   packet->captured,
                                   packet->length,
                                   packet->interface.linkType});
        continue;
      }
      reading.reachedEnd = std::holds_alternative<CaptureFile::End>(next);
      if (const auto* damage = std::get_if<CaptureFile::Damage>(&next))
        reading.message = damage->message;
      return reading;
    }
  } catch (const InputFault& fault) {
    reading.message = fault.what();
    return reading;
  }
}

/// None where a file says more seconds than anybody means.
std::optional<std::int64_t> microsecondsOf(const timeval& time) {
  constexpr std::int64_t kMostSeconds = 1'000'000'000'000;
  if (time.tv_sec < -kMostSeconds || time.tv_sec > kMostSeconds) return std::nullopt;
  return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_usec;
}

Reading readTheirs(const std::string& content) {
  Reading reading;
  std::FILE* const stream =
      fmemopen(const_cast<char*>(content.data()), content.size(), "r");  // it only reads
  char message[PCAP_ERRBUF_SIZE] = "";
  pcap_t* const file = pcap_fopen_offline(stream, message);
  reading.message = message;
  if (file == nullptr) {
    std::fclose(stream);
    return reading;
  }
  reading.opened = true;
  pcap_pkthdr* header = nullptr;
  const u_char* data = nullptr;
  int status = 0;
  while ((status = pcap_next_ex(file, &header, &data)) == 1)
    reading.packets.push_back({microsecondsOf(header->ts),
                               std::string(reinterpret_cast<const char*>(data), header->caplen),
                               header->caplen,
                               header->len,
                               pcap_datalink(file)});
  reading.reachedEnd = status == PCAP_ERROR_BREAK;
  if (!reading.reachedEnd) reading.message = pcap_geterr(file);
  pcap_close(file);
  return reading;
}

/// What libpcap refuses and we read: it can't hand on several link types, demands an interface at
/// the head, one byte order in all sections, and knows older pcap.
bool refusedByThemOnly(const std::string& message) {
  return std::ranges::any_of(
      std::vector<std::string>{"different from the type of the first interface",
                               "different from the snapshot length of the first interface",
                               "has no Interface Description Blocks",
                               "packet block before any Interface Description Blocks",
                               "different byte orders",
                               "more than one if_ts"},
      [&](const std::string& part) { return message.find(part) != std::string::npos; });
}

/// They count seconds with a sign, which makes times from 2038 on negative.
bool isSameTime(std::int64_t our, std::int64_t their) {
  constexpr std::int64_t kAllSeconds = std::int64_t{1} << 32;
  return our == their || (their < 0 && our == their + kAllSeconds * 1'000'000);
}

/// Units of time below 2^-44 s, whose product with a million they keep the lower 64 bits of.
bool hasFinestUnits(const std::string& content) {
  using namespace std::string_view_literals;
  for (const std::string_view option : {"\x09\0\x01\0"sv, "\0\x09\0\x01"sv})
    for (std::size_t at = 0; (at = content.find(option, at)) != std::string::npos; ++at)
      if (at + 4 < content.size() && static_cast<std::uint8_t>(content[at + 4]) > 0x80 + 44)
        return true;
  return false;
}

/// What differs between two readings of a capture; empty if nothing does.
std::string difference(const std::string& content, bool comparesBytes = true) {
  const Reading ours = readOurs(content);
  const Reading theirs = readTheirs(content);
  const bool finest = hasFinestUnits(content);
  std::ostringstream text;
  const std::size_t common = std::min(ours.packets.size(), theirs.packets.size());
  for (std::size_t i = 0; i < common; ++i) {
    const Seen& our = ours.packets[i];
    const Seen& their = theirs.packets[i];
    // They cut packets that are longer than their file says.
    const std::size_t cut = std::min(our.bytes.size(), their.bytes.size());
    if (their.captured > our.captured) text << "captured " << our.captured << ' ' << their.captured;
    if (their.length != our.length) text << "length " << our.length << ' ' << their.length;
    if (comparesBytes && our.bytes.substr(0, cut) != their.bytes.substr(0, cut)) text << "bytes";
    if (our.microseconds && !finest &&
        !isSameTime(*our.microseconds, their.microseconds.value_or(-1)))
      text << "time " << *our.microseconds << ' ' << their.microseconds.value_or(-1);
    if (!text.view().empty()) return "packet " + std::to_string(i) + ": " + text.str();
  }
  if (refusedByThemOnly(theirs.message)) return {};
  // They refuse a packet of a pcapng that is longer than its interface says.
  if (content.front() == '\n' && theirs.message.starts_with("invalid packet capture length"))
    return {};
  // They look at the version of the first section only.
  if (ours.message.find("unsupported pcapng savefile version") != std::string::npos) return {};
  // They read up to the first interface before they say that it is a capture.
  const bool bothFail = !theirs.opened && ours.packets.empty() && !ours.reachedEnd;
  if (bothFail) return {};
  if (ours.packets.size() != theirs.packets.size() || ours.reachedEnd != theirs.reachedEnd)
    return "end: ours after " + std::to_string(ours.packets.size()) + " \"" + ours.message +
           "\", theirs after " + std::to_string(theirs.packets.size()) + " \"" + theirs.message +
           "\"";
  return {};
}

std::string sample(const std::string& name) {
  std::ifstream file(std::string(VESK_SAMPLES) + "/forms/" + name, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  EXPECT_FALSE(content.view().empty()) << name;
  return content.str();
}

/// Small captures of every kind that both read. Those of USBPcap, so that libpcap does not turn
/// around the headers of the other byte order.
std::vector<std::string> captures() {
  std::vector<std::string> all;
  for (const std::endian order : kOrders) {
    for (const std::uint32_t magic : {kMicroMagic, kNanoMagic})
      all.push_back(CaptureBytes(order)
                        .pcap(magic, 249)
                        .record(1'700'000'000, 999'999, "abcdefgh")
                        .record(1'700'000'001, 5, "")
                        .record(1'700'000'002, 500'000, std::string(100, 'x'))
                        .bytes());
    all.push_back(CaptureBytes(order)
                      .pcap(kModifiedMagic, 249)
                      .u32(7)
                      .u32(8)
                      .u32(2)
                      .u32(3)
                      .text("ifprt_pdab")
                      .bytes());
    for (const int resolution : {-1, 0, 3, 6, 9, 12, 0x80 + 10, 0x80 + 20, 0x80 + 32}) {
      CaptureBytes options(order);
      options.u16(2).u16(3).text("name");
      if (resolution >= 0)
        options.resolution(static_cast<std::uint8_t>(resolution)).offset(1'000'000'000);
      options.u16(0).u16(0);
      CaptureBytes file(order);
      file.section()
          .interface(249, options.bytes())
          .block(4, "some names")
          .interface(249)
          .enhanced(0, 1'700'000'000'123'456, "abc")
          .old(1, 1'700'000'000'123'456, "defgh")
          .simple(6, "simple")
          .block(5, "counts of packets")
          .enhanced(1, 5, std::string(64, 'y'));
      all.push_back(file.bytes());
      all.push_back(file.section().interface(249).enhanced(0, 3, "z").bytes());
    }
  }
  return all;
}

TEST(BesideLibpcap, Samples) {
  for (const char* name : {"tour-usbmon.pcap", "tour-usbmon-mapped.pcapng", "tour-usbpcap.pcap"}) {
    const std::string content = sample(name);
    EXPECT_EQ(difference(content), "") << name;
    EXPECT_GT(readTheirs(content).packets.size(), 30u) << name;
  }
}

TEST(BesideLibpcap, EveryKind) {
  for (const std::string& capture : captures()) {
    EXPECT_EQ(difference(capture), "");
    EXPECT_TRUE(readTheirs(capture).reachedEnd);
    EXPECT_GT(readTheirs(capture).packets.size(), 0u);
  }
}

TEST(BesideLibpcap, CutOffAnywhere) {
  for (const std::string& capture : captures())
    for (std::size_t size = 1; size < capture.size(); ++size)
      ASSERT_EQ(difference(capture.substr(0, size)), "") << size;
}

TEST(BesideLibpcap, Damaged) {
  constexpr int kRounds = 1000;
  std::mt19937 random(20231114);
  const auto below = [&](std::size_t limit) { return random() % limit; };
  std::vector<std::string> all = captures();
  all.push_back(sample("tour-usbpcap.pcap"));
  std::size_t packets = 0;
  std::size_t damaged = 0;
  for (const std::string& capture : all) {
    for (int round = 0; round < kRounds; ++round) {
      std::string content = capture;
      for (std::size_t changes = 1 + below(3); changes != 0; --changes) {
        const std::size_t at = below(std::min<std::size_t>(content.size(), 600));
        // Left alone: a pcap's version, as older ones are refused; its link type, as libpcap turns
        // around what usbmon writes; the first block's two sizes, which libpcap does not compare.
        const bool blocks = content.front() == '\n';
        const bool sizes = (at >= 4 && at < 8) || (at >= 24 && at < 28);
        if (blocks ? sizes : at < 8 || (at >= 20 && at < 24)) continue;
        constexpr char kTelling[] = {0, 1, 2, 3, 4, 8, 12, 16, 127, -128, -1};
        content[at] =
            below(2) == 0 ? kTelling[below(std::size(kTelling))] : static_cast<char>(below(256));
      }
      ASSERT_EQ(difference(content), "") << ::testing::PrintToString(content);
      packets += readTheirs(content).packets.size();
      damaged += readTheirs(content).reachedEnd ? 0 : 1;
    }
  }
  EXPECT_GT(packets, all.size() * kRounds);
  EXPECT_GT(damaged, all.size() * kRounds / 10);
}

}  // namespace
}  // namespace vesk::host
