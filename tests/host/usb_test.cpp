// The headers of USB packets, field by field, and what a capture of them gives.

#include "host/inputs/UsbPackets.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/inputs/UsbCapture.h"
#include "tests/host/captures.h"
#include "tests/host/strings.h"

namespace vesk::host {
namespace {

std::vector<std::uint8_t> bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

/// What usbmon writes, but for the fields that matter to a test.
struct Usbmon {
  std::uint64_t request = 0xFFFF888012345678;
  char stage = 'C';
  std::uint8_t transfer = 1;  // 1 for interrupt, 2 for control
  std::uint8_t endpoint = 0x81;
  std::uint8_t device = 5;
  std::uint16_t bus = 0x0103;
  std::string setup;  // 8 bytes, or none
  std::int32_t status = 0;
  std::uint32_t transferred = 10;
  std::string data = "\xAA\xBB";

  std::string packet(std::endian order, std::size_t headerSize = 48) const {
    CaptureBytes bytes(order);
    bytes.u64(request).text({&stage, 1});
    for (const std::uint8_t byte : {transfer, endpoint, device})
      bytes.text(std::string(1, static_cast<char>(byte)));
    bytes.u16(bus)
        .text(std::string(1, setup.empty() ? '-' : '\0'))
        .text(std::string(1, data.empty() ? '<' : '\0'));
    bytes.u64(1).u32(2).u32(static_cast<std::uint32_t>(status)).u32(transferred);
    bytes.u32(static_cast<std::uint32_t>(data.size()));
    bytes.text(setup.empty() ? std::string(8, '\0') : setup);
    return bytes.text(std::string(headerSize - 48, '\0')).text(data).bytes();
  }
};

TEST(UsbPackets, Usbmon) {
  for (const std::endian order : kOrders) {
    for (const UsbLink link : {UsbLink::Usbmon, UsbLink::UsbmonMapped}) {
      const std::size_t header = link == UsbLink::Usbmon ? 48 : 64;
      Usbmon usbmon;
      usbmon.status = -32;
      auto packet = bytesOf(usbmon.packet(order, header) + "padding");
      const auto event = usbEvent(link, order, packet);
      ASSERT_TRUE(event);
      EXPECT_EQ(event->stage, UsbEvent::Stage::Completion);
      EXPECT_EQ(event->transfer, UsbEvent::Transfer::Interrupt);
      EXPECT_EQ(event->sender.bus, 0x0103);
      EXPECT_EQ(event->sender.device, 5);
      EXPECT_EQ(event->sender.endpoint, 0x81);
      EXPECT_EQ(event->request, 0xFFFF888012345678u);
      EXPECT_EQ(event->outcome, UsbEvent::Outcome::Stalled);
      EXPECT_EQ(event->status, -32);
      EXPECT_TRUE(event->setup.empty());
      EXPECT_EQ(event->data.size(), 2u);
      EXPECT_EQ(event->data.front(), 0xAA);
      EXPECT_EQ(event->transferred, 10u);
      packet.resize(header - 1);
      EXPECT_FALSE(usbEvent(link, order, packet)) << "a byte less than its header";
    }
  }
}

TEST(UsbPackets, UsbmonStagesAndStatuses) {
  using Stage = UsbEvent::Stage;
  using Outcome = UsbEvent::Outcome;
  const auto event = [](char stage, std::int32_t status) {
    Usbmon usbmon;
    usbmon.stage = stage;
    usbmon.status = status;
    const auto packet = bytesOf(usbmon.packet(std::endian::big));
    return *usbEvent(UsbLink::Usbmon, std::endian::big, packet);
  };
  EXPECT_EQ(event('S', -115).stage, Stage::Submission);
  EXPECT_EQ(event('E', 0).stage, Stage::Completion) << "a submission that failed";
  for (const auto& [status, outcome] : {std::pair{0, Outcome::Done},
                                        std::pair{-32, Outcome::Stalled},
                                        std::pair{-2, Outcome::Cancelled},
                                        std::pair{-104, Outcome::Cancelled},
                                        std::pair{-108, Outcome::Cancelled},
                                        std::pair{-71, Outcome::Failed},
                                        std::pair{32, Outcome::Failed},
                                        std::pair{INT32_MIN, Outcome::Failed}}) {
    EXPECT_EQ(event('C', status).outcome, outcome) << status;
    EXPECT_EQ(event('C', status).status, status);
  }
}

TEST(UsbPackets, UsbmonSetup) {
  Usbmon usbmon;
  usbmon.stage = 'S';
  usbmon.transfer = 2;
  usbmon.setup =
      "\xA1"
      "234567"
      "\x10";
  const auto packet = bytesOf(usbmon.packet(std::endian::little));
  const auto setup = usbEvent(UsbLink::Usbmon, std::endian::little, packet)->setup;
  ASSERT_EQ(setup.size(), 8u);
  EXPECT_EQ(setup.front(), 0xA1);
  EXPECT_EQ(setup.back(), 0x10);
}

/// USBPcap's packet of a transfer (1 for interrupt, 2 for control), the latter in a stage: the setup
/// (0), its data (1), its status (2) or all of it completed (3).
struct UsbPcap {
  bool fromDevice = false;
  std::uint8_t transfer = 2;
  std::uint8_t endpoint = 0;
  std::uint8_t stage = 0;
  std::uint32_t status = 0;
  std::string data = {};
  std::uint64_t request = 0x0102030405060708;

