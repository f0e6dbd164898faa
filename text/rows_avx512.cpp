// Rows of samples by AVX-512 with VBMI, which moves single bytes: a row of hexadecimal in one register.
// In decimal and fixed point AVX2 is as fast. The functions are compiled for it, not the whole file, as
// in rows_avx2.cpp.

#include "text/instructions.h"
#include "text/row_sets.h"

#if VESK_AVX512

#if defined(__GNUC__) && !defined(__clang__)
// g++ 12 takes the undefined operands within its own AVX-512 intrinsics for a mistake.
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include <immintrin.h>

#define VBMI __attribute__((target("avx2,avx512f,avx512bw,avx512vbmi")))

namespace vesk::kernels {

namespace {

/// The characters of a row but for its last eight, as lanes among its 64 digits.
struct HexShuffle {
  alignas(64) unsigned char lanes[64];
  std::uint64_t digits;  // one bit for each that is not a blank
};

constexpr HexShuffle makeHexShuffle() {
  HexShuffle made{};
  for (unsigned i = 0; i < 64; ++i) {
    if (i % 9 == 8) continue;
    made.lanes[i] = static_cast<unsigned char>(i / 9 * 8 + i % 9);
    made.digits |= std::uint64_t{1} << i;
  }
  return made;
}

constexpr HexShuffle kHexShuffle = makeHexShuffle();

/// A row in one register: the nibbles of all values are moved to bytes, looked up, and spread.
VBMI char* hexRows(char* out, const unsigned char* bytes, std::size_t rows) {
  // The first digit is bits 28 to 31. The bits above a nibble pick one of four equal sixteenths.
  const __m512i shifts = _mm512_set1_epi64(0x0004080C1014181C);
  const __m512i letters =
      _mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i*>("0123456789abcdef")));
  const __m512i lanes = _mm512_load_si512(kHexShuffle.lanes);
  const __m512i blanks = _mm512_set1_epi8(' ');
  for (; rows > 0; --rows, bytes += 32) {
    const __m256i values = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
    const __m512i nibbles = _mm512_multishift_epi64_epi8(shifts, _mm512_cvtepu32_epi64(values));
    const __m512i digits = _mm512_permutexvar_epi8(nibbles, letters);
    _mm512_storeu_si512(out,
                        _mm512_mask_permutexvar_epi8(blanks, kHexShuffle.digits, lanes, digits));
    const __m128i last = _mm512_extracti32x4_epi32(digits, 3);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 63), _mm_unpackhi_epi64(last, last));
    out[71] = ' ';
    out[72] = '\n';
    out += kHexRow;
  }
  return out;
}

}  // namespace

RowKernels avx512Rows() {
  const RowKernels avx2 = avx2Rows();
  return {"AVX-512 VBMI", hexRows, avx2.decimal, avx2.fixed};
}

}  // namespace vesk::kernels

#endif
