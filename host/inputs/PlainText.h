/// Which bytes are text: UTF-8, and no controls but those of lines and of coloured logs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace vesk::host {

/// Whether a character stands in no text.
bool isControl(char character);

/// Length of the text that `bytes` begin with, as far as it is whole characters.
std::size_t plainTextLength(std::string_view bytes);

/// Whether all bytes are text.
bool isPlainText(std::span<const std::uint8_t> bytes);

/// The same of a piece: its last character may be cut off.
bool mayBePlainText(std::string_view bytes);

}  // namespace vesk::host
