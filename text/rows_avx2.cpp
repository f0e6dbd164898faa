// Rows of samples by AVX2: eight values at a time, in the two halves of a register. Most instructions
// do to each half what their SSE2 siblings do.
//
// Functions are compiled for AVX2, not the whole file: what it includes is inline and shared with
// files that are for any processor, and the linker keeps only one of each.

#include "text/instructions.h"
#include "text/row_sets.h"

#if VESK_AVX2

#include <immintrin.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "text/digits.h"

#define AVX2 __attribute__((target("avx2")))
#define AVX2_PART AVX2 inline __attribute__((always_inline))

namespace vesk::kernels {

namespace {

AVX2_PART __m256i loadEight(const unsigned char* bytes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}

AVX2_PART void storeSixteen(char* out, __m128i characters) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), characters);
}

/// The same sixteen bytes in both halves.
AVX2_PART __m256i bothHalves(__m128i bytes) { return _mm256_broadcastsi128_si256(bytes); }

/// Sixteen digits as two values with a blank behind each: 18 characters.
AVX2_PART char* writeHexPair(char* out, __m128i first, __m128i last) {
  storeSixteen(out, first);
  _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 10), last);
  return out + 18;
}

AVX2 char* hexRows(char* out, const unsigned char* bytes, std::size_t rows) {
  constexpr char kNone = -128;  // makes a zero of a shuffle
  const __m256i reversed =
      bothHalves(_mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
  const __m256i low = _mm256_set1_epi8(0x0F);
  const __m256i letters =
      bothHalves(_mm_loadu_si128(reinterpret_cast<const __m128i*>("0123456789abcdef")));
  // Characters 0 to 15 of a pair of values, and 10 to 17.
  const __m256i first =
      bothHalves(_mm_setr_epi8(0, 1, 2, 3, 4, 5, 6, 7, kNone, 8, 9, 10, 11, 12, 13, 14));
  const __m256i firstBlank =
      bothHalves(_mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, 0, ' ', 0, 0, 0, 0, 0, 0, 0));
  const __m256i lastBlank =
      bothHalves(_mm_setr_epi8(0, 0, 0, 0, 0, 0, 0, ' ', 0, 0, 0, 0, 0, 0, 0, 0));
  for (; rows > 0; --rows, bytes += 32) {
    const __m256i values = _mm256_shuffle_epi8(loadEight(bytes), reversed);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(values, 4), low);
    const __m256i rest = _mm256_and_si256(values, low);
    // Values 0, 1 and 4, 5; then 2, 3 and 6, 7.
    const __m256i even = _mm256_shuffle_epi8(letters, _mm256_unpacklo_epi8(high, rest));
    const __m256i odd = _mm256_shuffle_epi8(letters, _mm256_unpackhi_epi8(high, rest));
    const __m256i evenFirst = _mm256_or_si256(_mm256_shuffle_epi8(even, first), firstBlank);
    const __m256i oddFirst = _mm256_or_si256(_mm256_shuffle_epi8(odd, first), firstBlank);
    const __m256i evenLast = _mm256_or_si256(_mm256_srli_si256(even, 9), lastBlank);
    const __m256i oddLast = _mm256_or_si256(_mm256_srli_si256(odd, 9), lastBlank);
    out = writeHexPair(out, _mm256_castsi256_si128(evenFirst), _mm256_castsi256_si128(evenLast));
    out = writeHexPair(out, _mm256_castsi256_si128(oddFirst), _mm256_castsi256_si128(oddLast));
    out = writeHexPair(
        out, _mm256_extracti128_si256(evenFirst, 1), _mm256_extracti128_si256(evenLast, 1));
    out = writeHexPair(
        out, _mm256_extracti128_si256(oddFirst, 1), _mm256_extracti128_si256(oddLast, 1));
    *out++ = '\n';
  }
  return out;
}

