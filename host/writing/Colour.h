/// Colours on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace vesk::host {

enum class Colour : int { Bold = 1, Red = 31, Cyan = 36 };

inline std::string coloured(Colour colour, std::string_view text) {
  return "\x1b[" + std::to_string(static_cast<int>(colour)) + "m" + std::string(text) + "\x1b[0m";
}

}  // namespace vesk::host
