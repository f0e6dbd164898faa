/// Kernels for the sample blocks: rows of eight 32-bit values, by the best that the processor has.
///
/// There is a set for every processor, and one for each set of instructions that only some have, with
/// kernels of its own where a benchmark showed a gain. The best set is chosen when the library is
/// loaded. All sets write the same characters: those of printf for the format that a kernel's comment
/// names.
///
/// `bytes` are little-endian values at any alignment. A kernel gives back where the next character
/// goes, and may overwrite kSlack bytes behind it.
///
///     out = vesk::kernels::rowKernels().hex(out, samples, 6);  // 6 rows: 192 bytes, 438 characters
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

/// The sets that were built (see instructions.h) and that this processor can run, the best one first.
/// The last one runs anywhere.
std::span<const RowKernels> usableRowKernels();

/// The best one.
const RowKernels& rowKernels();

}  // namespace vesk::kernels
