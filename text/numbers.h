/// Whole numbers out of text, and bytes as hexadecimal digits.
///
///     vesk::parseNumber<std::uint16_t>("65535");         // 65535
///     vesk::parseNumber<std::uint16_t>("65536");         // nothing
///     vesk::parseDecimalOrHex<std::uint32_t>("0x76");    // 118
///     const int value = vesk::hexDigit('f');             // 15
///     out = vesk::writeHexByte(out, 0x0A);               // "0a"
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <optional>
#include <string_view>
#include <system_error>

namespace vesk {

/// The number that the whole of `text` is in this base (2 to 36, letters in either case); nothing
/// for a sign, a blank, a prefix, an empty text, or more than a T holds.
template <std::unsigned_integral T>
std::optional<T> parseNumber(std::string_view text, int base = 10) {
  T value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, value, base);
  if (failure != std::errc{} || stop != end) return std::nullopt;
  return value;
}

/// The same in decimal, or in hexadecimal behind "0x" or "0X".
template <std::unsigned_integral T>
std::optional<T> parseDecimalOrHex(std::string_view text) {
  if (text.starts_with("0x") || text.starts_with("0X")) return parseNumber<T>(text.substr(2), 16);
  return parseNumber<T>(text);
}

/// The value of a hexadecimal digit in either case; -1 for any other character.
constexpr int hexDigit(char character) {
  if (character >= '0' && character <= '9') return character - '0';
  const int letter = character | 0x20;
  return letter >= 'a' && letter <= 'f' ? letter - 'a' + 10 : -1;
}

/// Writes the two hexadecimal digits of a byte, in lower case, and gives back their end.
constexpr char* writeHexByte(char* out, std::uint8_t byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  *out++ = kDigits[byte >> 4];
  *out++ = kDigits[byte & 0xF];
  return out;
}

}  // namespace vesk