/// Eight 32-bit values divided by a constant, whose reciprocal is given, times 2^shift.
template <int shift>
AVX2_PART __m256i divideEight(__m256i values, std::uint32_t reciprocal) {
  const __m256i factor = _mm256_set1_epi32(static_cast<int>(reciprocal));
  const __m256i even = _mm256_srli_epi64(_mm256_mul_epu32(values, factor), shift);
  const __m256i odd =
      _mm256_srli_epi64(_mm256_mul_epu32(_mm256_srli_epi64(values, 32), factor), shift);
  return _mm256_or_si256(even, _mm256_slli_epi64(odd, 32));
}

/// twoDigitLanes() of sixteen.
AVX2_PART __m256i twoDigitLanes(__m256i lanes) {
  const __m256i tens = _mm256_mulhi_epu16(lanes, _mm256_set1_epi16(6554));
  const __m256i ones = _mm256_sub_epi16(lanes, _mm256_mullo_epi16(tens, _mm256_set1_epi16(10)));
  return _mm256_or_si256(tens, _mm256_slli_epi16(ones, 8));
}

/// The eight digits of each of eight values below 10^8, as bytes 0 to 9.
struct Digits {
  __m256i even;  // of values 0, 1 and 4, 5
  __m256i odd;   // of values 2, 3 and 6, 7
};

AVX2_PART Digits digitsOf(__m256i values) {
  const __m256i upper = divideEight<45>(values, 0xD1B71759);
  const __m256i lower =
      _mm256_sub_epi32(values, _mm256_madd_epi16(upper, _mm256_set1_epi32(10000)));
  const __m256i groups = _mm256_or_si256(upper, _mm256_slli_epi32(lower, 16));
  const __m256i hundreds =
      _mm256_srli_epi16(_mm256_mulhi_epu16(groups, _mm256_set1_epi16(5243)), 3);
  const __m256i rests =
      _mm256_sub_epi16(groups, _mm256_mullo_epi16(hundreds, _mm256_set1_epi16(100)));
  const __m256i first = twoDigitLanes(hundreds);
  const __m256i second = twoDigitLanes(rests);
  return {_mm256_unpacklo_epi16(first, second), _mm256_unpackhi_epi16(first, second)};
}

/// Eight whole numbers: their ten digits as bytes 0 to 9 from byte 4 of a column on, and how many
/// of them count. Column i is that of values i and 4 + i.
struct Columns {
  __m256i columns[4];
  __m256i digits;
};

/// One, and one more for each of these powers of ten that a value has reached. A comparison gives 0
/// or -1; it is one of unsigned numbers by asking which is the larger.
template <int... power>
AVX2_PART __m256i countDigits(__m256i values) {
  __m256i digits = _mm256_set1_epi32(1);
  ((digits = _mm256_sub_epi32(
        digits, _mm256_cmpeq_epi32(_mm256_max_epu32(values, _mm256_set1_epi32(power)), values))),
   ...);
  return digits;
}

/// The column of value i.
template <std::size_t i>
AVX2_PART __m128i columnOf(const Columns& made) {
  if constexpr (i < 4)
    return _mm256_castsi256_si128(made.columns[i]);
  else
    return _mm256_extracti128_si256(made.columns[i - 4], 1);
}

AVX2_PART Columns columnsOf(__m256i values) {
  Columns made;
  made.digits =
      countDigits<10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000, 1000000000>(values);
  // Two digits in front of the last eight.
  __m256i tails = values;
  __m256i fronts = _mm256_setzero_si256();
  const __m256i large = _mm256_cmpgt_epi32(made.digits, _mm256_set1_epi32(8));
  if (_mm256_movemask_epi8(large) != 0) {
    const __m256i heads = divideEight<57>(values, 1441151881);
    tails = _mm256_sub_epi32(values, _mm256_mullo_epi32(heads, _mm256_set1_epi32(100000000)));
    fronts = twoDigitLanes(heads);
  }
  const Digits digits = digitsOf(tails);
  const __m256i zero = _mm256_setzero_si256();
  const __m256i evenLow =
      _mm256_or_si256(_mm256_unpacklo_epi32(zero, fronts), _mm256_slli_epi64(digits.even, 48));
  const __m256i evenHigh = _mm256_srli_epi64(digits.even, 16);
  const __m256i oddLow =
      _mm256_or_si256(_mm256_unpackhi_epi32(zero, fronts), _mm256_slli_epi64(digits.odd, 48));
  const __m256i oddHigh = _mm256_srli_epi64(digits.odd, 16);
  made.columns[0] = _mm256_unpacklo_epi64(evenLow, evenHigh);
  made.columns[1] = _mm256_unpackhi_epi64(evenLow, evenHigh);
  made.columns[2] = _mm256_unpacklo_epi64(oddLow, oddHigh);
  made.columns[3] = _mm256_unpackhi_epi64(oddLow, oddHigh);
  return made;
}

