/// Bytes written as hexadecimal digits: what all text forms have in common.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Report.h"

namespace vesk::host {

inline bool isBlank(char character) { return character == ' ' || character == '\t'; }

/// `text` without the blanks at both ends.
std::string_view trim(std::string_view text);

/// Takes the first word off `text`, and the blanks around it.
std::string_view takeWord(std::string_view& text);

/// The type that a word names: "feature", "Feature".
std::optional<ReportType> typeWord(std::string_view word);

/// Appends the bytes that `text` holds: pairs of digits, with blanks, commas, colons and "0x"
/// between them in any mix. Says what is wrong, and where, if that isn't all it holds.
std::optional<std::string> appendHex(std::string_view text, std::vector<std::uint8_t>& bytes);

/// Digits as programs and people write them, in a way that appendHex() understands: without what
/// stands around them ("[de 01]", "{0xDE, 0x01};", quotes) and behind them (a comment after "//" or
/// in "/*...*/"), "DE-01" as "DE 01" and "\xde" as "0xde".
std::string tidied(std::string_view text);

/// A stretch of input for a message: in quotes, short, and free of anything that isn't ASCII.
std::string inQuotes(std::string_view text);

}  // namespace vesk::host
