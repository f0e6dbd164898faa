/// Bytes written as hexadecimal digits: what all text forms have in common.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::host {

inline bool isBlank(char character) { return character == ' ' || character == '\t'; }

/// `text` without the blanks at both ends.
std::string_view trim(std::string_view text);

/// Takes the first word off `text`, and the blanks around it.
std::string_view takeWord(std::string_view& text);

/// Appends the bytes that `text` holds: pairs of digits, with blanks, commas, colons and "0x"
/// between them in any mix. Says what is wrong, and where, if that isn't all it holds.
std::optional<std::string> appendHex(std::string_view text, std::vector<std::uint8_t>& bytes);

/// A stretch of input for a message: in quotes, short, and free of anything that isn't ASCII.
std::string inQuotes(std::string_view text);

}  // namespace vesk::host
