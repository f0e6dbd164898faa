/// Text that is known when the program is compiled: a Literal is a template argument, a Text is a
/// value that is cheap to copy.
///
///     template <vesk::format::Literal format> void print();
///     print<"%20s: 0x%04X">();
///
///     static constexpr vesk::format::Text<16> kName("PSE");
///     std::string_view name = kName.view();
#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <stdexcept>
#include <string_view>

namespace vesk::format {

/// A string literal as a template argument.
template <std::size_t size>
struct Literal {
  char characters[size]{};

  consteval Literal(const char (&literal)[size]) { std::copy_n(literal, size, characters); }
  constexpr std::string_view view() const { return {characters, size - 1}; }
};

/// A label that is known when the program is compiled. It is copied whole, in 16-byte steps up to its
/// capacity, and only its first `size` characters count.
template <std::size_t capacity>
struct Text {
  static_assert(capacity % 16 == 0 && capacity < 256);

  char characters[capacity]{};
  unsigned char size = 0;

  constexpr Text() = default;

  /// `text`, with blanks before it up to `width` characters.
  constexpr explicit Text(std::string_view text, std::size_t width = 0) {
    const std::size_t blanks = text.size() < width ? width - text.size() : 0;
    if (blanks + text.size() > capacity) throw std::length_error("Text: longer than its capacity");
    std::fill_n(characters, blanks, ' ');
    std::copy_n(text.data(), text.size(), characters + blanks);
    size = static_cast<unsigned char>(blanks + text.size());
  }

  /// Several texts, one behind the other.
  template <std::convertible_to<std::string_view>... More>
  constexpr Text(std::string_view first, std::string_view second, const More&... more) {
    const auto append = [this](std::string_view text) {
      if (size + text.size() > capacity) throw std::length_error("Text: longer than its capacity");
      std::copy_n(text.data(), text.size(), characters + size);
      size = static_cast<unsigned char>(size + text.size());
    };
    append(first);
    append(second);
    (append(more), ...);
  }

  constexpr std::string_view view() const { return {characters, size}; }
};

}  // namespace vesk::format
