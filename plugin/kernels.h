/// How numbers become characters: the few routines that the time of a decode is spent in.
///
/// Each writes at `out` and gives back where the next character goes. To be free of loops and
/// branches they store whole words: up to kSlack bytes behind the last character that counts may be
/// overwritten, and the caller keeps that room free. All of them give what the C library's printf
/// gives for the format that their comment names.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vesk::kernels {

/// Bytes behind the end of its characters that a kernel may overwrite.
inline constexpr std::size_t kSlack = 16;

template <class Word>
void store(char* out, Word word) {
  std::memcpy(out, &word, sizeof word);
}

/// Stores a word so that its lowest byte is the first character.
inline void storeLittle(char* out, std::uint64_t word) {
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  store(out, word);
}

// ---------------------------------------------------------------------------------- hexadecimal

/// The 16 hexadecimal digits of `value`, leading zeros included: "%016llx", "%016llX".
///
/// SSE2, which every x86-64 has, does all digits at once: the nibbles of the byte-reversed value
/// are interleaved into 16 bytes, and those over 9 move on to the letters.
inline char* hex16(char* out, std::uint64_t value, bool upper) {
  const int letters = upper ? 'A' - '0' - 10 : 'a' - '0' - 10;
#if defined(__SSE2__)
  const __m128i bytes = _mm_cvtsi64_si128(static_cast<long long>(__builtin_bswap64(value)));
  const __m128i low = _mm_set1_epi8(0x0F);
  const __m128i nibbles = _mm_and_si128(_mm_unpacklo_epi8(_mm_srli_epi64(bytes, 4), bytes), low);
  const __m128i overNine = _mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9));
  const __m128i digits =
      _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')),
                   _mm_and_si128(overNine, _mm_set1_epi8(static_cast<char>(letters))));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), digits);
#else
  for (int i = 0; i < 16; ++i) {
    const int nibble = static_cast<int>((value >> (60 - 4 * i)) & 0xF);
    out[i] = static_cast<char>(nibble + '0' + (nibble > 9 ? letters : 0));
  }
#endif
  return out + 16;
}

/// The last `digits` (1 to 16) hexadecimal digits of `value`, which has no more: "%08x", "%04X",
/// ...
inline char* hex(char* out, std::uint64_t value, int digits, bool upper) {
  hex16(out, value << (64 - 4 * digits), upper);
  return out + digits;
}

// -------------------------------------------------------------------------------------- decimal

/// The eight decimal digits of `value` < 10^8 as bytes 0 to 9, the first digit in the lowest byte.
///
/// Divides in parallel, halving the group each time: two groups of four digits, four of two, eight
/// of one. The multiplications are exact reciprocals for the range of their group.
constexpr std::uint64_t eightDigits(std::uint32_t value) {
  const std::uint64_t four = value / 10000 | static_cast<std::uint64_t>(value % 10000) << 32;
  const std::uint64_t hundreds = ((four * 10486) >> 20) & 0x0000007F0000007F;
  const std::uint64_t two = hundreds | (four - hundreds * 100) << 16;
  const std::uint64_t tens = ((two * 103) >> 10) & 0x000F000F000F000F;
  return tens | (two - tens * 10) << 8;
}

inline constexpr std::uint64_t kZeros = 0x3030303030303030;  // "00000000"

/// Eight digits, leading zeros included.
inline char* decimal8(char* out, std::uint32_t value) {
  storeLittle(out, eightDigits(value) | kZeros);
  return out + 8;
}

/// "%u". The digits of a value below 10^8 are made at once, and the leading zeros shifted out.
inline char* decimal(char* out, std::uint32_t value) {
  if (value >= 100000000) {
    const std::uint32_t head = value / 100000000;  // 1 to 42
    *out = static_cast<char>('0' + (head >= 10 ? head / 10 : head));
    out[1] = static_cast<char>('0' + head % 10);
    return decimal8(out + (head >= 10 ? 2 : 1), value % 100000000);
  }
  const std::uint64_t digits = eightDigits(value);
  // The last digit stays, also when it is 0.
  const int leading = std::countr_zero(digits | 0x0100000000000000) / 8;
  storeLittle(out, (digits | kZeros) >> (8 * leading));
  return out + 8 - leading;
}

