#include "text/utf8.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "text/always_inline.h"

namespace vesk {

namespace {

/// utf8Length() of what is not empty. Always inlined: text that is not ASCII spends its time here.
VESK_ALWAYS_INLINE std::size_t sequenceLength(std::string_view text) {
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

constexpr std::uint64_t kHighBits = 0x8080808080808080;

/// Of eight bytes, whose high bits are given, those in front of the first one that is not ASCII.
std::size_t asciiInFront(std::uint64_t highBits) {
  const int zeros = std::endian::native == std::endian::little ? std::countr_zero(highBits)
                                                               : std::countl_zero(highBits);
  return static_cast<std::size_t>(zeros) / 8;
}

}  // namespace

std::size_t utf8Length(std::string_view text) { return text.empty() ? 0 : sequenceLength(text); }

bool isUtf8(std::string_view text) {
  while (!text.empty()) {
    // Most text is ASCII: what of it stands in front of the next other byte, eight bytes at a time.
    std::uint64_t other = kHighBits;
    if (text.size() >= sizeof other) std::memcpy(&other, text.data(), sizeof other);
    other &= kHighBits;
    text.remove_prefix(asciiInFront(other));
    if (other == 0) continue;
    const std::size_t length = sequenceLength(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

}  // namespace vesk