AVX2_PART __m128i loadSixteen(const void* bytes) {
  return _mm_load_si128(static_cast<const __m128i*>(bytes));
}

// The byte behind a column is a blank, whichever of its neighbours writes it.
template <std::size_t... i>
AVX2_PART void writeColumns(char* out, const Columns& made, const std::uint32_t* kinds,
                            std::index_sequence<i...>) {
  (storeSixteen(out + 15 * i,
                _mm_add_epi8(columnOf<i>(made), loadSixteen(detail::kFills.bytes[kinds[i]]))),
   ...);
}

AVX2_PART char* decimalEight(char* out, const unsigned char* bytes) {
  const __m256i values = loadEight(bytes);
  const Columns made = columnsOf(_mm256_abs_epi32(values));
  // The number of digits, plus 11 for a negative value.
  const __m256i negative = _mm256_and_si256(_mm256_srai_epi32(values, 31), _mm256_set1_epi32(11));
  alignas(32) std::uint32_t kinds[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(kinds), _mm256_add_epi32(made.digits, negative));
  writeColumns(out, made, kinds, std::make_index_sequence<8>{});
  return out + kDecimalRow - 1;
}

AVX2 char* decimalRows(char* out, const unsigned char* bytes, std::size_t rows) {
  for (; rows > 0; --rows, bytes += 32) {
    out = decimalEight(out, bytes);
    *out++ = '\n';
  }
  return out;
}

/// How eight digits, five of them before the point, become a column of fixed point: which digit goes
/// where, and what is added to make characters of them. By leading zeros that are not shown.
struct FixedColumns {
  alignas(16) signed char shuffles[2][5][16];  // for a value in the lower or upper half of 16 bytes
  alignas(16) char fills[10][16];              // 5 more for a negative one
};

constexpr FixedColumns makeFixedColumns() {
  FixedColumns columns{};
  for (int leading = 0; leading < 5; ++leading) {
    const int point = 6 - leading;
    for (int i = 0; i < 16; ++i) {
      const bool digit = i >= 1 && i <= point + 3 && i != point;
      const int from = i - 1 + leading - (i > point ? 1 : 0);
      for (int half = 0; half < 2; ++half)
        columns.shuffles[half][leading][i] =
            static_cast<signed char>(digit ? 8 * half + from : -128);
      for (int negative = 0; negative < 2; ++negative)
        columns.fills[5 * negative + leading][i] = digit                     ? '0'
                                                   : i == point              ? '.'
                                                   : i == 0 && negative != 0 ? '-'
                                                                             : ' ';
    }
  }
  return columns;
}

constexpr FixedColumns kFixedColumns = makeFixedColumns();

/// Four floats times 1000, rounded to whole numbers: the low word of each of the four doubles.
AVX2_PART __m256 thousands(__m128 four) {
  const __m256d product = _mm256_mul_pd(_mm256_cvtps_pd(four), _mm256_set1_pd(1000));
  return _mm256_castpd_ps(_mm256_add_pd(product, _mm256_set1_pd(0x1p52)));
}

