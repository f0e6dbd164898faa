#include "host/inputs/UsbPackets.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "host/inputs/Fields.h"

namespace vesk::host {

namespace {

constexpr std::size_t kSetupBytes = 8;

/// Both kinds of header number the transfers alike; USBPcap has pseudo-transfers beyond them.
UsbEvent::Transfer transferOf(std::uint8_t number) {
  return number <= 3 ? static_cast<UsbEvent::Transfer>(number) : UsbEvent::Transfer::None;
}

// usbmon

// Linux's error numbers, as they are on most machines: a capture is read on any other, too.
constexpr std::int32_t kNoEntry = -2;            // the request was unlinked, and waited for
constexpr std::int32_t kBrokenPipe = -32;        // stalled
constexpr std::int32_t kConnectionReset = -104;  // unlinked
constexpr std::int32_t kShutdown = -108;         // the device or its driver is gone

UsbEvent::Outcome usbmonOutcome(std::int32_t status) {
  switch (status) {
    case 0:
      return UsbEvent::Outcome::Done;
    case kBrokenPipe:
      return UsbEvent::Outcome::Stalled;
    case kNoEntry:
    case kConnectionReset:
    case kShutdown:
      return UsbEvent::Outcome::Cancelled;
    default:
      return UsbEvent::Outcome::Failed;
  }
}

/// The header that usbmon's events begin with, in the byte order of the machine that it ran on.
class UsbmonHeader {
 public:
  static constexpr std::size_t kSize = 48;
  static constexpr std::size_t kMappedSize = 64;
  static constexpr std::size_t kSetup = 40;

  UsbmonHeader(std::span<const std::uint8_t> packet, std::endian order) : _fields(packet, order) {}

  std::uint64_t request() const { return _fields.at<std::uint64_t>(0); }
  bool isSubmission() const { return _fields.at<char>(8) == 'S'; }
  std::uint8_t transfer() const { return _fields.at<std::uint8_t>(9); }
  std::uint8_t endpoint() const { return _fields.at<std::uint8_t>(10); }
  std::uint8_t device() const { return _fields.at<std::uint8_t>(11); }
  std::uint16_t bus() const { return _fields.at<std::uint16_t>(12); }
  bool hasSetup() const { return _fields.at<std::uint8_t>(14) == 0; }
  std::int32_t status() const { return _fields.at<std::int32_t>(28); }
  std::uint32_t transferred() const { return _fields.at<std::uint32_t>(32); }
  std::uint32_t dataLength() const { return _fields.at<std::uint32_t>(36); }

 private:
  Fields _fields;
};

std::optional<UsbEvent> usbmonEvent(std::size_t headerSize, std::endian order,
                                    std::span<const std::uint8_t> packet) {
  if (packet.size() < headerSize) return std::nullopt;
  const UsbmonHeader header(packet, order);
  const auto data = packet.subspan(headerSize);

  UsbEvent event{};
  event.stage = header.isSubmission() ? UsbEvent::Stage::Submission : UsbEvent::Stage::Completion;
  event.transfer = transferOf(header.transfer());
  event.sender = {header.bus(), header.device(), header.endpoint()};
  event.request = header.request();
  event.outcome = usbmonOutcome(header.status());
  event.status = header.status();
  if (header.hasSetup()) event.setup = packet.subspan(UsbmonHeader::kSetup, kSetupBytes);
  event.data = data.first(std::min<std::size_t>(data.size(), header.dataLength()));
  event.transferred = header.transferred();
  return event;
}

// USBPcap

/// Its header, packed and little-endian on every machine.
class UsbPcapHeader {
 public:
  static constexpr std::size_t kSize = 27;
  enum ControlStage : std::uint8_t { kSetup = 0 };

  explicit UsbPcapHeader(std::span<const std::uint8_t> packet)
      : _fields(packet, std::endian::little), _hasStage(packet.size() > kSize) {}

  std::size_t headerLength() const { return _fields.at<std::uint16_t>(0); }
  std::uint64_t request() const { return _fields.at<std::uint64_t>(2); }
  std::uint32_t status() const { return _fields.at<std::uint32_t>(10); }
  bool fromDevice() const { return (_fields.at<std::uint8_t>(16) & 1) != 0; }
  std::uint16_t bus() const { return _fields.at<std::uint16_t>(17); }
  std::uint16_t device() const { return _fields.at<std::uint16_t>(19); }
  std::uint8_t endpoint() const { return _fields.at<std::uint8_t>(21); }
  std::uint8_t transfer() const { return _fields.at<std::uint8_t>(22); }
  std::uint32_t dataLength() const { return _fields.at<std::uint32_t>(23); }
  bool isSetup() const { return !_hasStage || _fields.at<std::uint8_t>(kSize) == kSetup; }

