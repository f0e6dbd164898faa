// The headers of USB packets, field by field.

#include "host/inputs/UsbPackets.h"

#include <gtest/gtest.h>
#include <pcap/usb.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace vesk::host {
namespace {

std::vector<std::uint8_t> usbmonPacket(std::size_t headerSize) {
  pcap_usb_header header{};
  header.id = 0xFFFF888012345678;
  header.event_type = 'C';
  header.transfer_type = URB_INTERRUPT;
  header.endpoint_number = 0x81;
  header.device_address = 5;
  header.bus_id = 3;
  header.setup_flag = '-';
  header.status = -EPIPE;
  header.urb_len = 10;
  header.data_len = 2;
  std::vector<std::uint8_t> packet(headerSize + 4, 0xAA);
  std::memcpy(packet.data(), &header, sizeof header);
  return packet;
}

TEST(UsbPackets, Usbmon) {
  for (const UsbLink link : {UsbLink::Usbmon, UsbLink::UsbmonMapped}) {
    auto packet = usbmonPacket(link == UsbLink::Usbmon ? 48 : 64);
    const auto event = usbEvent(link, packet);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->stage, UsbEvent::Stage::Completion);
    EXPECT_EQ(event->transfer, UsbEvent::Transfer::Interrupt);
    EXPECT_EQ(event->sender.bus, 3);
    EXPECT_EQ(event->sender.device, 5);
    EXPECT_EQ(event->sender.endpoint, 0x81);
    EXPECT_EQ(event->request, 0xFFFF888012345678u);
    EXPECT_EQ(event->outcome, UsbEvent::Outcome::Stalled);
    EXPECT_EQ(event->status, -EPIPE);
    EXPECT_TRUE(event->setup.empty());
    EXPECT_EQ(event->data.size(), 2u);
    EXPECT_EQ(event->transferred, 10u);
    packet.resize(packet.size() - 5);
    EXPECT_FALSE(usbEvent(link, packet)) << "a byte less than its header";
  }
}

TEST(UsbPackets, UsbmonStagesAndStatuses) {
  auto packet = usbmonPacket(48);
  packet[8] = 'S';
  EXPECT_EQ(usbEvent(UsbLink::Usbmon, packet)->stage, UsbEvent::Stage::Submission);
  packet[8] = 'E';
  EXPECT_EQ(usbEvent(UsbLink::Usbmon, packet)->stage, UsbEvent::Stage::Completion);
  for (const auto& [status, outcome] : {std::pair{0, UsbEvent::Outcome::Done},
                                        std::pair{-ENOENT, UsbEvent::Outcome::Cancelled},
                                        std::pair{-ECONNRESET, UsbEvent::Outcome::Cancelled},
                                        std::pair{-ESHUTDOWN, UsbEvent::Outcome::Cancelled},
                                        std::pair{-EPROTO, UsbEvent::Outcome::Failed},
                                        std::pair{INT32_MIN, UsbEvent::Outcome::Failed}}) {
    std::memcpy(packet.data() + 28, &status, sizeof status);
    EXPECT_EQ(usbEvent(UsbLink::Usbmon, packet)->outcome, outcome) << status;
  }
}

TEST(UsbPackets, UsbmonSetup) {
  auto packet = usbmonPacket(48);
  packet[9] = URB_CONTROL;
  packet[14] = 0;  // the setup bytes are there
  packet[40] = 0xA1;
  packet[47] = 0x10;
  const auto setup = usbEvent(UsbLink::Usbmon, packet)->setup;
  ASSERT_EQ(setup.size(), 8u);
  EXPECT_EQ(setup.front(), 0xA1);
  EXPECT_EQ(setup.back(), 0x10);
}

std::vector<std::uint8_t> usbPcapPacket(std::uint8_t transfer, std::uint8_t stage) {
  return {28,    0,                                 // header length
          8,     7,        6,    5,    4, 3, 2, 1,  // request
          0x04,  0,        0,    0xC0,              // status
          9,     0,                                 // function
          1,                                        // from the device
          3,     0,                                 // bus
          5,     1,                                 // device
          0x80,  transfer,                          // endpoint, transfer
          9,     0,        0,    0,                 // data length
          stage,                                    // of a control transfer
          0xA1,  1,        0xDE, 3,    0, 0, 0, 0x10};
}

TEST(UsbPackets, UsbPcap) {
  const auto packet = usbPcapPacket(2, 0);
  const auto event = usbEvent(UsbLink::UsbPcap, packet);
  ASSERT_TRUE(event);
  EXPECT_EQ(event->stage, UsbEvent::Stage::Completion);
  EXPECT_EQ(event->transfer, UsbEvent::Transfer::Control);
  EXPECT_EQ(event->sender.bus, 3);
  EXPECT_EQ(event->sender.device, 261);
  EXPECT_EQ(event->sender.endpoint, 0x80);
  EXPECT_EQ(event->request, 0x0102030405060708u);
  EXPECT_EQ(event->outcome, UsbEvent::Outcome::Stalled);
  EXPECT_EQ(event->status, 0xC0000004);
  EXPECT_EQ(event->data.size(), 8u);
  EXPECT_EQ(event->transferred, 9u);
  ASSERT_EQ(event->setup.size(), 8u);
  EXPECT_EQ(event->setup[2], 0xDE);
}

TEST(UsbPackets, UsbPcapSetupOnlyInItsStage) {
  EXPECT_TRUE(usbEvent(UsbLink::UsbPcap, usbPcapPacket(2, 3))->setup.empty());
  EXPECT_TRUE(usbEvent(UsbLink::UsbPcap, usbPcapPacket(1, 0))->setup.empty());
}

TEST(UsbPackets, UsbPcapTransfersThatAreNone) {
  for (const std::uint8_t transfer : {std::uint8_t{0xFE}, std::uint8_t{0xFF}})
    EXPECT_EQ(usbEvent(UsbLink::UsbPcap, usbPcapPacket(transfer, 0))->transfer,
              UsbEvent::Transfer::None);
}

TEST(UsbPackets, UsbPcapHeadersThatLie) {
  auto packet = usbPcapPacket(2, 0);
  for (const int length : {0, 26, 37, 255}) {
    packet[0] = static_cast<std::uint8_t>(length);
    EXPECT_FALSE(usbEvent(UsbLink::UsbPcap, packet)) << length;
  }
  packet[0] = 36;  // all of it is header
  EXPECT_TRUE(usbEvent(UsbLink::UsbPcap, packet)->data.empty());
  packet.resize(26);
  EXPECT_FALSE(usbEvent(UsbLink::UsbPcap, packet));
}

TEST(UsbPackets, Links) {
  EXPECT_TRUE(isUsbLink(189));
  EXPECT_TRUE(isUsbLink(220));
  EXPECT_TRUE(isUsbLink(249));
  EXPECT_FALSE(isUsbLink(1));
}

}  // namespace
}  // namespace vesk::host
