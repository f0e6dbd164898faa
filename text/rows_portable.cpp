// Rows of samples on any processor.

#include <bit>

#include "text/digits.h"
#include "text/row_sets.h"

namespace vesk::kernels {

namespace {

char* hexRows(char* out, const unsigned char* bytes, std::size_t rows) {
  for (; rows > 0; --rows) {
    for (std::size_t i = 0; i < kPerRow; ++i, bytes += 4) {
      for (int byte = 3; byte >= 0; --byte)
        for (const int nibble : {bytes[byte] >> 4, bytes[byte] & 0xF})
          *out++ = static_cast<char>(nibble + (nibble > 9 ? 'a' - 10 : '0'));
      *out++ = ' ';
    }
    *out++ = '\n';
  }
  return out;
}

char* decimalRows(char* out, const unsigned char* bytes, std::size_t rows) {
  for (; rows > 0; --rows) {
    for (std::size_t i = 0; i < kPerRow; ++i, bytes += 4) {
      const std::uint32_t value = loadWord(bytes);
      const bool negative = value >> 31 != 0;
      out = decimalColumn(out, negative ? 0 - value : value, negative, 14);
      *out++ = ' ';
    }
    *out++ = '\n';
  }
  return out;
}

char* fixedRow(char* out, const unsigned char* bytes) {
  float values[kPerRow];
  for (std::size_t i = 0; i < kPerRow; ++i)
    values[i] = std::bit_cast<float>(loadWord(bytes + 4 * i));
  for (const float value : values) out = fixedOne(out, value);
  return out;
}

}  // namespace

RowKernels portableRows() { return {"portable", hexRows, decimalRows, fixedRow}; }

}  // namespace vesk::kernels
