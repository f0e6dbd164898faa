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

#include "text/always_inline.h"
#include "text/instructions.h"

#if VESK_SSE2
#include <emmintrin.h>
#endif

namespace vesk::kernels {

/// Bytes behind the end of its characters that a kernel may overwrite.
inline constexpr std::size_t kSlack = 32;

template <class Word>
void store(char* out, Word word) {
  std::memcpy(out, &word, sizeof word);
}

/// Stores a word so that its lowest byte is the first character.
inline void storeLittle(char* out, std::uint64_t word) {
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  store(out, word);
}

/// The word whose lowest byte is the first character.
inline std::uint64_t loadLittle(const char* characters) {
  std::uint64_t word;
  std::memcpy(&word, characters, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word;
}

// ---------------------------------------------------------------------------------- hexadecimal

#if VESK_SSE2
/// The digits of sixteen nibbles, each in a byte: those over 9 move on to the letters.
inline __m128i hexDigits(__m128i nibbles, int letters) {
  const __m128i overNine = _mm_cmpgt_epi8(nibbles, _mm_set1_epi8(9));
  return _mm_add_epi8(_mm_add_epi8(nibbles, _mm_set1_epi8('0')),
                      _mm_and_si128(overNine, _mm_set1_epi8(static_cast<char>(letters))));
}
#endif

/// The 16 hexadecimal digits of `value`, leading zeros included: "%016llx", "%016llX".
///
/// SSE2, which every x86-64 has, does all digits at once: the nibbles of the byte-reversed value
/// are interleaved into 16 bytes.
inline char* hex16(char* out, std::uint64_t value, bool upper) {
  const int letters = upper ? 'A' - '0' - 10 : 'a' - '0' - 10;
#if VESK_SSE2
  const __m128i bytes = _mm_cvtsi64_si128(static_cast<long long>(__builtin_bswap64(value)));
  const __m128i low = _mm_set1_epi8(0x0F);
  const __m128i nibbles = _mm_and_si128(_mm_unpacklo_epi8(_mm_srli_epi64(bytes, 4), bytes), low);
  _mm_storeu_si128(reinterpret_cast<__m128i*>(out), hexDigits(nibbles, letters));
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

namespace detail {

/// The numbers below 1000 as characters, and how many they are.
struct Counts {
  char characters[1000][4];
};

constexpr Counts makeCounts() {
  Counts counts{};
  for (int value = 0; value < 1000; ++value) {
    const char digits[3] = {static_cast<char>('0' + value / 100),
                            static_cast<char>('0' + value / 10 % 10),
                            static_cast<char>('0' + value % 10)};
    const int size = value >= 100 ? 3 : value >= 10 ? 2 : 1;
    for (int i = 0; i < size; ++i) counts.characters[value][i] = digits[3 - size + i];
    counts.characters[value][3] = static_cast<char>(size);
  }
  return counts;
}

inline constexpr Counts kCounts = makeCounts();

}  // namespace detail

/// "%u". Most counts are below 1000: they are looked up. The digits of a value below 10^8 are made
/// at once, and the leading zeros shifted out; those before the last eight are looked up, too.
/// Always inlined: it is the heart of the loop over the counters.
VESK_ALWAYS_INLINE char* decimal(char* out, std::uint32_t value) {
  if (value < 1000) {
    const char* const group = detail::kCounts.characters[value];
    std::memcpy(out, group, 4);
    return out + group[3];
  }
  if (value >= 100000000) {
    const std::uint32_t head = value / 100000000;  // 1 to 42
    const char* const group = detail::kCounts.characters[head];
    std::memcpy(out, group, 4);
    return decimal8(out + group[3], value % 100000000);
  }
  const std::uint64_t digits = eightDigits(value);
  const int leading = std::countr_zero(digits) / 8;
  // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): 1000 has digits, so it is < 8
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
struct alignas(16) Fills {
  char bytes[22][16];  // by number of digits; 11 more for a negative one
};

constexpr Fills makeFills() {
  Fills fills{};
  for (int negative = 0; negative < 2; ++negative)
    for (int digits = 0; digits <= 10; ++digits)
      for (int i = 0; i < 16; ++i)
        fills.bytes[11 * negative + digits][i] = i >= 14 - digits && i < 14              ? '0'
                                                 : negative != 0 && i == 14 - digits - 1 ? '-'
                                                                                         : ' ';
  return fills;
}

inline constexpr Fills kFills = makeFills();

}  // namespace detail

/// "%14d", "%12u" and their like: a number of 32 bits, right-aligned in a `width` of 11 to 14. Ten
/// digits stand right-aligned in fourteen bytes, of which the last `width` count; the fill for
/// their number and sign is added to them, so that no branch depends on how many they are.
inline char* decimalColumn(char* out, std::uint32_t magnitude, bool negative, int width) {
  std::uint64_t front = 0;  // the first two digits
  std::uint32_t rest = magnitude;
  if (magnitude >= 100000000) {
    const std::uint32_t head = magnitude / 100000000;  // 1 to 42
    const std::uint64_t tens = head / 10;
    front = tens | (head - tens * 10) << 8;
    rest = magnitude % 100000000;
  }
  const std::uint64_t tail = eightDigits(rest);
  // Ten digits from byte 4 on: the front two, then the eight of the tail.
  const std::uint64_t low = front << 32 | tail << 48;
  const std::uint64_t high = tail >> 16;
  const int leading = front != 0 ? std::countr_zero(front) / 8
                                 : 2 + std::countr_zero(tail | 0x0100000000000000) / 8;
  const char* fill = detail::kFills.bytes[(negative ? 21 : 10) - leading];
  const int skip = 14 - width;
  storeLittle(
      out, (skip == 0 ? low : low >> 8 * skip | high << (64 - 8 * skip)) + loadLittle(fill + skip));
  storeLittle(out + width - 8, (low >> 48 | high << 16) + loadLittle(fill + 6));
  return out + width;
}

// ---------------------------------------------------------------------------------- fixed point

/// Whether fixedMagnitude() can write `value`: it is finite, and a float's.
inline bool isFixed(double value) {
  return static_cast<double>(static_cast<float>(value)) - value == 0;
}

namespace detail {

/// Powers of two from 2^8 to 2^104, in limbs below 10^8, the lowest first.
struct Powers {
  std::uint32_t limbs[97][5];
};

constexpr Powers makePowers() {
  Powers powers{};
  powers.limbs[0][0] = 256;
  for (int i = 1; i < 97; ++i) {
    std::uint32_t carry = 0;
    for (int limb = 0; limb < 5; ++limb) {
      const std::uint32_t twice = 2 * powers.limbs[i - 1][limb] + carry;
      carry = twice / 100000000;
      powers.limbs[i][limb] = twice % 100000000;
    }
  }
  return powers;
}

inline constexpr Powers kPowers = makePowers();

/// The magnitude of a float, which is 2^31 or more, as limbs below 10^8, the highest first: its
/// mantissa times a power of two. Only whether two parts of a limb add up to another 10^8 goes from
/// limb to limb, and no branch depends on it.
inline void splitWhole(float value, std::uint32_t (&limbs)[5]) {
  const auto bits = std::bit_cast<std::uint32_t>(value);
  const std::uint64_t mantissa = (bits & 0x7FFFFF) | 0x800000;
  const auto& power = kPowers.limbs[(bits >> 23 & 0xFF) - 127 - 23 - 8];
  std::uint64_t carry = 0;
  for (int i = 0; i < 5; ++i) {
    const std::uint64_t product = mantissa * power[i];
    const std::uint64_t sum = product % 100000000 + carry;  // below 2 * 10^8
    const std::uint64_t over = (99999999 - sum) >> 63;
    carry = product / 100000000 + over;
    limbs[4 - i] = static_cast<std::uint32_t>(sum - (-over & 100000000));
  }
}

/// The digits of a float of 2^31 and more: of its forty, those behind the leading zeros.
inline char* wholeDigits(char* out, float value) {
  std::uint32_t limbs[5];
  splitWhole(value, limbs);
  char characters[40 + kSlack] = {};
  std::size_t leading = 40;
  for (std::size_t i = 5; i-- > 0;) {
    const std::uint64_t digits = eightDigits(limbs[i]);
    storeLittle(characters + 8 * i, digits | kZeros);
    const auto zeros = static_cast<std::size_t>(std::countr_zero(digits)) / 8;
    leading = digits != 0 ? 8 * i + zeros : leading;
  }
  std::memcpy(out, characters + leading, 40);  // ten digits at least count
  return out + 40 - leading;
}

}  // namespace detail

/// "%.3f" or "%.6f" of the magnitude of a `value` for which isFixed() holds.
///
/// The product with 10^3 or 10^6 is exact in a double (24 bits of a float and at most 14 of 5^6 fit
/// into 53), so rounding it to a whole number (half to even, by adding a number so large that the
/// fraction falls off its end) is the one rounding that the C library does. A float of 2^31 and
/// more has no fraction.
template <int precision>
char* fixedMagnitude(char* out, double value) {
  static_assert(precision == 3 || precision == 6);
  constexpr std::uint32_t scale = precision == 3 ? 1000 : 1000000;
  constexpr double shifter = 0x1p52;
  const double magnitude = value < 0 ? -value : value;
  std::uint64_t fraction = kZeros;
  if (magnitude < 0x1p31) {
    const auto units = std::bit_cast<std::uint64_t>(magnitude * scale + shifter) -
                       std::bit_cast<std::uint64_t>(shifter);
    if (units < 100000000) {
      // Eight digits hold it; one at least stands before the point.
      const std::uint64_t digits = eightDigits(static_cast<std::uint32_t>(units));
      const std::uint64_t shown = digits | std::uint64_t{1} << (8 * (7 - precision));
      const int leading = std::countr_zero(shown) / 8;
      storeLittle(out, (digits | kZeros) >> (8 * leading));
      out += 8 - precision - leading;
      storeLittle(out, (digits | kZeros) >> (8 * (8 - precision)) << 8 | '.');
      return out + 1 + precision;
    }
    out = decimal(out, static_cast<std::uint32_t>(units / scale));
    fraction |= eightDigits(static_cast<std::uint32_t>(units % scale));
  } else {
    out = detail::wholeDigits(out, static_cast<float>(magnitude));
  }
  // The fraction's digits are the last ones of eight.
  storeLittle(out, fraction >> (8 * (8 - precision)) << 8 | '.');
  return out + 1 + precision;
}

}  // namespace vesk::kernels
