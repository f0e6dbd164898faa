/// Reports as lines of hexadecimal text:
///
///     # one report a line; its type may stand before it
///     feature d0 31 2e 32 00
///     0xDE, 0x01
#pragma once

#include <vector>

#include "host/inputs/Input.h"

namespace vesk::host {

class HexText final : public Input {
 public:
  HexText(Bytes& bytes, const InputContext& /*context*/) : _lines(bytes) {}
  Item next() override;

 private:
  Item parse(const LineReader::Line& line, std::string_view text);

  LineReader _lines;
  std::vector<std::uint8_t> _bytes;  // the report handed out last
};

}  // namespace vesk::host
