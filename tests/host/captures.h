/// Capture files that tests make up, in either byte order.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace vesk::host {

/// Bytes of a capture, written number by number.
class CaptureBytes {
 public:
  explicit CaptureBytes(std::endian order) : _order(order) {}

  CaptureBytes& u16(std::uint16_t value) { return number(value, 2); }
  CaptureBytes& u32(std::uint32_t value) { return number(value, 4); }
  CaptureBytes& u64(std::uint64_t value) { return number(value, 8); }
  CaptureBytes& text(std::string_view bytes) {
    _bytes += bytes;
    return *this;
  }

  /// The head of a pcap.
  CaptureBytes& pcap(std::uint32_t magic, std::uint32_t linkType, std::uint32_t longest = 262144) {
    return u32(magic).u16(2).u16(4).u32(0).u32(0).u32(longest).u32(linkType);
  }

  /// A packet of a pcap.
  CaptureBytes& record(std::uint32_t seconds, std::uint32_t fraction, std::string_view data) {
    const auto size = static_cast<std::uint32_t>(data.size());
    return u32(seconds).u32(fraction).u32(size).u32(size).text(data);
  }

  /// A block of a pcapng; `body` is written in the same byte order.
  CaptureBytes& block(std::uint32_t type, std::string body) {
    body.resize((body.size() + 3) / 4 * 4);
    const auto size = static_cast<std::uint32_t>(body.size() + 12);
    return u32(type).u32(size).text(body).u32(size);
  }
  CaptureBytes& section() {
    return block(0x0A0D0D0A, body().u32(0x1A2B3C4D).u16(1).u16(0).u64(~std::uint64_t{0}).bytes());
  }
  CaptureBytes& interface(std::uint16_t linkType, std::string_view options = {},
                          std::uint32_t longest = 0) {
    return block(1, body().u16(linkType).u16(0).u32(longest).text(options).bytes());
  }
  CaptureBytes& enhanced(std::uint32_t interface, std::uint64_t time, std::string_view data) {
    const auto size = static_cast<std::uint32_t>(data.size());
    return block(6, body().u32(interface).time(time).u32(size).u32(size).text(data).bytes());
  }
  CaptureBytes& old(std::uint16_t interface, std::uint64_t time, std::string_view data) {
    const auto size = static_cast<std::uint32_t>(data.size());
    return block(2, body().u16(interface).u16(0).time(time).u32(size).u32(size).text(data).bytes());
  }
  CaptureBytes& simple(std::uint32_t length, std::string_view data) {
    return block(3, body().u32(length).text(data).bytes());
  }

  /// Times of a pcapng have their upper half first, in either byte order.
  CaptureBytes& time(std::uint64_t time) {
    return u32(static_cast<std::uint32_t>(time >> 32)).u32(static_cast<std::uint32_t>(time));
  }

  /// Options of an interface: the unit of its times, and seconds to add to them.
  CaptureBytes& resolution(std::uint8_t value) {
    return u16(9)
        .u16(1)
        .text(std::string(1, static_cast<char>(value)))
        .text(std::string_view("\0\0\0", 3));
  }
  CaptureBytes& offset(std::int64_t seconds) {
    return u16(14).u16(8).u64(static_cast<std::uint64_t>(seconds));
  }

  /// An empty one of the same byte order.
  CaptureBytes body() const { return CaptureBytes(_order); }
  const std::string& bytes() const { return _bytes; }

 private:
  CaptureBytes& number(std::uint64_t value, unsigned size) {
    for (unsigned i = 0; i < size; ++i) {
      const unsigned place = _order == std::endian::big ? size - 1 - i : i;
      _bytes += static_cast<char>(value >> 8 * place);
    }
    return *this;
  }

  std::endian _order;
  std::string _bytes;
};

inline constexpr std::endian kOrders[] = {std::endian::little, std::endian::big};
inline constexpr std::uint32_t kMicroMagic = 0xA1B2C3D4;
inline constexpr std::uint32_t kNanoMagic = 0xA1B23C4D;
inline constexpr std::uint32_t kModifiedMagic = 0xA1B2CD34;

}  // namespace vesk::host
