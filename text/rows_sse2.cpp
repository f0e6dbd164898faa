// Rows of samples by SSE2, which every x86-64 has: four values at a time. It has nothing to gain where
// they are of different lengths, as fixed point is.

#include "text/digits.h"
#include "text/instructions.h"
#include "text/row_sets.h"

#if VESK_SSE2

namespace vesk::kernels {

namespace {

/// Two values of a row, whose nibbles are given: sixteen digits, a blank behind each eight.
char* hexPair(char* out, __m128i nibbles) {
  const __m128i digits = hexDigits(nibbles, 'a' - '0' - 10);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out), digits);
  out[8] = ' ';
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 9), _mm_unpackhi_epi64(digits, digits));
  out[17] = ' ';
  return out + 18;
}

/// Four values of a row. The bytes of each are reversed: those of its 16-bit halves, then the
/// halves.
char* hexFour(char* out, const unsigned char* bytes) {
  const __m128i low = _mm_set1_epi8(0x0F);
  __m128i values = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  values = _mm_or_si128(_mm_slli_epi16(values, 8), _mm_srli_epi16(values, 8));
  values = _mm_shufflelo_epi16(values, _MM_SHUFFLE(2, 3, 0, 1));
  values = _mm_shufflehi_epi16(values, _MM_SHUFFLE(2, 3, 0, 1));
  const __m128i high = _mm_and_si128(_mm_srli_epi16(values, 4), low);
  values = _mm_and_si128(values, low);
  out = hexPair(out, _mm_unpacklo_epi8(high, values));
  return hexPair(out, _mm_unpackhi_epi8(high, values));
}

char* hexRows(char* out, const unsigned char* bytes, std::size_t rows) {
  for (; rows > 0; --rows, bytes += 32) {
    out = hexFour(out, bytes);
    out = hexFour(out, bytes + 16);
    *out++ = '\n';
  }
  return out;
}

/// Four 32-bit values divided by a constant, whose reciprocal is given, times 2^shift.
template <int shift>
__m128i divideFour(__m128i values, std::uint32_t reciprocal) {
  const __m128i factor = _mm_set1_epi32(static_cast<int>(reciprocal));
  const __m128i even = _mm_srli_epi64(_mm_mul_epu32(values, factor), shift);
  const __m128i odd = _mm_srli_epi64(_mm_mul_epu32(_mm_srli_epi64(values, 32), factor), shift);
  return _mm_or_si128(even, _mm_slli_epi64(odd, 32));
}

/// The two decimal digits of each 16-bit lane, which is below 100, as its bytes, the first lowest.
__m128i twoDigitLanes(__m128i lanes) {
  const __m128i tens = _mm_mulhi_epu16(lanes, _mm_set1_epi16(6554));
  const __m128i ones = _mm_sub_epi16(lanes, _mm_mullo_epi16(tens, _mm_set1_epi16(10)));
  return _mm_or_si128(tens, _mm_slli_epi16(ones, 8));
}

/// Four values of a row: decimalColumn() for all of them at once.
char* decimalFour(char* out, const unsigned char* bytes) {
  const __m128i zero = _mm_setzero_si128();
  const __m128i values = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
  const __m128i signs = _mm_srai_epi32(values, 31);
  const __m128i magnitudes = _mm_sub_epi32(_mm_xor_si128(values, signs), signs);

  // The fill of each: its number of digits, counted by comparing (a comparison gives 0 or -1; the
  // magnitude of the smallest value, which is negative, has ten), and its sign.
  __m128i fills = _mm_set1_epi32(1);
  for (const int power : {9, 99, 999, 9999, 99999, 999999, 9999999, 99999999, 999999999})
    fills = _mm_sub_epi32(fills, _mm_cmpgt_epi32(magnitudes, _mm_set1_epi32(power)));
  const __m128i smallest = _mm_srai_epi32(magnitudes, 31);
  fills = _mm_add_epi32(fills, _mm_and_si128(smallest, _mm_set1_epi32(9)));
  fills = _mm_add_epi32(fills, _mm_and_si128(signs, _mm_set1_epi32(11)));
  std::uint32_t fill[4];
  _mm_storeu_si128(reinterpret_cast<__m128i*>(fill), fills);

  // Two digits in front of the last eight, which are two groups of four, in lanes of 16 bits.
  __m128i tails = magnitudes;
  __m128i fronts = zero;
  const __m128i large =
      _mm_or_si128(_mm_cmpgt_epi32(magnitudes, _mm_set1_epi32(99999999)), smallest);
  if (_mm_movemask_epi8(large) != 0) {
    const __m128i heads = divideFour<57>(magnitudes, 1441151881);
    const __m128i even = _mm_mul_epu32(heads, _mm_set1_epi32(100000000));
    const __m128i odd = _mm_mul_epu32(_mm_srli_epi64(heads, 32), _mm_set1_epi32(100000000));
    tails = _mm_sub_epi32(magnitudes, _mm_or_si128(even, _mm_slli_epi64(odd, 32)));
    fronts = twoDigitLanes(heads);
  }
  const __m128i upper = divideFour<45>(tails, 0xD1B71759);
  const __m128i lower = _mm_sub_epi32(tails, _mm_madd_epi16(upper, _mm_set1_epi32(10000)));
  const __m128i groups = _mm_or_si128(upper, _mm_slli_epi32(lower, 16));
  const __m128i hundreds = _mm_srli_epi16(_mm_mulhi_epu16(groups, _mm_set1_epi16(5243)), 3);
  const __m128i rests = _mm_sub_epi16(groups, _mm_mullo_epi16(hundreds, _mm_set1_epi16(100)));
  const __m128i first = twoDigitLanes(hundreds);
  const __m128i second = twoDigitLanes(rests);

  // Ten digits from byte 4 of each column on.
  const auto writeTwo = [&](__m128i front, __m128i digits, const std::uint32_t* of) {
    const __m128i low = _mm_or_si128(front, _mm_slli_epi64(digits, 48));
    const __m128i high = _mm_srli_epi64(digits, 16);
    const auto write = [&](__m128i column, std::uint32_t number) {
      const auto* const bytesOf = reinterpret_cast<const __m128i*>(detail::kFills.bytes[number]);
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                       _mm_add_epi8(column, _mm_load_si128(bytesOf)));
      out += 15;
    };
    write(_mm_unpacklo_epi64(low, high), of[0]);
    write(_mm_unpackhi_epi64(low, high), of[1]);
  };
  writeTwo(_mm_unpacklo_epi32(zero, fronts), _mm_unpacklo_epi16(first, second), fill);
  writeTwo(_mm_unpackhi_epi32(zero, fronts), _mm_unpackhi_epi16(first, second), fill + 2);
  return out;
}

char* decimalRows(char* out, const unsigned char* bytes, std::size_t rows) {
  for (; rows > 0; --rows, bytes += 32) {
    out = decimalFour(out, bytes);
    out = decimalFour(out, bytes + 16);
    *out++ = '\n';
  }
  return out;
}

}  // namespace

RowKernels sse2Rows() { return {"SSE2", hexRows, decimalRows, portableRows().fixed}; }

}  // namespace vesk::kernels

#endif
