#include "host/inputs/UsbPackets.h"

#include <pcap/usb.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace vesk::host {

namespace {

constexpr std::size_t kSetupBytes = 8;

/// Both kinds of header number the transfers alike; USBPcap has pseudo-transfers beyond them.
UsbEvent::Transfer transferOf(std::uint8_t number) {
  return number <= 3 ? static_cast<UsbEvent::Transfer>(number) : UsbEvent::Transfer::None;
}

UsbEvent::Outcome usbmonOutcome(std::int32_t status) {
  switch (status) {
    case 0:
      return UsbEvent::Outcome::Done;
    case -EPIPE:
      return UsbEvent::Outcome::Stalled;
    case -ENOENT:
    case -ECONNRESET:
    case -ESHUTDOWN:
      return UsbEvent::Outcome::Cancelled;
    default:
      return UsbEvent::Outcome::Failed;
  }
}

/// libpcap has brought usbmon's fields into the byte order of this machine.
std::optional<UsbEvent> usbmonEvent(std::size_t headerSize, std::span<const std::uint8_t> packet) {
  if (packet.size() < headerSize) return std::nullopt;
  pcap_usb_header header;
  std::memcpy(&header, packet.data(), sizeof header);
  const auto data = packet.subspan(headerSize);

  UsbEvent event{};
  event.stage =
      header.event_type == URB_SUBMIT ? UsbEvent::Stage::Submission : UsbEvent::Stage::Completion;
  event.transfer = transferOf(header.transfer_type);
  event.sender = {header.bus_id, header.device_address, header.endpoint_number};
  event.request = header.id;
  event.outcome = usbmonOutcome(header.status);
  event.status = header.status;
  if (header.setup_flag == 0)
    event.setup = packet.subspan(offsetof(pcap_usb_header, setup), kSetupBytes);
  event.data = data.first(std::min<std::size_t>(data.size(), header.data_len));
  event.transferred = header.urb_len;
  return event;
}

/// USBPcap's header, packed and little-endian on every machine.
class UsbPcapHeader {
 public:
  static constexpr std::size_t kSize = 27;

  explicit UsbPcapHeader(std::span<const std::uint8_t> packet) : _packet(packet) {}

  std::size_t headerLength() const { return field<std::uint16_t>(0); }
  std::uint64_t request() const { return field<std::uint64_t>(2); }
  std::uint32_t status() const { return field<std::uint32_t>(10); }
  bool fromDevice() const { return (_packet[16] & 1) != 0; }
  std::uint16_t bus() const { return field<std::uint16_t>(17); }
  std::uint16_t device() const { return field<std::uint16_t>(19); }
  std::uint8_t endpoint() const { return _packet[21]; }
  std::uint8_t transfer() const { return _packet[22]; }
  std::uint32_t dataLength() const { return field<std::uint32_t>(23); }
  std::uint8_t controlStage() const { return _packet.size() > kSize ? _packet[kSize] : 0; }

 private:
  template <class T>
  T field(std::size_t offset) const {
    std::uint64_t value = 0;
    for (std::size_t i = sizeof(T); i-- > 0;) value = value << 8 | _packet[offset + i];
    return static_cast<T>(value);
  }

  std::span<const std::uint8_t> _packet;
};

UsbEvent::Outcome usbPcapOutcome(std::uint32_t status) {
  switch (status) {
    case 0:
      return UsbEvent::Outcome::Done;
    case 0xC0000004:  // stall
    case 0xC0000030:  // endpoint halted
      return UsbEvent::Outcome::Stalled;
    case 0xC0010000:  // cancelled
      return UsbEvent::Outcome::Cancelled;
    default:
      return UsbEvent::Outcome::Failed;
  }
}

std::optional<UsbEvent> usbPcapEvent(std::span<const std::uint8_t> packet) {
  if (packet.size() < UsbPcapHeader::kSize) return std::nullopt;
  const UsbPcapHeader header(packet);
  if (header.headerLength() < UsbPcapHeader::kSize || header.headerLength() > packet.size())
    return std::nullopt;
  const auto data = packet.subspan(header.headerLength());

  UsbEvent event{};
  event.stage = header.fromDevice() ? UsbEvent::Stage::Completion : UsbEvent::Stage::Submission;
  event.transfer = transferOf(header.transfer());
  event.sender = {header.bus(), header.device(), header.endpoint()};
  event.request = header.request();
  event.outcome = usbPcapOutcome(header.status());
  event.status = header.status();
  event.data = data.first(std::min<std::size_t>(data.size(), header.dataLength()));
  event.transferred = header.dataLength();
  constexpr std::uint8_t kSetupStage = 0;
  if (event.transfer == UsbEvent::Transfer::Control && header.controlStage() == kSetupStage &&
      event.data.size() >= kSetupBytes)
    event.setup = event.data.first(kSetupBytes);
  return event;
}

}  // namespace

bool isUsbLink(int linkType) {
  const auto link = static_cast<UsbLink>(linkType);
  return link == UsbLink::Usbmon || link == UsbLink::UsbmonMapped || link == UsbLink::UsbPcap;
}

std::optional<UsbEvent> usbEvent(UsbLink link, std::span<const std::uint8_t> packet) {
  switch (link) {
    case UsbLink::Usbmon:
      return usbmonEvent(sizeof(pcap_usb_header), packet);
    case UsbLink::UsbmonMapped:
      return usbmonEvent(sizeof(pcap_usb_header_mmapped), packet);
    case UsbLink::UsbPcap:
      return usbPcapEvent(packet);
  }
  return std::nullopt;
}

}  // namespace vesk::host
