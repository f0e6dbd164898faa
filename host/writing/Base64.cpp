#include "host/writing/Base64.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace vesk::host {

namespace {

constexpr std::string_view kDigits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Four digits of one to three bytes, with "=" where bytes are missing.
std::array<char, 4> digitsOf(std::string_view bytes) {
  std::uint32_t bits = 0;
  for (std::size_t i = 0; i < 3; ++i)
    bits = bits << 8 | (i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0u);
  std::array<char, 4> digits;
  for (std::size_t i = 0; i < 4; ++i)
    digits[i] = i <= bytes.size() ? kDigits[bits >> (18 - 6 * i) & 63] : '=';
  return digits;
}

}  // namespace

void appendBase64(Sink& sink, std::string_view bytes) {
  std::array<char, 4096> piece;
  std::size_t used = 0;
  for (; !bytes.empty(); bytes.remove_prefix(bytes.size() < 3 ? bytes.size() : 3)) {
    for (const char digit : digitsOf(bytes.substr(0, 3))) piece[used++] = digit;
    if (used < piece.size()) continue;
    sink.append(std::string_view(piece.data(), used));
    used = 0;
  }
  sink.append(std::string_view(piece.data(), used));
}

}  // namespace vesk::host
