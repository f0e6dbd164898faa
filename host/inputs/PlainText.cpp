#include "host/inputs/PlainText.h"

#include "text/utf8.h"

namespace vesk::host {

namespace {

constexpr std::string_view kControls = "\t\n\r\x1B";

/// Bytes of the character that begins with `first`; 0 if none does.
std::size_t lengthFrom(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0x80) return 1;
  if (byte < 0xC2 || byte > 0xF4) return 0;
  return byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

}  // namespace

bool isControl(char character) {
  const auto code = static_cast<unsigned char>(character);
  return (code < ' ' || code == 0x7F) && kControls.find(character) == std::string_view::npos;
}

std::size_t plainTextLength(std::string_view bytes) {
  std::size_t length = 0;
  while (length < bytes.size() && !isControl(bytes[length])) {
    const std::size_t character = utf8Length(bytes.substr(length));
    if (character == 0) break;
    length += character;
  }
  return length;
}

bool isPlainText(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  return plainTextLength(text) == text.size();
}

bool mayBePlainText(std::string_view bytes) {
  const std::string_view rest = bytes.substr(plainTextLength(bytes));
  if (rest.empty()) return true;
  const auto continues = [](char character) {
    return (static_cast<unsigned char>(character) & 0xC0) == 0x80;
  };
  if (isControl(rest.front()) || rest.size() >= lengthFrom(rest.front())) return false;
  for (const char character : rest.substr(1))
    if (!continues(character)) return false;
  return true;
}

}  // namespace vesk::host
