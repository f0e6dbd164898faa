#include "host/inputs/PacketText.h"

#include <algorithm>
#include <utility>

#include "host/inputs/Hex.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::uint16_t kUsbmon = 189;
constexpr std::uint16_t kUsbmonMapped = 220;
constexpr std::uint16_t kUsbPcap = 249;

// Transfers in usbmon's header.
constexpr std::uint8_t kIsochronous = 0;
constexpr std::uint8_t kInterrupt = 1;
constexpr std::uint8_t kControl = 2;

constexpr std::size_t kUsbmonHeader = 48;
constexpr std::size_t kMappedHeader = 64;
constexpr std::size_t kUsbPcapHeader = 27;
constexpr std::size_t kAddressDigits = 4;

using ByteSpan = std::span<const std::uint8_t>;

void append(std::string& out, std::uint64_t value, std::size_t size) {
  for (; size != 0; --size, value >>= 8) out += static_cast<char>(value & 0xFF);
}

std::uint64_t field(ByteSpan bytes, std::size_t offset, std::size_t size) {
  std::uint64_t value = 0;
  while (size-- != 0) value = value << 8 | bytes[offset + size];
  return value;
}

/// The link type of captures whose packets look like this one; 0 if it has no header that is known.
std::uint16_t linkOf(ByteSpan packet) {
  if (packet.size() >= kUsbmonHeader) {
    constexpr std::string_view kEvents = "SCE";
    const std::uint64_t data = field(packet, 36, 4);
    const bool usbmon = kEvents.find(static_cast<char>(packet[8])) != std::string_view::npos &&
                        packet[9] <= 3 && packet[11] <= 127;
    if (usbmon && packet.size() == kMappedHeader + data) return kUsbmonMapped;
    if (usbmon && packet.size() == kUsbmonHeader + data) return kUsbmon;
  }
  if (packet.size() >= kUsbPcapHeader) {
    const std::uint64_t header = field(packet, 0, 2);
    if ((header == kUsbPcapHeader || header == kUsbPcapHeader + 1) &&
        packet.size() == header + field(packet, 23, 4))
      return kUsbPcap;
  }
  return 0;
}

struct PacketRow {
  std::uint64_t address;
  std::vector<std::uint8_t> bytes;
};

/// "0010  de 01 ...   .."; none if a line is something else.
std::optional<PacketRow> packetRow(std::string_view line) {
  if (line.size() < kAddressDigits + 4 || line.substr(kAddressDigits, 2) != "  ")
    return std::nullopt;
  const auto address = parseNumber<std::uint64_t>(line.substr(0, kAddressDigits), 16);
  if (!address) return std::nullopt;
  std::string_view rest = line.substr(kAddressDigits + 2);
  PacketRow row{*address, {}};
  while (rest.size() >= 2 && !isBlank(rest.front()) && row.bytes.size() < 16) {
    if (rest.size() > 2 && !isBlank(rest[2])) break;
    if (appendHex(rest.substr(0, 2), row.bytes)) break;
    rest.remove_prefix(std::min<std::size_t>(3, rest.size()));
    if (rest.starts_with(' ') && row.bytes.size() == 8) rest.remove_prefix(1);
  }
  if (row.bytes.empty()) return std::nullopt;
  return row;
}

/// A line of usbmon's text, as far as it is needed.
struct UsbmonLine {
  std::uint64_t tag;
  std::uint64_t microseconds;
  char event;
  char transfer;
  bool in;
  std::uint16_t bus;
  std::uint8_t device;
  std::uint8_t endpoint;
  std::int64_t status = 0;
  std::vector<std::uint8_t> setup;
  std::uint32_t length = 0;
  std::vector<std::uint8_t> data;
};

/// Takes the part of an address up to the next colon, a decimal number.
std::optional<std::uint16_t> takeNumber(std::string_view& text) {
  const std::size_t end = std::min(text.find(':'), text.size());
  const auto number = parseNumber<std::uint16_t>(text.substr(0, end));
  text.remove_prefix(std::min(end + 1, text.size()));
  return number;
}

bool takeSetup(std::string_view& rest, UsbmonLine& line) {
  constexpr std::size_t kSizes[] = {1, 1, 2, 2, 2};
  for (const std::size_t size : kSizes) {
    const auto value = parseNumber<std::uint16_t>(takeWord(rest), 16);
    if (!value || (size == 1 && *value > 0xFF)) return false;
    line.setup.push_back(static_cast<std::uint8_t>(*value & 0xFF));
    if (size == 2) line.setup.push_back(static_cast<std::uint8_t>(*value >> 8));
  }
  return true;
}

bool takeStatus(std::string_view word, UsbmonLine& line) {
  word = word.substr(0, word.find(':'));
  const bool negative = word.starts_with('-');
  const auto status = parseNumber<std::uint32_t>(word.substr(negative ? 1 : 0));
  if (!status) return false;
  line.status = negative ? -std::int64_t{*status} : std::int64_t{*status};
  return true;
}

