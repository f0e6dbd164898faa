/// Capture files, read by libpcap.
///
/// The library is loaded when the first capture is opened: it brings a dozen others along, which
/// would take most of the time in which a single report is decoded.
#pragma once

#include <array>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/inputs/Bytes.h"

struct pcap;

namespace vesk::host {

struct PcapLibrary;

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

class PcapFile {
 public:
  /// Throws InputFault if libpcap can't be loaded or does not know the file.
  explicit PcapFile(Bytes& bytes);
  ~PcapFile();
  PcapFile(const PcapFile&) = delete;
  PcapFile& operator=(const PcapFile&) = delete;

  int linkType() const;
  std::string linkTypeName() const;

  struct Packet {
    std::uint64_t number;                      // from 1
    std::optional<std::int64_t> microseconds;  // none if the file says nonsense
    std::span<const std::uint8_t> bytes;       // what was captured; lives until the next packet
    std::uint64_t length;                      // what there was
  };
  struct End {};
  struct Damage {
    std::string message;
  };

  std::variant<Packet, End, Damage> next();

 private:
  // The library reads from a C stream, and this is what feeds it.
  struct Source {
    Bytes& bytes;
    std::exception_ptr failure{};
  };
  struct Close {
    const PcapLibrary* library;
    void operator()(pcap* file) const;
  };

  static long readSource(void* source, char* into, std::size_t room);
  void rethrow();

  const PcapLibrary& _library;
  Source _source;
  std::vector<char> _buffer;
  std::unique_ptr<pcap, Close> _file;
  std::uint64_t _packets = 0;
};

}  // namespace vesk::host
