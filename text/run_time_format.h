/// printf formats that come as a value while the program runs: one conversion with text around it.
/// What it may be, format.h says.
///
///     const vesk::format::Format format("%14d ");  // throws std::invalid_argument for others
///     char line[64];
///     char* end = line;
///     if (format.takes<int>()) end = format.write(line, -1);
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string_view>

#include "text/format_convert.h"
#include "text/format_parse.h"

namespace vesk::format {

/// A format of exactly one conversion that comes as a value. It refers to the text that it was made
/// from, which must outlive it.
class Format {
 public:
  /// Throws std::invalid_argument for a format that is not understood, or that has no or more than
  /// one conversion.
  constexpr explicit Format(std::string_view text) {
    std::size_t at = 0;
    const Piece first = parsePiece(text, at);
    const Piece second = parsePiece(text, at);
    if (first.conversion.letter == 0 || second.conversion.letter != 0)
      throw std::invalid_argument("format: other than one conversion");
    _conversion = first.conversion;
    _before = text.substr(0, first.end);
    _behind = text.substr(second.begin);
  }

  /// Whether the conversion takes arguments of type T.
  template <class T>
  constexpr bool takes() const {
    return detail::takes<T>(_conversion);
  }

  /// Characters that write() makes of `argument` at most; it may overwrite kernels::kSlack more.
  template <class T>
  std::size_t size(const T& argument) const {
    return _before.size() + detail::bound(_conversion, argument) + _behind.size();
  }

  /// Requires takes<T>().
  template <class T>
  char* write(char* out, const T& argument) const {
    out = detail::copy(out, _before.data(), _before.size());
    out = detail::convert(out, _conversion, argument);
    return detail::copy(out, _behind.data(), _behind.size());
  }

 private:
  std::string_view _before;
  std::string_view _behind;
  Conversion _conversion;
};

}  // namespace vesk::format
