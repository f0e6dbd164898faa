/// The error that an invalid option makes.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace vesk {

/// The key of an error's user info under which its message stands.
inline constexpr char NSLocalizedDescriptionKey[] = "NSLocalizedDescription";

/// "Bad argument" as the platform numbers it: 0xE00002C2, read as signed.
inline constexpr std::int32_t kIOReturnBadArgument = -536870206;
static_assert(static_cast<std::uint32_t>(kIOReturnBadArgument) == 0xE00002C2);

struct Error {
  std::string domain;
  std::int32_t code = 0;
  std::map<std::string, std::string> userInfo;

  /// One line with all of it:
  /// `Error Domain=D Code=-1 "message" UserInfo={NSLocalizedDescription=message}`.
  std::string description() const {
    std::string text = "Error Domain=" + domain + " Code=" + std::to_string(code);
    const auto message = userInfo.find(NSLocalizedDescriptionKey);
    if (message != userInfo.end()) text += " \"" + message->second + '"';
    if (userInfo.empty()) return text;
    text += " UserInfo={";
    const char* separator = "";
    for (const auto& [key, value] : userInfo) {
      ((text += separator) += key) += '=';
      text += value;
      separator = ", ";
    }
    return text + '}';
  }
};

}  // namespace vesk
