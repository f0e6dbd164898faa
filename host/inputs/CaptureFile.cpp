#include "host/inputs/CaptureFile.h"

#include <algorithm>
#include <array>
#include <utility>

#include "host/Report.h"
#include "host/inputs/Fields.h"

namespace vesk::host {

namespace {

/// Of a record or block so much is held at once. A report and its headers are well below.
constexpr std::uint64_t kMostHeld = std::uint64_t{256} * 1024;

// Lengths beyond these are damage. The first holds for what a file says is its longest packet, too,
// and is what a packet of USBPcap, which says too little there, may have at most.
constexpr std::uint32_t kLongestPacket = 128 * 1024 * 1024;
constexpr std::uint32_t kLongestPacketUnsaid = 256 * 1024;
constexpr std::uint32_t kLongestBlock = 16 * 1024 * 1024;
constexpr std::size_t kMostInterfaces = 65536;

constexpr std::uint16_t kUsbPcap = 249;

constexpr std::size_t kPcapHead = 24;
constexpr std::uint32_t kPcapMagic = 0xA1B2C3D4;
constexpr std::uint32_t kPcapNanoMagic = 0xA1B23C4D;
constexpr std::uint32_t kPcapModifiedMagic = 0xA1B2CD34;

constexpr std::uint32_t kSectionMagic = 0x1A2B3C4D;
constexpr std::uint32_t kBlockHead = 8;    // type and size of all of it
constexpr std::uint32_t kBlockFrame = 12;  // and the size again at its end

enum BlockType : std::uint32_t {
  kInterfaceDescription = 1,
  kOldPacket = 2,
  kSimplePacket = 3,
  kEnhancedPacket = 6,
  kSectionHeader = 0x0A0D0D0A,  // the same in both byte orders
};

/// Options of an interface that matter here.
enum OptionCode : std::uint16_t { kEndOfOptions = 0, kResolution = 9, kOffset = 14 };
struct Option {
  OptionCode code;
  std::size_t size;
  const char* name;
};
constexpr std::array<Option, 3> kOptions = {{
    {kEndOfOptions, 0, "opt_endofopt"},
    {kResolution, 1, "if_tsresol"},
    {kOffset, 8, "if_tsoffset"},
}};

constexpr std::uint8_t kMicroseconds = 6;
constexpr std::uint8_t kNanoseconds = 9;
constexpr std::uint8_t kBinary = 0x80;

constexpr std::uint64_t powerOfTen(unsigned exponent) {
  std::uint64_t power = 1;
  for (; exponent != 0; --exponent) power *= 10;
  return power;
}
constexpr unsigned kLargestDecimal = 19;
static_assert(powerOfTen(kLargestDecimal) == 10'000'000'000'000'000'000u);
constexpr unsigned kLargestBinary = 63;

/// `fraction` of 2^`exponent` as microseconds, rounded down, without a product of more than 64 bits.
constexpr std::uint64_t microsecondsOfBinary(std::uint64_t fraction, unsigned exponent) {
  constexpr std::uint64_t kMillion = 1'000'000;
  if (exponent <= 32) return fraction * kMillion >> exponent;
  const std::uint64_t high = (fraction >> 32) * kMillion;
  const std::uint64_t low = (fraction & 0xFFFFFFFF) * kMillion;
  return (high + (low >> 32)) >> (exponent - 32);
}
static_assert(microsecondsOfBinary(1, 1) == 500'000);
static_assert(microsecondsOfBinary(0x7FFFFFFFFFFFFFFF, 63) == 999'999);

constexpr std::uint64_t microsecondsOfDecimal(std::uint64_t fraction, unsigned exponent) {
  return exponent < kMicroseconds ? fraction * powerOfTen(kMicroseconds - exponent)
                                  : fraction / powerOfTen(exponent - kMicroseconds);
}

std::string tooShort(std::uint32_t type) {
  return "block of type " + std::to_string(type) + " in pcapng dump file is too short";
}

bool isPcapMagic(std::uint32_t magic) {
  return magic == kPcapMagic || magic == kPcapNanoMagic || magic == kPcapModifiedMagic;
}

}  // namespace

std::optional<std::int64_t> captureTime(std::uint64_t time, std::uint8_t resolution,
                                        std::int64_t offset) {
  constexpr std::int64_t kMostSeconds = 1'000'000'000'000;
  const unsigned exponent = resolution & ~kBinary;
  const bool binary = (resolution & kBinary) != 0;
  const std::uint64_t units = binary ? std::uint64_t{1} << exponent : powerOfTen(exponent);
  const std::uint64_t seconds = time / units;
  if (seconds > kMostSeconds || offset > kMostSeconds || offset < -kMostSeconds)
    return std::nullopt;
  const std::int64_t sum = static_cast<std::int64_t>(seconds) + offset;
  if (sum < 0 || sum > kMostSeconds) return std::nullopt;
  const std::uint64_t fraction = time % units;
  const std::uint64_t microseconds =
      binary ? microsecondsOfBinary(fraction, exponent) : microsecondsOfDecimal(fraction, exponent);
  return sum * 1'000'000 + static_cast<std::int64_t>(microseconds);
}

CaptureFile::CaptureFile(Bytes& bytes) : _bytes(bytes), _start(bytes.position()) {
  const View magic = peek(4);
  if (magic.size() < 4)
    throw InputFault("no capture: " + std::to_string(magic.size()) + " of 4 bytes to know it by");
  const auto little = Fields(magic, std::endian::little).at<std::uint32_t>(0);
  const auto big = Fields(magic, std::endian::big).at<std::uint32_t>(0);
  if (little == kSectionHeader) {
    Block block;
    if (const auto damage = readBlock(block)) throw InputFault(damage->message);
    if (const auto complaint = beginSection(block)) throw InputFault(*complaint);
    return;
  }
  if (!isPcapMagic(little) && !isPcapMagic(big))
    throw InputFault("no capture: it begins as neither pcap nor pcapng does");
  _order = isPcapMagic(big) ? std::endian::big : std::endian::little;
  openRecords(isPcapMagic(big) ? big : little);
}

CaptureFile::View CaptureFile::peek(std::uint64_t wanted) {
  const std::string_view window = _bytes.peek(static_cast<std::size_t>(wanted));
  return {reinterpret_cast<const std::uint8_t*>(window.data()), window.size()};
}

CaptureFile::Damage CaptureFile::damage(std::string message) {
  _ended = true;
  return {_packets + 1, _start, std::move(message)};
}

CaptureFile::Damage CaptureFile::truncated(std::string_view what, std::uint64_t wanted,
                                           std::uint64_t got) {
  return damage("truncated " + std::string(_recordHead == 0 ? "pcapng " : "") +
                "dump file; tried to read " + std::to_string(wanted) + " " + std::string(what) +
                "bytes, only got " + std::to_string(got));
}

CaptureFile::Next CaptureFile::end() {
  _ended = true;
  return End{};
}

CaptureFile::Next CaptureFile::next() {
  if (_ended) return End{};
  return _recordHead == 0 ? nextBlock() : nextRecord();
}

/// Takes what is left of the record or block at hand.
std::optional<CaptureFile::Damage> CaptureFile::passRest() {
  std::uint64_t left = _unread;
  while (left != 0) {
    const std::uint64_t count = std::min<std::uint64_t>(left, peek(1).size());
    if (count == 0) {
      const std::uint64_t head = _recordHead == 0 ? kBlockHead : _recordHead;
      return truncated(_recordHead == 0 ? "" : "captured ", _unread - head, _unread - left - head);
    }
    _bytes.take(static_cast<std::size_t>(count));
    left -= count;
  }
  _unread = 0;
  return std::nullopt;
}

// pcap

void CaptureFile::openRecords(std::uint32_t magic) {
  const View head = peek(kPcapHead);
  if (head.size() < kPcapHead) {
    _recordHead = kPcapHead;
    throw InputFault(truncated("file header ", kPcapHead, head.size()).message);
  }
  const Fields fields(head, _order);
  const auto major = fields.at<std::uint16_t>(4);
  const auto minor = fields.at<std::uint16_t>(6);
  if (major != 2 || minor != 4)
    throw InputFault("unsupported pcap savefile version " + std::to_string(major) + "." +
                     std::to_string(minor));
  const auto resolution = magic == kPcapNanoMagic ? kNanoseconds : kMicroseconds;
  const auto linkType = static_cast<std::uint16_t>(fields.at<std::uint32_t>(20));
  _interfaces.push_back({0, linkType, fields.at<std::uint32_t>(16), resolution, 0, false});
  _recordHead = magic == kPcapModifiedMagic ? 24 : 16;
  _bytes.take(kPcapHead);
}

CaptureFile::Next CaptureFile::nextRecord() {
  if (auto damage = passRest()) return *std::move(damage);
  _start = _bytes.position();
  View record = peek(_recordHead);
  if (record.empty()) return end();
  if (record.size() < _recordHead) return truncated("header ", _recordHead, record.size());
  Fields fields(record, _order);
  const auto captured = fields.at<std::uint32_t>(8);
  if (captured > longestPacket())
    return damage("invalid packet capture length " + std::to_string(captured) +
                  ", bigger than snaplen of " + std::to_string(longestPacket()));
  const std::uint64_t held = std::min<std::uint64_t>(_recordHead + captured, kMostHeld);
  record = peek(held);
  if (record.size() < held) return truncated("captured ", captured, record.size() - _recordHead);
  _unread = _recordHead + std::uint64_t{captured};

  fields = Fields(record, _order);
  const std::uint64_t units = powerOfTen(_interfaces.front().resolution);
  const auto seconds = fields.at<std::uint32_t>(0);
  const auto fraction = fields.at<std::uint32_t>(4);
  const auto time = fraction < units ? std::optional(seconds * units + fraction) : std::nullopt;
  const View data = record.subspan(_recordHead, static_cast<std::size_t>(held - _recordHead));
  return packet(0, time, data, captured, fields.at<std::uint32_t>(12));
}

/// USBPcap writes longer packets than its files say, and other programs leave it at zero.
std::uint32_t CaptureFile::longestPacket() const {
  const Interface& interface = _interfaces.front();
  if (interface.linkType == kUsbPcap) return kLongestPacket;
  return std::clamp(interface.longest, kLongestPacketUnsaid, kLongestPacket);
}

// pcapng

/// The block that begins here, as far as it is held.
std::optional<CaptureFile::Damage> CaptureFile::readBlock(Block& block) {
  _start = _bytes.position();
  View view = peek(kBlockHead);
  if (view.size() < kBlockHead) return truncated("", kBlockHead, view.size());
  const auto type = Fields(view, _order).at<std::uint32_t>(0);
  if (type == kSectionHeader) {
    constexpr std::size_t kMagicEnd = kBlockHead + 4;
    view = peek(kMagicEnd);
    if (view.size() < kMagicEnd) return truncated("", kMagicEnd, view.size());
    _order = std::endian::little;
    if (Fields(view, _order).at<std::uint32_t>(8) != kSectionMagic) _order = std::endian::big;
    if (Fields(view, _order).at<std::uint32_t>(8) != kSectionMagic)
      return damage("the file has a section with a bad byte order magic field");
  }
  const auto size = Fields(view, _order).at<std::uint32_t>(4);
  const std::string hasSize = "block in pcapng dump file has a length of " + std::to_string(size);
  if (size < kBlockFrame) return damage(hasSize + " < " + std::to_string(kBlockFrame));
  if (size % 4 != 0) return damage(hasSize + " that is not a multiple of 4");
  if (size > kLongestBlock)
    return damage("pcapng block size " + std::to_string(size) + " > maximum " +
                  std::to_string(kLongestBlock));

  const std::uint64_t held = std::min<std::uint64_t>(size, kMostHeld);
  view = peek(held);
  if (view.size() < held) return truncated("", size - kBlockHead, view.size() - kBlockHead);
  if (held == size && Fields(view, _order).at<std::uint32_t>(size - 4) != size)
    return damage("block total length in header and trailer don't match");
  _unread = size;
  block.type = type;
  block.size = size - kBlockFrame;
  block.body = view.subspan(
      kBlockHead, static_cast<std::size_t>(std::min<std::uint64_t>(held - kBlockHead, block.size)));
  return std::nullopt;
}

CaptureFile::Next CaptureFile::nextBlock() {
  for (;;) {
    if (auto damage = passRest()) return *std::move(damage);
    if (peek(1).empty()) return end();
    Block block;
    if (auto damage = readBlock(block)) return *std::move(damage);
    std::optional<std::string> complaint;
    switch (block.type) {
      case kSectionHeader:
        complaint = beginSection(block);
        break;
      case kInterfaceDescription:
        complaint = addInterface(block);
        break;
      case kEnhancedPacket:
      case kOldPacket:
      case kSimplePacket:
        return packetOf(block);
      default:
        break;
    }
    if (complaint) return damage(*std::move(complaint));
  }
}

std::optional<std::string> CaptureFile::beginSection(const Block& block) {
  constexpr std::size_t kSectionBody = 16;
  if (block.size < kSectionBody) return tooShort(block.type);
  const Fields fields(block.body, _order);
  const auto major = fields.at<std::uint16_t>(4);
  const auto minor = fields.at<std::uint16_t>(6);
  if (major != 1 || (minor != 0 && minor != 2))
    return "unsupported pcapng savefile version " + std::to_string(major) + "." +
           std::to_string(minor);
  _interfacesBefore += static_cast<std::uint32_t>(_interfaces.size());
  _interfaces.clear();
  return std::nullopt;
}

std::optional<std::string> CaptureFile::addInterface(const Block& block) {
  constexpr std::size_t kFixed = 8;
  if (block.size < kFixed) return tooShort(block.type);
  if (block.body.size() < block.size)
    return "an interface that is described in " + countedBytes(block.size);
  if (_interfaces.size() == kMostInterfaces)
    return "more than " + std::to_string(kMostInterfaces) + " interfaces";
  const Fields fields(block.body, _order);
  Interface interface = {
      static_cast<std::uint32_t>(_interfacesBefore + _interfaces.size()),
      fields.at<std::uint16_t>(0),
      fields.at<std::uint32_t>(4),
      kMicroseconds,
      0,
      false,
  };
  if (auto complaint = readOptions(block.body.subspan(kFixed), interface)) return complaint;
  const bool binary = (interface.resolution & kBinary) != 0;
  const unsigned exponent = interface.resolution & ~kBinary;
  if (exponent > (binary ? kLargestBinary : kLargestDecimal))
    return "Interface Description Block if_tsresol option resolution " +
           std::string(binary ? "2^-" : "10^-") + std::to_string(exponent) + " is too high";
  _interfaces.push_back(interface);
  return std::nullopt;
}

/// The unit and the offset of an interface's times, which are the options that matter here.
std::optional<std::string> CaptureFile::readOptions(View options, Interface& interface) const {
  constexpr std::size_t kOptionHead = 4;
  while (!options.empty()) {
    if (options.size() < kOptionHead) return tooShort(kInterfaceDescription);
    const Fields fields(options, _order);
    const auto code = fields.at<std::uint16_t>(0);
    const std::size_t size = fields.at<std::uint16_t>(2);
    const std::size_t padded = (size + 3) / 4 * 4;
    if (options.size() - kOptionHead < padded) return tooShort(kInterfaceDescription);
    const auto option = std::ranges::find(kOptions, code, &Option::code);
    if (option != kOptions.end() && option->size != size)
      return std::string("Interface Description Block has ") + option->name +
             " option with length " + std::to_string(size) + " != " + std::to_string(option->size);
    if (code == kEndOfOptions) return std::nullopt;
    if (code == kResolution) interface.resolution = fields.at<std::uint8_t>(kOptionHead);
    if (code == kOffset) interface.offset = fields.at<std::int64_t>(kOptionHead);
    options = options.subspan(kOptionHead + padded);
  }
  return std::nullopt;
}

CaptureFile::Next CaptureFile::packetOf(const Block& block) {
  const std::size_t fixed = block.type == kSimplePacket ? 4 : 20;
  if (block.size < fixed) return damage(tooShort(block.type));
  const Fields fields(block.body, _order);
  std::uint32_t number = 0;
  std::optional<std::uint64_t> time;
  std::uint32_t captured = 0;
  std::uint32_t length = 0;
  if (block.type == kSimplePacket) {
    length = fields.at<std::uint32_t>(0);
  } else {
    number = block.type == kOldPacket ? fields.at<std::uint16_t>(0) : fields.at<std::uint32_t>(0);
    time = std::uint64_t{fields.at<std::uint32_t>(4)} << 32 | fields.at<std::uint32_t>(8);
    captured = fields.at<std::uint32_t>(12);
    length = fields.at<std::uint32_t>(16);
  }
  if (number >= _interfaces.size())
    return damage("a packet arrived on interface " + std::to_string(number) +
                  ", but there's no Interface Description Block for that interface");
  if (block.type == kSimplePacket) {
    const std::uint32_t longest = _interfaces[number].longest;
    captured = longest == 0 ? length : std::min(length, longest);
  }
  if (captured > block.size - fixed) return damage(tooShort(block.type));
  const std::size_t held = std::min<std::size_t>(captured, block.body.size() - fixed);
  return packet(number, time, block.body.subspan(fixed, held), captured, length);
}

CaptureFile::Packet CaptureFile::packet(std::size_t number, std::optional<std::uint64_t> time,
                                        View data, std::uint64_t captured, std::uint64_t length) {
  Interface& interface = _interfaces[number];
  const Interface before = interface;
  interface.used = true;
  const auto microseconds =
      time ? captureTime(*time, interface.resolution, interface.offset) : std::nullopt;
  return {++_packets, microseconds, data, captured, length, before, _order};
}

}  // namespace vesk::host