/// "%llu".
inline char* decimal(char* out, std::uint64_t value) {
  if (value <= 0xFFFFFFFF) return decimal(out, static_cast<std::uint32_t>(value));
  const std::uint64_t head = value / 100000000;
  out = decimal(out, head);
  return decimal8(out, static_cast<std::uint32_t>(value % 100000000));
}

namespace detail {

/// What is added to sixteen digit bytes to fill a field: blanks before the number, its sign, and
/// the '0' that makes a digit a character.
struct Fills {
  char bytes[2][11][16];  // [negative][number of digits]
};

constexpr Fills makeFills() {
  Fills fills{};
  for (int negative = 0; negative < 2; ++negative)
    for (int digits = 0; digits <= 10; ++digits)
      for (int i = 0; i < 16; ++i)
        fills.bytes[negative][digits][i] = i >= 14 - digits && i < 14              ? '0'
                                           : negative != 0 && i == 14 - digits - 1 ? '-'
                                                                                   : ' ';
  return fills;
}

inline constexpr Fills kFills = makeFills();

}  // namespace detail

/// "%14d ", the column of the sample blocks. Ten digits stand right-aligned in sixteen bytes; the
/// fill for their number and sign is added to them, so that no branch depends on the value.
inline char* decimalColumn14(char* out, std::int32_t value) {
  const bool negative = value < 0;
  const auto bits = static_cast<std::uint32_t>(value);
  const std::uint32_t magnitude = negative ? 0 - bits : bits;
  const std::uint32_t head = magnitude / 100000000;  // 0 to 21
  const std::uint64_t tail = eightDigits(magnitude % 100000000);
  const std::uint64_t tens = head / 10;
  const std::uint64_t front = tens | (head - tens * 10) << 8;  // the first two digits
  // Ten digits from byte 4 on: the front two, then the eight of the tail.
  const std::uint64_t low = front << 32 | tail << 48;
  const std::uint64_t high = tail >> 16;
  const int leading = front != 0 ? std::countr_zero(front) / 8
                                 : 2 + std::countr_zero(tail | 0x0100000000000000) / 8;
  const char* fill = detail::kFills.bytes[negative ? 1 : 0][10 - leading];
  std::uint64_t fillLow;
  std::uint64_t fillHigh;
  std::memcpy(&fillLow, fill, 8);
  std::memcpy(&fillHigh, fill + 8, 8);
  if constexpr (std::endian::native == std::endian::big) {
    fillLow = __builtin_bswap64(fillLow);
    fillHigh = __builtin_bswap64(fillHigh);
  }
  storeLittle(out, low + fillLow);
  storeLittle(out + 8, high + fillHigh);
  return out + 15;
}

// ---------------------------------------------------------------------------------- fixed point

/// Whether `value` times 10^precision (3 or 6) is exact in a double, and small enough for fixed().
/// True for everything that came from a float: 24 bits of it and at most 14 of 5^6 fit into 53.
inline bool isExactFixed(double value) {
  return value < 0x1p31 && value > -0x1p31 &&
         static_cast<double>(static_cast<float>(value)) == value;
}

/// "%.3f" or "%.6f" of the magnitude of a `value` for which isExactFixed() holds.
///
/// The product is exact, so rounding it to a whole number (half to even, by adding a number so
/// large that the fraction falls off its end) is the one rounding that the C library does.
template <int precision>
char* fixedMagnitude(char* out, double value) {
  static_assert(precision == 3 || precision == 6);
  constexpr std::uint32_t scale = precision == 3 ? 1000 : 1000000;
  constexpr double shifter = 0x1p52;
  const double magnitude = value < 0 ? -value : value;
  const auto units = std::bit_cast<std::uint64_t>(magnitude * scale + shifter) -
                     std::bit_cast<std::uint64_t>(shifter);
  out = decimal(out, static_cast<std::uint32_t>(units / scale));
  // The fraction's digits are the last ones of eight.
  const std::uint64_t digits = eightDigits(static_cast<std::uint32_t>(units % scale)) | kZeros;
  storeLittle(out, (digits >> (8 * (8 - precision)) << 8) | '.');
  return out + 1 + precision;
}

}  // namespace vesk::kernels
