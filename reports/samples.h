/// Blocks of samples, as the raw frame and the scans show them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/lines.h"
#include "plugin/HIDReportVeskPlugin.h"
#include "text/format.h"

namespace vesk {

/// A format of the value arrays, with the characters that it makes of one value at most.
struct SampleFormat {
  const char* text;
  std::size_t size;
};

inline constexpr SampleFormat kHexSamples{"%08x ", format::maximumSize<"%08x ", std::uint32_t>()};
inline constexpr SampleFormat kDecimalSamples{"%14d ",
                                              format::maximumSize<"%14d ", std::int32_t>()};

/// The format that the options ask for.
inline const SampleFormat& sampleFormat(const HIDReportVeskPlugin& plugin) {
  return plugin.displayDecimal() ? kDecimalSamples : kHexSamples;
}

/// Room for `count` values of `size` characters each, as the value arrays write them: eight to a
/// line.
constexpr LineRoom roomOfArray(std::size_t count, std::size_t size) {
  const std::size_t lines = (count + 7) / 8;
  return {lines, count * size + lines};
}

}  // namespace vesk