/// "ffff8880a1b2c300 1463094432 S Ci:1:005:0 s a1 01 03de 0000 1000 4096 <"
std::optional<UsbmonLine> usbmonLine(std::string_view text) {
  UsbmonLine line{};
  const std::string_view tagWord = takeWord(text);
  const auto tag = parseNumber<std::uint64_t>(tagWord, 16);
  const auto time = parseNumber<std::uint64_t>(takeWord(text));
  const std::string_view event = takeWord(text);
  std::string_view address = takeWord(text);
  if (!tag || !time || event.size() != 1 || address.size() < 4 || address[2] != ':')
    return std::nullopt;
  line.tag = *tag;
  line.microseconds = *time;
  line.event = event.front();
  line.transfer = address[0];
  line.in = address[1] == 'i';
  if (!line.in && address[1] != 'o') return std::nullopt;
  address.remove_prefix(3);
  const auto bus = takeNumber(address);
  const auto device = takeNumber(address);
  const auto endpoint = takeNumber(address);
  if (!bus || !device || *device > 127 || !endpoint || *endpoint > 15) return std::nullopt;
  line.bus = *bus;
  line.device = static_cast<std::uint8_t>(*device);
  line.endpoint = static_cast<std::uint8_t>(*endpoint | (line.in ? 0x80 : 0));
  if (line.transfer != 'C' && line.transfer != 'I') return line;

  const std::string_view status = takeWord(text);
  const bool fine = status == "s" ? takeSetup(text, line) : takeStatus(status, line);
  const auto length = parseNumber<std::uint32_t>(takeWord(text));
  if (!fine || !length) return std::nullopt;
  line.length = *length;
  if (takeWord(text) == "=" && appendHex(text, line.data)) return std::nullopt;
  if (line.data.size() > line.length) return std::nullopt;
  return line;
}

}  // namespace

std::size_t PacketTextBytes::read(char* into, std::size_t room) {
  while (_given == _made.size()) {
    _made.clear();
    _given = 0;
    if (!nextPacket()) return 0;
  }
  const std::size_t count = _made.copy(into, room, _given);
  _given += count;
  return count;
}

/// Makes the next packet; false at the end.
bool PacketTextBytes::nextPacket() {
  if (_problem || _ended) return false;
  if (_style == Style::Rows) return rowsPacket();
  const auto line = _lines.next();
  if (!line) return false;
  usbmonPacket(*line);
  return true;
}

bool PacketTextBytes::isTimeless() const { return _plain || _link == kUsbPcap; }

void PacketTextBytes::begin(std::uint16_t link) {
  if (_link != 0) return;
  _link = link;
  constexpr std::uint32_t kMagic = 0xA1B2C3D4;
  constexpr std::uint32_t kLongestPacket = 262144;
  append(_made, kMagic, 4);
  append(_made, 2, 2);
  append(_made, 4, 2);
  append(_made, 0, 8);
  append(_made, kLongestPacket, 4);
  append(_made, link, 4);
}

/// Appends the head of a packet of which so many bytes follow.
void PacketTextBytes::add(std::uint64_t microseconds, std::size_t length) {
  append(_made, microseconds / 1'000'000, 4);
  append(_made, microseconds % 1'000'000, 4);
  append(_made, length, 4);
  append(_made, length, 4);
}

/// Each line becomes a packet, so that its number is the packet's.
void PacketTextBytes::usbmonPacket(const LineReader::Line& text) {
  const auto line = text.tooLong ? std::nullopt : usbmonLine(trim(text.text));
  const bool nothing = text.text.empty() || text.text.starts_with('#');
  if (!line && !nothing)
    return complain(text.number,
                    ProblemCode::BadDump,
                    inQuotes(trim(text.text)) + " is no line of usbmon's text");
  begin(kUsbmon);
  const UsbmonLine packet = line.value_or(UsbmonLine{});
  add(packet.microseconds, kUsbmonHeader + packet.data.size());
  append(_made, packet.tag, 8);
  append(_made, line ? static_cast<unsigned char>(packet.event) : 'S', 1);
  append(_made,
         packet.transfer == 'C'   ? kControl
         : packet.transfer == 'I' ? kInterrupt
                                  : kIsochronous,
         1);
  append(_made, packet.endpoint, 1);
  append(_made, packet.device, 1);
  append(_made, packet.bus, 2);
  append(_made, packet.setup.empty() ? '-' : 0, 1);
  append(_made, packet.data.empty() ? '<' : 0, 1);
  append(_made, packet.microseconds / 1'000'000, 8);
  append(_made, packet.microseconds % 1'000'000, 4);
  append(_made, static_cast<std::uint64_t>(packet.status), 4);
  append(_made, packet.length, 4);
  append(_made, packet.data.size(), 4);
  for (std::size_t i = 0; i < 8; ++i)
    append(_made, i < packet.setup.size() ? packet.setup[i] : 0, 1);
  _made.append(packet.data.begin(), packet.data.end());
}

