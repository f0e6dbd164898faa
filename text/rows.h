/// Kernels for the sample blocks: rows of eight 32-bit values, by the best that the processor has.
///
/// What runs everywhere is written down once, and again for instructions that only some processors
/// have, wherever a benchmark paid for it. Which set of kernels is used is found out when the
/// library is loaded. All sets write the same characters: those of printf for the format that a
/// kernel's comment names.
///
/// `bytes` are little-endian values at any alignment. A kernel gives back where the next character
/// goes, and may overwrite kSlack bytes behind it.
#pragma once

#include <cstddef>
#include <span>

namespace vesk::kernels {

inline constexpr std::size_t kPerRow = 8;  // values
/// Characters of a row, the newline that ends it included.
inline constexpr std::size_t kHexRow = kPerRow * 9 + 1;
inline constexpr std::size_t kDecimalRow = kPerRow * 15 + 1;

struct RowKernels {
  const char* name;

  /// `rows` rows of values, each as "%08x ".
  char* (*hex)(char* out, const unsigned char* bytes, std::size_t rows);

  /// `rows` rows of values, each as "%14d ".
  char* (*decimal)(char* out, const unsigned char* bytes, std::size_t rows);

  /// One row of floats, each as "% -13.3f ", and no newline.
  char* (*fixed)(char* out, const unsigned char* bytes);
};

/// The sets that this processor can run, the best one first.
std::span<const RowKernels> usableRowKernels();

/// The best one.
const RowKernels& rowKernels();

}  // namespace vesk::kernels