/// A float of 2^31 and more, in fixed point: all its limbs at once.
AVX2_PART char* largeFixed(char* out, float value) {
  std::uint32_t limbs[5];
  detail::splitWhole(value, limbs);
  const Digits digits = digitsOf(_mm256_setr_epi32(static_cast<int>(limbs[0]),
                                                   static_cast<int>(limbs[1]),
                                                   static_cast<int>(limbs[2]),
                                                   static_cast<int>(limbs[3]),
                                                   static_cast<int>(limbs[4]),
                                                   0,
                                                   0,
                                                   0));
  const __m256i zero = _mm256_setzero_si256();
  const auto firstAndLast =
      static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpgt_epi8(digits.even, zero)));
  const auto middle =
      static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpgt_epi8(digits.odd, zero)));
  const int leading = std::countr_zero((firstAndLast & 0xFFFF) | middle << 16);
  const __m256i ascii = _mm256_set1_epi8('0');
  char characters[48 + kSlack];
  storeSixteen(characters, _mm256_castsi256_si128(_mm256_add_epi8(digits.even, ascii)));
  storeSixteen(characters + 16, _mm256_castsi256_si128(_mm256_add_epi8(digits.odd, ascii)));
  storeSixteen(characters + 32, _mm256_extracti128_si256(_mm256_add_epi8(digits.even, ascii), 1));
  *out = std::signbit(value) ? '-' : ' ';
  std::memcpy(out + 1, characters + leading, 40);
  out += 41 - leading;
  storeLittle(out, loadLittle(".000    "));
  return out + 5;
}

/// Floats below 99999 in magnitude, times 1000, are whole numbers of eight digits (fixedMagnitude()
/// tells why the product is exact and rounded as it should be). Those of a row are made at once,
/// and what is larger, or is no number, one by one.
AVX2 char* fixedRow(char* out, const unsigned char* bytes) {
  const __m256 values = _mm256_castsi256_ps(loadEight(bytes));
  const __m256 magnitudes = _mm256_andnot_ps(_mm256_set1_ps(-0.0f), values);
  const int whole = _mm256_movemask_ps(
      _mm256_and_ps(_mm256_cmp_ps(magnitudes, _mm256_set1_ps(0x1p31f), _CMP_GE_OQ),
                    _mm256_cmp_ps(magnitudes, _mm256_set1_ps(INFINITY), _CMP_LT_OQ)));
  const int small =
      _mm256_movemask_ps(_mm256_cmp_ps(magnitudes, _mm256_set1_ps(99999), _CMP_LT_OQ));

  // The low words of the sums, back in order.
  const __m256 words = _mm256_shuffle_ps(thousands(_mm256_castps256_ps128(magnitudes)),
                                         thousands(_mm256_extractf128_ps(magnitudes, 1)),
                                         _MM_SHUFFLE(2, 0, 2, 0));
  const __m256i number =
      _mm256_permute4x64_epi64(_mm256_castps_si256(words), _MM_SHUFFLE(3, 1, 2, 0));
  const Digits digits = digitsOf(number);

  __m256i leading = _mm256_set1_epi32(4);
  for (const int power : {9999, 99999, 999999, 9999999})
    leading = _mm256_add_epi32(leading, _mm256_cmpgt_epi32(number, _mm256_set1_epi32(power)));
  alignas(32) std::uint32_t skip[8];
  _mm256_store_si256(reinterpret_cast<__m256i*>(skip), leading);
  const int signs = _mm256_movemask_ps(values);

  const __m128i pairs[] = {_mm256_castsi256_si128(digits.even),
                           _mm256_castsi256_si128(digits.odd),
                           _mm256_extracti128_si256(digits.even, 1),
                           _mm256_extracti128_si256(digits.odd, 1)};
  for (std::size_t i = 0; i < kPerRow; ++i) {
    if ((small >> i & 1) == 0) {
      const auto value = std::bit_cast<float>(loadWord(bytes + 4 * i));
      const bool large = (whole >> i & 1) != 0;
      out = large ? largeFixed(out, value) : fixedOne(out, value);
      continue;
    }
    const __m128i shuffle = loadSixteen(kFixedColumns.shuffles[i % 2][skip[i]]);
    const __m128i fill =
        loadSixteen(kFixedColumns.fills[skip[i] + ((signs >> i & 1) != 0 ? 5 : 0)]);
    storeSixteen(out, _mm_add_epi8(_mm_shuffle_epi8(pairs[i / 2], shuffle), fill));
    out += 14;
  }
  return out;
}

}  // namespace

RowKernels avx2Rows() { return {"AVX2", hexRows, decimalRows, fixedRow}; }

}  // namespace vesk::kernels

#endif