  std::string packet() const {
    const bool staged = transfer == 2;
    CaptureBytes bytes(std::endian::little);
    bytes.u16(staged ? 28 : 27)
        .u64(request)
        .u32(status)
        .u16(9)
        .text(std::string(1, static_cast<char>(fromDevice)));
    bytes.u16(3)
        .u16(261)
        .text(std::string(1, static_cast<char>(endpoint)))
        .text(std::string(1, static_cast<char>(transfer)));
    bytes.u32(static_cast<std::uint32_t>(data.size()));
    if (staged) bytes.text(std::string(1, static_cast<char>(stage)));
    return bytes.text(data).bytes();
  }
};

UsbEvent eventOf(const std::vector<std::uint8_t>& packet) {
  return usbEvent(UsbLink::UsbPcap, std::endian::big, packet).value();
}

const std::string kReadsState("\xA1\x01\xDE\x03\0\0\0\x10", 8);
const std::string kWritesState("\x21\x09\xDE\x03\0\0\x02\0", 8);

TEST(UsbPackets, UsbPcap) {
  UsbPcap usbPcap{true, 2, 0x80, 3, 0xC0000004, "abc"};
  const auto packet = bytesOf(usbPcap.packet());
  const UsbEvent event = eventOf(packet);
  EXPECT_EQ(event.stage, UsbEvent::Stage::Completion);
  EXPECT_EQ(event.transfer, UsbEvent::Transfer::Control);
  EXPECT_EQ(event.sender.bus, 3);
  EXPECT_EQ(event.sender.device, 261);
  EXPECT_EQ(event.sender.endpoint, 0x80);
  EXPECT_EQ(event.request, 0x0102030405060708u);
  EXPECT_EQ(event.outcome, UsbEvent::Outcome::Stalled);
  EXPECT_EQ(event.status, 0xC0000004);
  EXPECT_EQ(event.data.size(), 3u);
  EXPECT_EQ(event.transferred, 3u);
  EXPECT_TRUE(event.setup.empty());
}

TEST(UsbPackets, UsbPcapSetup) {
  const auto packet = bytesOf(UsbPcap{false, 2, 0, 0, 0, kWritesState + "\xDE\x01"}.packet());
  const UsbEvent event = eventOf(packet);
  EXPECT_EQ(event.stage, UsbEvent::Stage::Submission);
  ASSERT_EQ(event.setup.size(), 8u);
  EXPECT_EQ(event.setup[2], 0xDE);
  ASSERT_EQ(event.data.size(), 2u);
  EXPECT_EQ(event.data[1], 1);
  EXPECT_EQ(event.transferred, 2u);
}

TEST(UsbPackets, UsbPcapStages) {
  const auto event = [](bool fromDevice, std::uint8_t transfer, std::uint8_t stage) {
    const auto packet = bytesOf(UsbPcap{fromDevice, transfer, 0, stage, 0, kReadsState}.packet());
    const UsbEvent made = eventOf(packet);
    return std::pair(made.stage, made.setup.size());
  };
  using Stage = UsbEvent::Stage;
  EXPECT_EQ(event(false, 2, 0), std::pair(Stage::Submission, std::size_t{8}));
  EXPECT_EQ(event(false, 2, 1), std::pair(Stage::Continuation, std::size_t{0}));
  EXPECT_EQ(event(false, 2, 2), std::pair(Stage::Continuation, std::size_t{0}));
  EXPECT_EQ(event(true, 2, 1), std::pair(Stage::Completion, std::size_t{0}));
  EXPECT_EQ(event(true, 2, 0), std::pair(Stage::Completion, std::size_t{0}));
  EXPECT_EQ(event(false, 1, 0), std::pair(Stage::Submission, std::size_t{0}));
}

TEST(UsbPackets, UsbPcapTransfersThatAreNone) {
  for (const std::uint8_t transfer : {std::uint8_t{0xFE}, std::uint8_t{0xFF}}) {
    const auto packet = bytesOf(UsbPcap{false, transfer}.packet());
    EXPECT_EQ(eventOf(packet).transfer, UsbEvent::Transfer::None);
  }
}

TEST(UsbPackets, UsbPcapHeadersThatLie) {
  auto packet = bytesOf(UsbPcap{false, 2, 0, 0, 0, kReadsState}.packet());
  ASSERT_EQ(packet.size(), 36u);
  const auto event = [&] { return usbEvent(UsbLink::UsbPcap, std::endian::little, packet); };
  for (const int length : {0, 26, 37, 255}) {
    packet[0] = static_cast<std::uint8_t>(length);
    EXPECT_FALSE(event()) << length;
  }
  packet[0] = 36;  // all of it is header
  EXPECT_TRUE(event()->data.empty());
  packet.resize(26);
  EXPECT_FALSE(event());
}

TEST(UsbPackets, Links) {
  EXPECT_TRUE(isUsbLink(189));
  EXPECT_TRUE(isUsbLink(220));
  EXPECT_TRUE(isUsbLink(249));
  EXPECT_FALSE(isUsbLink(1));
  EXPECT_EQ(unsupportedLink(1),
            "a capture of link type 1 (EN10MB), which is not USB (189, 220 or 249); capture on "
            "usbmon, or with USBPcap");
  EXPECT_EQ(unsupportedLink(999),
            "a capture of link type 999, which is not USB (189, 220 or 249); capture on usbmon, or "
            "with USBPcap");
  const std::string instead =
      ", which is not read (189, 220 and 249 are); capture on Linux on usbmon (modprobe usbmon; "
      "tshark -i usbmon0 -w FILE), or on Windows with USBPcap";
  EXPECT_EQ(unsupportedLink(186),
            "a capture of link type 186 (USB_FREEBSD): USB as FreeBSD captures it" + instead);
  EXPECT_EQ(unsupportedLink(266),
            "a capture of link type 266 (USB_DARWIN): USB as macOS captures it" + instead);
  for (const auto& [type, name] : {std::pair{std::uint16_t{288}, "288 (USB_2_0)"},
                                   {std::uint16_t{293}, "293 (USB_2_0_LOW_SPEED)"},
                                   {std::uint16_t{294}, "294 (USB_2_0_FULL_SPEED)"},
                                   {std::uint16_t{295}, "295 (USB_2_0_HIGH_SPEED)"}})
    EXPECT_EQ(unsupportedLink(type),
              std::string("a capture of link type ") + name +
                  ": USB as an analyzer on the cable captures it" + instead);
}

// Captures: what a host and a device said, and what becomes of it.

const KnownReports kNothing({});

std::string itemsOf(const std::string& capture) {
  StringBytes bytes(capture);
  UsbCapture input(bytes, {kNothing});
  std::string text;
  for (;;) {
    const Item item = input.next();
    if (std::holds_alternative<End>(item)) return text;
    if (const auto* report = std::get_if<Report>(&item)) {
      text +=
          describe("", report->place) + (report->direction == Direction::ToDevice ? " >" : " <");
      text += describe(report->id(), report->type) + " of " + countedBytes(report->bytes.size());
    } else {
      const auto& problem = std::get<Problem>(item);
      text += describe("", problem.place) + " " + std::string(nameOf(problem.code)) + ": " +
              problem.message;
    }
    text += '\n';
  }
}

const std::string kState = "\xDE\x01";

/// Control requests, and an interrupt transfer, on usbmon.
Usbmon submits(const std::string& setup, const std::string& data = {}, std::uint64_t request = 7) {
  const auto size = static_cast<std::uint32_t>(data.size());
  return {request, 'S', 2, 0x80, 5, 1, setup, -115, size, data};
}
Usbmon completes(const std::string& data, std::uint64_t request = 7) {
  return {request, 'C', 2, 0x80, 5, 1, {}, 0, static_cast<std::uint32_t>(data.size()), data};
}
Usbmon interrupts(char stage, std::uint8_t endpoint, const std::string& data) {
  return {7, stage, 1, endpoint, 5, 1, {}, 0, static_cast<std::uint32_t>(data.size()), data};
}

std::string usbmonCapture(const std::vector<Usbmon>& events) {
  CaptureBytes file(std::endian::little);
  file.pcap(kMicroMagic, 189);
  for (const Usbmon& event : events) file.record(1, 0, event.packet(std::endian::little));
  return file.bytes();
}

const std::string kVendorRead("\xC0\x07\0\0\0\0\x02\0", 8);
const std::string kUnanswered =
    ": packet 1 unanswered_request: report 0xDE (feature): its request has no answer in the "
    "capture\n";

TEST(UsbCaptures, ARequestEndsWhereItsNumberIsUsedAgain) {
  EXPECT_EQ(itemsOf(usbmonCapture({submits(kReadsState), completes(kState)})),
            ": packet 2 <report 0xDE (feature) of 2 bytes\n");
  // What a vendor's request answers begins as the report that was asked for does.
  EXPECT_EQ(itemsOf(usbmonCapture({submits(kReadsState), submits(kVendorRead), completes(kState)})),
            kUnanswered);
  // So does what an interrupt transfer or a request for a write brings.
  EXPECT_EQ(
      itemsOf(usbmonCapture({submits(kReadsState), interrupts('S', 0x81, {}), completes(kState)})),
      kUnanswered);
  EXPECT_EQ(itemsOf(usbmonCapture(
                {submits(kReadsState), submits(kWritesState, kState), completes(kState)})),
            kUnanswered + ": packet 2 >report 0xDE (feature) of 2 bytes\n");
  EXPECT_EQ(itemsOf(usbmonCapture({submits(kReadsState), submits(kReadsState), completes(kState)})),
            kUnanswered + ": packet 3 <report 0xDE (feature) of 2 bytes\n");
}

TEST(UsbCaptures, OtherNumbersDevicesAndInterfacesLeaveARequestOpen) {
  const std::string answer = " <report 0xDE (feature) of 2 bytes\n";
  EXPECT_EQ(itemsOf(usbmonCapture(
                {submits(kReadsState), submits(kVendorRead, {}, 8), completes(kState)})),
            ": packet 3" + answer);
  Usbmon other = submits(kVendorRead);
  other.device = 6;
  EXPECT_EQ(itemsOf(usbmonCapture({submits(kReadsState), other, completes(kState)})),
            ": packet 3" + answer);
  other = submits(kVendorRead);
  other.bus = 2;
  EXPECT_EQ(itemsOf(usbmonCapture({submits(kReadsState), other, completes(kState)})),
            ": packet 3" + answer);
  // One bus captured on two interfaces: everything comes twice.
  CaptureBytes file(std::endian::big);
  file.section().interface(189).interface(189);
  for (const Usbmon& event : {submits(kReadsState), completes(kState)})
    for (const std::uint32_t interface : {0u, 1u})
      file.enhanced(interface, 1, event.packet(std::endian::big));
  EXPECT_EQ(itemsOf(file.bytes()), ": packet 3" + answer + ": packet 4" + answer);
}

TEST(UsbCaptures, WhatAHostWrites) {
  const std::string output("\x21\x09\x05\x02\0\0\x03\0", 8);
  EXPECT_EQ(itemsOf(usbmonCapture({submits(output,
                                           "\x05"
                                           "ab"),
                                   completes({}),
                                   interrupts('S',
                                              0x02,
                                              "\x06"
                                              "abc"),
                                   interrupts('C', 0x02, {}),
                                   submits(kWritesState),  // its data were not captured
                                   completes({}),
                                   interrupts('S', 0x02, {}),
                                   interrupts('C', 0x81, "\x76")})),
            ": packet 1 >report 0x05 (output) of 3 bytes\n"
            ": packet 3 >report 0x06 (output) of 4 bytes\n"
            ": packet 8 <report 0x76 (input) of 1 byte\n");
}

TEST(UsbCaptures, WhatAHostWritesOnWindows) {
  CaptureBytes file(std::endian::little);
  file.pcap(kMicroMagic, 249);
  for (const UsbPcap& packet : {UsbPcap{false, 2, 0, 0, 0, kWritesState + kState},
                                UsbPcap{true, 2, 0, 3},
                                // Older ones: the data in a packet of their own.
                                UsbPcap{false, 2, 0, 0, 0, kWritesState},
                                UsbPcap{false, 2, 0, 1, 0, kState},
                                UsbPcap{true, 2, 0, 2},
                                UsbPcap{false, 2, 0, 1, 0, kState},  // of nothing
                                UsbPcap{false, 2, 0x80, 0, 0, kReadsState},
                                UsbPcap{true, 2, 0x80, 1, 0, kState},
                                UsbPcap{false, 2, 0x80, 2},
                                UsbPcap{false,
                                        1,
                                        0x02,
                                        0,
                                        0,
                                        "\x05"
                                        "a"},
                                UsbPcap{true, 1, 0x02}})
    file.record(1, 0, packet.packet());
  EXPECT_EQ(itemsOf(file.bytes()),
            ": packet 1 >report 0xDE (feature) of 2 bytes\n"
            ": packet 4 >report 0xDE (feature) of 2 bytes\n"
            ": packet 8 <report 0xDE (feature) of 2 bytes\n"
            ": packet 10 >report 0x05 (output) of 2 bytes\n");
}

TEST(UsbCaptures, InterfacesThatAreNoUsb) {
  const std::string packet = interrupts('C', 0x81, kState).packet(std::endian::little);
  CaptureBytes file(std::endian::little);
  file.section().interface(1).interface(189).interface(266).interface(187);
  file.enhanced(0, 1, "ether").enhanced(1, 1, packet).enhanced(2, 1, "mac").enhanced(0, 1, "x");
  file.section().interface(189).enhanced(0, 1, packet);
  EXPECT_EQ(itemsOf(file.bytes()),
            ": packet 1 unsupported_input: interface 0: " + unsupportedLink(1) +
                "; its packets are passed over\n"
                ": packet 2 <report 0xDE (input) of 2 bytes\n"
                ": packet 3 unsupported_input: interface 2: " +
                unsupportedLink(266) +
                "; its packets are passed over\n"
                ": packet 5 <report 0xDE (input) of 2 bytes\n");
}

TEST(UsbCaptures, NoUsbAtAll) {
  const auto head = [] { return CaptureBytes(std::endian::little).section(); };
  EXPECT_EQ(itemsOf(head().bytes()), "");
  EXPECT_EQ(itemsOf(head().interface(189).bytes()), "");
  EXPECT_EQ(itemsOf(head().interface(1).interface(189).bytes()), "");
  EXPECT_EQ(itemsOf(head().interface(1).bytes()),
            " unsupported_input: " + unsupportedLink(1) + "\n");
  EXPECT_EQ(itemsOf(head().interface(1).enhanced(0, 1, "ether").bytes()),
            ": packet 1 unsupported_input: interface 0: " + unsupportedLink(1) +
                "; its packets are passed over\n"
                " unsupported_input: none of its interfaces is USB\n");
  CaptureBytes file(std::endian::little);
  file.pcap(kMicroMagic, 1).record(1, 1, "ether").record(1, 1, "ether");
  EXPECT_EQ(itemsOf(file.bytes()), " unsupported_input: " + unsupportedLink(1) + "\n");
  EXPECT_EQ(itemsOf(CaptureBytes(std::endian::little).pcap(kMicroMagic, 1).bytes()),
            " unsupported_input: " + unsupportedLink(1) + "\n");
}

TEST(UsbCaptures, Damage) {
  const std::string capture = usbmonCapture({interrupts('C', 0x81, kState)});
  StringBytes bytes(capture + "cut");
  UsbCapture input(bytes, {kNothing});
  EXPECT_TRUE(std::holds_alternative<Report>(input.next()));
  const Item item = input.next();
  const auto& problem = std::get<Problem>(item);
  EXPECT_EQ(problem.code, ProblemCode::TruncatedCapture);
  EXPECT_EQ(describe("f", problem.place), "f: packet 2");
  EXPECT_EQ(problem.offset, capture.size());
  EXPECT_EQ(problem.message,
            "truncated dump file; tried to read 16 header bytes, only got 3, at byte " +
                std::to_string(capture.size()) +
                "; what was good is decoded, and editcap FILE NEW.pcap writes it without the "
                "damaged end");
  EXPECT_FALSE(problem.endsInput());
}

TEST(UsbCaptures, PacketsLongerThanAnyReport) {
  const std::string longData(300'000, 'l');
  CaptureBytes file(std::endian::little);
  file.pcap(kMicroMagic, 189, 400'000);
  file.record(1, 0, interrupts('C', 0x81, longData).packet(std::endian::little));
  file.record(1, 0, interrupts('C', 0x81, kState).packet(std::endian::little));
  EXPECT_EQ(itemsOf(file.bytes()),
            ": packet 1 too_long: 300000 bytes, and no report is longer than 65536\n"
            ": packet 2 <report 0xDE (input) of 2 bytes\n");
}

}  // namespace
}  // namespace vesk::host
