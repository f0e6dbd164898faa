/// Whether text is UTF-8.
///
///     while (!text.empty()) {  // each sequence, or one byte that is none
///       const std::size_t length = vesk::utf8Length(text);
///       text.remove_prefix(std::max<std::size_t>(length, 1));
///     }
#pragma once

#include <cstddef>
#include <string_view>

namespace vesk {

/// Whether `text` is well-formed UTF-8: no overlong forms, no surrogates, nothing past U+10FFFF.
bool isUtf8(std::string_view text);

/// Length in bytes (1 to 4) of the well-formed sequence at the front of `text`; 0 if there is none,
/// or no text.
std::size_t utf8Length(std::string_view text);

}  // namespace vesk
