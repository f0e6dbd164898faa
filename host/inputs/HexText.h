/// Reports as lines of hexadecimal text:
///
///     # one report a line; its type may stand before it
///     feature d0 31 2e 32 00
///     0xDE, 0x01
#pragma once

#include "host/inputs/Rows.h"

namespace vesk::host {

class HexText final : public RowInput {
 public:
  HexText(Bytes& bytes, const InputContext& context) : RowInput(context.known), _lines(bytes) {}

  /// Whether a text's first line is one of digits.
  static bool begins(const TextHead& head, const KnownReports& known);

 private:
  Next nextRow() override;
  Next parse(const LineReader::Line& line, std::string_view text);

  LineReader _lines;
  bool _apart = true;  // the next row is, since something else stands before it
};

}  // namespace vesk::host
