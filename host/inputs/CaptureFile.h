/// Capture files, pcap and pcapng, packet by packet.
///
/// A pcap has one interface, a pcapng any number, each with its link type and its unit of time, and
/// sections that begin anew. Blocks of a pcapng that are no packets are passed over.
///
/// Memory stays constant, whatever lengths a file claims: of a packet that is longer than any that
/// can hold a report, the beginning is handed on.
///
///     CaptureFile file(bytes);
///     for (;;) {
///       const auto next = file.next();
///       const auto* packet = std::get_if<CaptureFile::Packet>(&next);
///       if (packet == nullptr) break;  // the end, or damage
///       use(packet->interface.linkType, packet->bytes);
///     }
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/inputs/Bytes.h"

namespace vesk::host {

/// The first four bytes of capture files: pcap in either byte order and precision, and pcapng.
inline constexpr auto kCaptureMagics = std::to_array<std::string_view>({
    "\xA1\xB2\xC3\xD4",
    "\xD4\xC3\xB2\xA1",
    "\xA1\xB2\x3C\x4D",
    "\x4D\x3C\xB2\xA1",
    "\xA1\xB2\xCD\x34",
    "\x34\xCD\xB2\xA1",
    "\x0A\x0D\x0D\x0A",
});

class CaptureFile {
 public:
  /// Takes the head off `bytes`, which must outlive this. Throws InputFault if it is none.
  explicit CaptureFile(Bytes& bytes);

  struct Interface {
    std::uint32_t number;  // from 0, over all sections
    std::uint16_t linkType;
    std::uint32_t longest;    // bytes of a packet, as the file says; 0 if it doesn't
    std::uint8_t resolution;  // units of time in a second: 10^n, or 2^n with the highest bit set
    std::int64_t offset;      // seconds to add to each time
    bool used;                // a packet of it was handed on
  };

  struct Packet {
    std::uint64_t number;                      // from 1, over all interfaces
    std::optional<std::int64_t> microseconds;  // none if the file has none, or says nonsense
    std::span<const std::uint8_t> bytes;       // as far as kept; lives until the next packet
    std::uint64_t captured;                    // bytes in the file
    std::uint64_t length;                      // bytes that there were
    Interface interface;                       // as it was before this packet
    std::endian order;                         // of the machine that captured it
  };
  struct End {};
  /// Where the file is cut off or makes no sense. Nothing that follows can be read.
  struct Damage {
    std::uint64_t packet;  // the one that would have been next
    std::uint64_t offset;  // of the record or block, in bytes
    std::string message;
  };
  using Next = std::variant<Packet, End, Damage>;

  /// The next packet. Behind Damage comes End, and behind End comes End. Throws InputFault if the
  /// stream can't be read.
  Next next();

  /// Whether the form of the file allows for more than one interface: that of pcapng does.
  bool severalInterfaces() const { return _recordHead == 0; }

  /// The interfaces of the section at hand that were described so far.
  std::span<const Interface> interfaces() const { return _interfaces; }

 private:
  using View = std::span<const std::uint8_t>;

  /// A block of a pcapng, without its frame of type and sizes.
  struct Block {
    std::uint32_t type;
    std::uint32_t size;  // bytes of its body
    View body;           // as far as held
  };

  View peek(std::uint64_t wanted);
  Damage damage(std::string message);
  Damage truncated(std::string_view what, std::uint64_t wanted, std::uint64_t got);
  Next end();
  std::optional<Damage> passRest();

  void openRecords(std::uint32_t magic);
  Next nextRecord();
  std::uint32_t longestPacket() const;

  std::optional<Damage> readBlock(Block& block);
  Next nextBlock();
  std::optional<std::string> beginSection(const Block& block);
  std::optional<std::string> addInterface(const Block& block);
  std::optional<std::string> readOptions(View options, Interface& interface) const;
  Next packetOf(const Block& block);

  Packet packet(std::size_t number, std::optional<std::uint64_t> time, View data,
                std::uint64_t captured, std::uint64_t length);

  Bytes& _bytes;
  std::endian _order = std::endian::little;
  std::uint32_t _recordHead = 0;       // bytes in front of each packet of a pcap; 0 for a pcapng
  std::vector<Interface> _interfaces;  // of this section
  std::uint32_t _interfacesBefore = 0;
  std::uint64_t _packets = 0;
  std::uint64_t _start;       // offset of the record or block at hand
  std::uint64_t _unread = 0;  // bytes of it that are not taken yet
  bool _ended = false;
};

/// Microseconds of a time that counts units of `resolution` (see CaptureFile::Interface), `offset`
/// seconds added; none if that is no time which a capture can have.
std::optional<std::int64_t> captureTime(std::uint64_t time, std::uint8_t resolution,
                                        std::int64_t offset);

}  // namespace vesk::host
