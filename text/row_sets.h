/// The sets of row kernels, of which rows.cpp chooses: one for each set of instructions, in a file of
/// its own. Where a set has nothing better, it takes the kernel of the set below it.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "text/format.h"
#include "text/rows.h"

namespace vesk::kernels {

RowKernels portableRows();
RowKernels sse2Rows();
RowKernels avx2Rows();
RowKernels avx512Rows();

/// The 32-bit value at `bytes`, which need not be aligned.
inline std::uint32_t loadWord(const unsigned char* bytes) {
  std::uint32_t word;
  std::memcpy(&word, bytes, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap32(word);
  return word;
}

/// One value of a row of fixed point, whatever it is.
inline char* fixedOne(char* out, float value) { return format::write<"% -13.3f ">(out, value); }

}  // namespace vesk::kernels
