#include "host/writing/Terminal.h"

#include <cstddef>
#include <cstdint>

#include "text/numbers.h"
#include "text/utf8.h"

namespace vesk::host {

namespace {

void appendHex(std::string& text, char byte) {
  char digits[2];
  writeHexByte(digits, static_cast<std::uint8_t>(byte));
  text.append(digits, sizeof digits);
}

/// Whether a whole UTF-8 sequence is a control character: U+0000 to U+001F, U+007F to U+009F.
bool isControl(std::string_view sequence) {
  const auto last = static_cast<std::uint8_t>(sequence.back());
  if (sequence.size() == 1) return last < 0x20 || last == 0x7F;
  return sequence.size() == 2 && sequence.front() == '\xC2' && last < 0xA0;
}

std::string printableBut(std::string_view kept, std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    const std::string_view sequence = text.substr(0, length == 0 ? 1 : length);
    if (length == 0) {
      result += "\\x";
      appendHex(result, sequence.back());
    } else if (isControl(sequence) && kept.find(sequence.back()) == std::string_view::npos) {
      result += "\\u00";
      appendHex(result, sequence.back());
    } else {
      result += sequence;
    }
    text.remove_prefix(sequence.size());
  }
  return result;
}

}  // namespace

std::string printable(std::string_view text) { return printableBut("", text); }

std::string printableLines(std::string_view text) { return printableBut("\n\t", text); }

}  // namespace vesk::host
