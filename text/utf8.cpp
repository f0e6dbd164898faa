#include "text/utf8.h"

#include <cstdint>
#include <cstring>

namespace vesk {

std::size_t utf8Length(std::string_view text) {
  if (text.empty()) return 0;
  const auto byte = [text](std::size_t i) -> unsigned {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0;  // 0 continues nothing
  };
  const auto continues = [byte](std::size_t i) { return byte(i) >= 0x80 && byte(i) <= 0xBF; };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return continues(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    const bool overlong = lead == 0xE0 && byte(1) < 0xA0;
    const bool surrogate = lead == 0xED && byte(1) > 0x9F;
    return !overlong && !surrogate && continues(1) && continues(2) ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const bool overlong = lead == 0xF0 && byte(1) < 0x90;
    const bool tooLarge = lead == 0xF4 && byte(1) > 0x8F;
    return !overlong && !tooLarge && continues(1) && continues(2) && continues(3) ? 4 : 0;
  }
  return 0;
}

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    // Most text is ASCII: eight bytes at a time.
    std::uint64_t eight = 0x80;
    if (text.size() >= sizeof eight) std::memcpy(&eight, text.data(), sizeof eight);
    if ((eight & 0x8080808080808080) == 0) {
      text.remove_prefix(sizeof eight);
      continue;
    }
    const std::size_t length = utf8Length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace vesk
