/// The severity levels of the black box.
#pragma once

#include <array>
#include <cstddef>

namespace vesk::blackbox {

inline constexpr std::array<const char*, 6> kSeverityNames = {
    "TRACE", "DEBUG", "INFO", "WARNING", "ERROR", "CRITICAL"};

/// A severity level that a report carries stands in the low three bits of a byte.
inline constexpr unsigned char kSeverityMask = 0x07;

/// The name of a level; null for one that has none (6 and above).
constexpr const char* severityName(unsigned char level) {
  return level < kSeverityNames.size() ? kSeverityNames[level] : nullptr;
}

}  // namespace vesk::blackbox
