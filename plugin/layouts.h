/// How long each report is at least, its ID included. Each decoder asserts that its layout has just
/// this size; the registry tells hosts, which must not hand over less.
#pragma once

#include <cstddef>

namespace vesk::layout {

inline constexpr std::size_t kVersion = 2;  // the ID and the NUL of an empty text
inline constexpr std::size_t kWatchDog = 25;
inline constexpr std::size_t kPowerModes = 41;
inline constexpr std::size_t kImage = 792;
inline constexpr std::size_t kAdcDumpConfig = 25;
inline constexpr std::size_t kAdcDumpState = 2;
inline constexpr std::size_t kAdcDumpPacket = 2064;
inline constexpr std::size_t kBaseline = 193;
inline constexpr std::size_t kBlackBoxSummary = 7;
inline constexpr std::size_t kBlackBoxFullReport = 991;
inline constexpr std::size_t kBlackBoxConfig = 232;
inline constexpr std::size_t kOpenShortTest = 57;
inline constexpr std::size_t kOpenShortData = 401;

}  // namespace vesk::layout