 private:
  Fields _fields;
  bool _hasStage;
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
  event.transfer = transferOf(header.transfer());
  const bool laterStage = event.transfer == UsbEvent::Transfer::Control && !header.isSetup();
  if (header.fromDevice())
    event.stage = UsbEvent::Stage::Completion;
  else
    event.stage = laterStage ? UsbEvent::Stage::Continuation : UsbEvent::Stage::Submission;
  event.sender = {header.bus(), header.device(), header.endpoint()};
  event.request = header.request();
  event.outcome = usbPcapOutcome(header.status());
  event.status = header.status();
  event.data = data.first(std::min<std::size_t>(data.size(), header.dataLength()));
  event.transferred = header.dataLength();
  if (event.stage == UsbEvent::Stage::Submission && event.transfer == UsbEvent::Transfer::Control &&
      event.data.size() >= kSetupBytes) {
    event.setup = event.data.first(kSetupBytes);
    event.data = event.data.subspan(kSetupBytes);
    event.transferred -= kSetupBytes;
  }
  return event;
}

/// What other captures hold, as the programs that make them call it.
struct OtherLink {
  std::uint16_t type;
  std::string_view name;
  std::string_view usb;  // how it is USB; empty if it isn't
};

constexpr std::string_view kFreeBsd = "USB as FreeBSD captures it";
constexpr std::string_view kDarwin = "USB as macOS captures it";
constexpr std::string_view kCable = "USB as an analyzer on the cable captures it";

constexpr std::array<OtherLink, 19> kOtherLinks = {{
    {0, "NULL", {}},
    {1, "EN10MB", {}},
    {101, "RAW", {}},
    {105, "IEEE802_11", {}},
    {113, "LINUX_SLL", {}},
    {127, "IEEE802_11_RADIO", {}},
    {186, "USB_FREEBSD", kFreeBsd},
    {187, "BLUETOOTH_HCI_H4", {}},
    {201, "BLUETOOTH_HCI_H4_WITH_PHDR", {}},
    {251, "BLUETOOTH_LE_LL", {}},
    {253, "NETLINK", {}},
    {254, "BLUETOOTH_LINUX_MONITOR", {}},
    {256, "BLUETOOTH_LE_LL_WITH_PHDR", {}},
    {266, "USB_DARWIN", kDarwin},
    {276, "LINUX_SLL2", {}},
    {288, "USB_2_0", kCable},
    {293, "USB_2_0_LOW_SPEED", kCable},
    {294, "USB_2_0_FULL_SPEED", kCable},
    {295, "USB_2_0_HIGH_SPEED", kCable},
}};

}  // namespace

bool isUsbLink(std::uint16_t linkType) {
  const auto link = static_cast<UsbLink>(linkType);
  return link == UsbLink::Usbmon || link == UsbLink::UsbmonMapped || link == UsbLink::UsbPcap;
}

std::string unsupportedLink(std::uint16_t linkType) {
  const auto other = std::ranges::find(kOtherLinks, linkType, &OtherLink::type);
  const bool known = other != kOtherLinks.end();
  std::string text = "a capture of link type " + std::to_string(linkType);
  if (known) text.append(" (").append(other->name).append(")");
  if (!known || other->usb.empty())
    return text + ", which is not USB (189, 220 or 249); capture on usbmon, or with USBPcap";
  return text.append(": ").append(other->usb) +
         ", which is not read (189, 220 and 249 are); capture on Linux on usbmon " +
         "(modprobe usbmon; tshark -i usbmon0 -w FILE), or on Windows with USBPcap";
}

std::optional<UsbEvent> usbEvent(UsbLink link, std::endian order,
                                 std::span<const std::uint8_t> packet) {
  switch (link) {
    case UsbLink::Usbmon:
      return usbmonEvent(UsbmonHeader::kSize, order, packet);
    case UsbLink::UsbmonMapped:
      return usbmonEvent(UsbmonHeader::kMappedSize, order, packet);
    case UsbLink::UsbPcap:
      return usbPcapEvent(packet);
  }
  return std::nullopt;
}

}  // namespace vesk::host
