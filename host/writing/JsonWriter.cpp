#include "host/writing/JsonWriter.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "text/digits.h"

namespace vesk::host {

namespace {

/// Whether a character of JSON text must be escaped. Bytes of UTF-8 stand for themselves.
constexpr bool isEscaped(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\';
}

/// The same for any of the eight characters in a word: one that is below a bound, or is 0 when it
/// has been compared, borrows from its highest bit.
constexpr bool anyEscaped(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const auto anyBelow = [](std::uint64_t bytes, std::uint64_t bound) {
    return (bytes - kOnes * bound) & ~bytes & (kOnes << 7);
  };
  return (anyBelow(word, 0x20) | anyBelow(word ^ kOnes * '"', 1) |
          anyBelow(word ^ kOnes * '\\', 1)) != 0;
}

bool needsEscapes(std::string_view text) {
  for (; text.size() >= sizeof(std::uint64_t); text.remove_prefix(sizeof(std::uint64_t))) {
    std::uint64_t word;
    std::memcpy(&word, text.data(), sizeof word);
    if (anyEscaped(word)) return true;
  }
  return std::ranges::any_of(text, isEscaped);
}

/// What follows the backslash: a letter of its own, or 'u' and four digits.
constexpr char escapeOf(char character) {
  switch (character) {
    case '\b':
      return 'b';
    case '\t':
      return 't';
    case '\n':
      return 'n';
    case '\f':
      return 'f';
    case '\r':
      return 'r';
    case '"':
    case '\\':
      return character;
    default:
      return 'u';
  }
}

}  // namespace

/// Hardly any text holds what must be escaped: it is copied.
void JsonWriter::string(std::string_view text) {
  if (needsEscapes(text)) return appendEscaped(text);
  comma();
  char* out = room(text.size() + 2);
  *out++ = '"';
  out = putText(out, text);
  *out++ = '"';
  took(out);
}

void JsonWriter::appendEscaped(std::string_view text) {
  constexpr std::size_t kLongest = 6;  // "\u001F"
  comma();
  char* out = room(kLongest * text.size() + 2 + kernels::kSlack);
  *out++ = '"';
  for (const char character : text) {
    if (!isEscaped(character)) {
      *out++ = character;
      continue;
    }
    *out++ = '\\';
    *out++ = escapeOf(character);
    if (escapeOf(character) == 'u')
      out = kernels::hex(out, static_cast<unsigned char>(character), 4, true);
  }
  *out++ = '"';
  took(out);
}

void JsonWriter::grow(std::size_t size) {
  constexpr std::size_t kSmallest = 4096;
  _capacity = std::max({kSmallest, 2 * _capacity, _size + size});
  auto text = std::make_unique_for_overwrite<char[]>(_capacity);
  if (_size != 0) std::memcpy(text.get(), _text.get(), _size);
  _text = std::move(text);
}

}  // namespace vesk::host