/// A packet is the rows up to the next one at address 0.
bool PacketTextBytes::rowsPacket() {
  std::vector<std::uint8_t> packet = std::exchange(_packet, {});
  while (const auto line = _lines.next()) {
    auto row = line->tooLong ? std::nullopt : packetRow(line->text);
    if (!row) continue;
    if (row->address == 0 && !packet.empty()) {
      _packet = std::move(row->bytes);
      break;
    }
    if (row->address != packet.size() % 0x10000 || packet.size() > 2 * kLongestReport) {
      complain(
          line->number, ProblemCode::BadDump, "a row of a packet whose rows before it are missing");
      return false;
    }
    if (packet.empty()) _line = line->number;
    packet.insert(packet.end(), row->bytes.begin(), row->bytes.end());
  }
  _ended = _packet.empty();
  if (packet.empty()) return false;
  const std::uint16_t link = _plain ? 0 : linkOf(packet);
  if (link == 0 && _link == 0) _plain = _known.find(packet.front(), std::nullopt) != nullptr;
  if (_plain) {
    addPlain(packet);
    return true;
  }
  if (link == 0 || (_link != 0 && link != _link)) {
    complain(
        _line,
        ProblemCode::UnsupportedInput,
        "a packet of " + countedBytes(packet.size()) +
            " that does not begin with the header of usbmon or USBPcap; write the capture itself: "
            "tshark -w FILE.pcapng");
    return false;
  }
  begin(link);
  std::uint64_t microseconds = 0;
  if (link != kUsbPcap)
    microseconds = (field(packet, 16, 4) * 1'000'000) + field(packet, 24, 4) % 1'000'000;
  add(microseconds, packet.size());
  _made.append(packet.begin(), packet.end());
  return true;
}

/// A report without a header, as if an interrupt transfer had brought it.
void PacketTextBytes::addPlain(const std::vector<std::uint8_t>& report) {
  begin(kUsbmon);
  add(0, kUsbmonHeader + report.size());
  append(_made, 0, 8);
  append(_made, 'C', 1);
  append(_made, kInterrupt, 1);
  append(_made, 0x81, 1);
  append(_made, 0, 3);
  append(_made, '-', 1);
  append(_made, 0, 17);
  append(_made, report.size(), 4);
  append(_made, report.size(), 4);
  append(_made, 0, 8);
  _made.append(report.begin(), report.end());
}

void PacketTextBytes::complain(std::uint64_t line, ProblemCode code, std::string message) {
  _problem = problemAt({Place::Unit::Line, line}, code, std::move(message));
}

Item PacketText::next() {
  if (!_reports && !_told && !_bytes.peek(1).empty())
    _reports = std::make_unique<UsbCapture>(_bytes, _context);
  Item item = _reports ? _reports->next() : End{};
  if (std::holds_alternative<End>(item)) {
    if (!_bytes.problem() || std::exchange(_told, true)) return item;
    return *_bytes.problem();
  }
  // What a header has no place for is unknown, and a line of usbmon's is a packet.
  Place& place = std::holds_alternative<Report>(item) ? std::get<Report>(item).place
                                                      : std::get<Problem>(item).place;
  auto& time = std::holds_alternative<Report>(item) ? std::get<Report>(item).microseconds
                                                    : std::get<Problem>(item).microseconds;
  if (_bytes.isTimeless()) time.reset();
  if (_bytes.isPlain()) {
    if (auto* report = std::get_if<Report>(&item)) report->type.reset();
    std::visit(
        [](auto& any) {
          if constexpr (requires { any.sender; }) any.sender.reset();
        },
        item);
  }
  if (_style != Style::Usbmon) return item;
  if (place.unit == Place::Unit::Packet) place.unit = Place::Unit::Line;
  if (auto* problem = std::get_if<Problem>(&item);
      problem != nullptr && problem->code == ProblemCode::TruncatedCapture && problem->expected)
    problem->message = countedBytes(*problem->expected) + " transferred, and the text shows " +
                       std::to_string(problem->got.value_or(0)) +
                       ": usbmon's text has 32 bytes of each; capture all of it: "
                       "tcpdump -i usbmon1 -w FILE.pcap";
  return item;
}

bool PacketText::beginsUsbmon(const TextHead& head, const KnownReports& /*known*/) {
  return usbmonLine(head.line).has_value();
}

bool PacketText::beginsRows(const TextHead& head, const KnownReports& /*known*/) {
  const auto row = packetRow(head.line);
  return row && row->address == 0;
}

}  // namespace vesk::host
