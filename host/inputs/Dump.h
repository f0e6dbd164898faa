/// Hexadecimal dumps of binary files, as xxd, xxd -p, hexdump -C and od -A x -t x1 -v print them.
#pragma once

#include <string>
#include <vector>

#include "host/inputs/Binary.h"
#include "host/inputs/Input.h"

namespace vesk::host {

/// The bytes that a dump shows.
class DumpBytes final : public Bytes {
 public:
  enum class Style : std::uint8_t { Addressed, Plain };

  DumpBytes(Bytes& text, Style style) : _lines(text), _style(style) {}

  /// What made the bytes end before the dump did.
  const std::optional<Problem>& problem() const { return _problem; }

 private:
  struct Row {
    std::uint64_t address;
    std::vector<std::uint8_t> bytes;
  };

  std::size_t read(char* into, std::size_t room) override;
  bool nextRow();
  bool readLine();
  std::optional<Row> parse(const LineReader::Line& line);
  std::optional<Row> parseAddressed(const LineReader::Line& line);
  bool follows(const LineReader::Line& line, const Row& row);
  bool inByteOrder(const LineReader::Line& line, std::string_view digits,
                   const std::vector<std::uint8_t>& bytes);
  std::string unlikeHex(const LineReader::Line& line, std::string_view rest) const;
  bool countsInOctal(const LineReader::Line& line, const Row& row) const;
  void complain(const LineReader::Line& line, ProblemCode code, std::string message);

  LineReader _lines;
  Style _style;
  std::optional<Problem> _problem;

  std::vector<std::uint8_t> _row;         // being handed out
  std::size_t _given = 0;                 // how much of it
  std::uint64_t _fill = 0;                // bytes of repetitions of it that still come
  std::vector<std::uint8_t> _next;        // the row after them
  std::optional<std::uint64_t> _address;  // that the next row should have
  bool _repeated = false;                 // a "*" came
  bool _orderProven = false;
  std::uint64_t _rows = 0;    // so far
  bool _sevenDigits = false;  // has the first row's address, as od writes them in octal
  bool _octal = false;
};

/// The reports in a dump.
class Dump final : public Input {
 public:
  Dump(Bytes& text, const InputContext& context, DumpBytes::Style style)
      : _bytes(text, style), _reports(_bytes, context) {}
  Item next() override;

  /// Whether a text begins as dumps of each style do.
  static bool beginsAddressed(const TextHead& head, const KnownReports& known);
  static bool beginsPlain(const TextHead& head, const KnownReports& known);

 private:
  DumpBytes _bytes;
  Binary _reports;
  bool _told = false;
};

}  // namespace vesk::host
