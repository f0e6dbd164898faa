/// USB packets that a program has written as text: the kernel's usbmon, and tshark -x.
///
/// The text is turned into the capture that it was made of, and read as one.
#pragma once

#include <string>
#include <vector>

#include "host/inputs/Input.h"
#include "host/inputs/UsbCapture.h"

namespace vesk::host {

/// A capture of the packets that a text shows, as a pcap file.
class PacketTextBytes final : public Bytes {
 public:
  enum class Style : std::uint8_t { Usbmon, Rows };

  PacketTextBytes(Bytes& text, const KnownReports& known, Style style)
      : _lines(text), _known(known), _style(style) {}

  /// What made the capture end before the text did.
  const std::optional<Problem>& problem() const { return _problem; }

  /// Its packets' headers tell no time.
  bool isTimeless() const;

  /// Its packets are reports without headers.
  bool isPlain() const { return _plain; }

 private:
  std::size_t read(char* into, std::size_t room) override;
  bool nextPacket();
  void usbmonPacket(const LineReader::Line& line);
  bool rowsPacket();
  void addPlain(const std::vector<std::uint8_t>& report);
  void begin(std::uint16_t link);
  void add(std::uint64_t microseconds, std::size_t length);
  void complain(std::uint64_t line, ProblemCode code, std::string message);

  LineReader _lines;
  const KnownReports& _known;
  Style _style;
  std::optional<Problem> _problem;
  std::string _made;                  // of the capture, not handed out yet
  std::size_t _given = 0;             // how much of it is
  std::vector<std::uint8_t> _packet;  // at hand
  std::uint64_t _line = 0;            // that it begins in
  std::uint16_t _link = 0;            // of the capture; 0 while that is open
  bool _plain = false;
  bool _ended = false;
};

/// The reports in it.
class PacketText final : public Input {
 public:
  using Style = PacketTextBytes::Style;

  PacketText(Bytes& text, const InputContext& context, Style style)
      : _bytes(text, context.known, style), _style(style), _context(context) {}
  Item next() override;

  /// Whether a text begins as each style does.
  static bool beginsUsbmon(const TextHead& head, const KnownReports& known);
  static bool beginsRows(const TextHead& head, const KnownReports& known);

 private:
  PacketTextBytes _bytes;
  Style _style;
  InputContext _context;
  std::unique_ptr<UsbCapture> _reports;
  bool _told = false;
};

}  // namespace vesk::host
