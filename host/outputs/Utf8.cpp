#include "host/outputs/Utf8.h"

#include <cstdint>

namespace vesk::host {

namespace {

/// Length of the valid sequence at the front of `text`; 0 if there is none.
std::size_t sequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned lead = byte(0);
  const std::size_t length = lead < 0x80   ? 1
                             : lead < 0xC2 ? 0
                             : lead < 0xE0 ? 2
                             : lead < 0xF0 ? 3
                                           : 4;
  if (length == 0 || lead > 0xF4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i)
    if ((byte(i) & 0xC0) != 0x80) return 0;
  if (length < 3) return length;
  const unsigned two = lead << 8 | byte(1);
  const bool overlong = two < 0xE0A0 || (two >= 0xF000 && two < 0xF090);
  const bool surrogate = two >= 0xEDA0 && two < 0xEE00;
  return overlong || surrogate || two >= 0xF490 ? 0 : length;
}

}  // namespace

std::string asUtf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = sequenceLength(text);
    if (length == 0)
      result += "\xEF\xBF\xBD";
    else
      result += text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

}  // namespace vesk::host
