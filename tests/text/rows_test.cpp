// Every set of row kernels that this processor can run against the C library.

#include "text/rows.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "tests/text/reference.h"
#include "tests/text/values.h"
#include "text/instructions.h"

namespace vesk::test {
namespace {

using Row = std::array<std::uint32_t, kernels::kPerRow>;

/// The values as they lie in a report, from an odd address on.
struct Wire {
  explicit Wire(const std::vector<Row>& rows) : memory(1) {
    for (const Row& row : rows)
      for (const std::uint32_t value : row)
        for (int shift = 0; shift < 32; shift += 8)
          memory.push_back(static_cast<unsigned char>(value >> shift));
  }
  const unsigned char* bytes() const { return memory.data() + 1; }

  std::vector<unsigned char> memory;
};

/// What the C library makes of the values.
template <class T>
std::string expected(const std::vector<Row>& rows, const char* format, const char* end) {
  static Printed printed;
  std::string text;
  for (const Row& row : rows) {
    for (const std::uint32_t value : row) text += printed(format, std::bit_cast<T>(value));
    text += end;
  }
  return text;
}

void checkWhole(const std::vector<Row>& rows) {
  const Wire wire(rows);
  const std::string hexadecimal = expected<std::uint32_t>(rows, "%08x ", "\n");
  const std::string decimal = expected<std::int32_t>(rows, "%14d ", "\n");
  for (const kernels::RowKernels& set : kernels::usableRowKernels()) {
    SCOPED_TRACE(set.name);
    expectWritten(hexadecimal, [&](char* out) { return set.hex(out, wire.bytes(), rows.size()); });
    expectWritten(decimal, [&](char* out) { return set.decimal(out, wire.bytes(), rows.size()); });
  }
}

void checkFixed(const Row& row) {
  const Wire wire({row});
  const std::string fixed = expected<float>({row}, "% -13.3f ", "");
  for (const kernels::RowKernels& set : kernels::usableRowKernels()) {
    SCOPED_TRACE(set.name);
    expectWritten(fixed, [&](char* out) { return set.fixed(out, wire.bytes()); });
  }
}

/// A processor that has one set has all below it, too; and none is there that was left out.
TEST(Rows, SetsGoFromTheBestToThePortableOne) {
  const std::vector<std::string> known = {"AVX-512 VBMI", "AVX2", "SSE2", "portable"};
  std::vector<std::string> names;
  for (const kernels::RowKernels& set : kernels::usableRowKernels()) names.emplace_back(set.name);
  ASSERT_GE(names.size(), VESK_SSE2 ? 2u : 1u);
  ASSERT_LE(names.size(), VESK_ROWS + 1u);
  EXPECT_EQ(names, std::vector<std::string>(known.end() - std::ssize(names), known.end()));
}

TEST(Rows, FirstSetIsUsed) {
  EXPECT_EQ(&kernels::rowKernels(), &kernels::usableRowKernels().front());
}

TEST(Rows, PrintEachValueAtEachPlaceAsTheCLibrary) {
  // A value among eight that differ from it in sign and in number of digits.
  const Row others = {0, 0xFFFFFFFF, 7, 0xFFFFFF00, 123456, 0x80000000, 0x7FFFFFFF, 99999999};
  for (const std::uint32_t value : boundaryIntegers<std::uint32_t>(20))
    for (std::size_t place = 0; place < others.size(); ++place) {
      Row row = others;
      row[place] = value;
      checkWhole({row});
      if (failedOftenEnough()) return;
    }
}

TEST(Rows, PrintRowsOfOneSizeAsTheCLibrary) {
  auto bits = generator();
  for (int i = 0; i < (kSlowBuild ? 5000 : 50000); ++i) {
    std::vector<Row> rows(static_cast<std::size_t>(1 + bits() % 3));
    const auto shift = static_cast<int>(bits() % 32);
    for (Row& row : rows)
      for (std::uint32_t& value : row) {
        value = static_cast<std::uint32_t>(bits()) >> shift;
        if (bits() % 2 == 0) value = 0 - value;
      }
    checkWhole(rows);
    if (failedOftenEnough()) return;
  }
}

TEST(Rows, WriteNothingOfNoRows) { checkWhole({}); }

TEST(Rows, PrintFloatsOfEveryExponentAsTheCLibrary) {
  // Rows of neighbours, and rows in which every value is of another kind than those beside it.
  const Row others = {std::bit_cast<std::uint32_t>(1.5f),
                      std::bit_cast<std::uint32_t>(-123456.75f),
                      std::bit_cast<std::uint32_t>(3e38f),
                      std::bit_cast<std::uint32_t>(-0.0f),
                      std::bit_cast<std::uint32_t>(std::numeric_limits<float>::infinity()),
                      std::bit_cast<std::uint32_t>(-4e9f),
                      std::bit_cast<std::uint32_t>(std::numeric_limits<float>::quiet_NaN()),
                      std::bit_cast<std::uint32_t>(-99998.5f)};
  Row neighbours{};
  std::size_t count = 0;
  const auto one = [&](float value) {
    if (failedOftenEnough()) return;
    const std::size_t place = count++ % neighbours.size();
    neighbours[place] = std::bit_cast<std::uint32_t>(value);
    if (place == neighbours.size() - 1) checkFixed(neighbours);
    Row row = others;
    row[place] = std::bit_cast<std::uint32_t>(value);
    checkFixed(row);
  };
  for (const float value : boundaryFloats<float>()) one(value);
  sweep<float>(kSlowBuild ? 50 : 500, one);
}

TEST(Rows, RoundFloatsAsTheCLibrary) {
  // Ties, and what lies beside the largest values of each number of digits.
  for (std::uint32_t n = 1; n < 100000; n += kSlowBuild ? 22 : 2) {
    const auto value = static_cast<float>(n);
    checkFixed({std::bit_cast<std::uint32_t>(value / 16),
                std::bit_cast<std::uint32_t>(-value / 16),
                std::bit_cast<std::uint32_t>(value / 32),
                std::bit_cast<std::uint32_t>(value / 2048),
                std::bit_cast<std::uint32_t>(value),
                std::bit_cast<std::uint32_t>(0.9995f * value),
                std::bit_cast<std::uint32_t>(99999.0f - value / 128),
                std::bit_cast<std::uint32_t>(99999.0f + value / 128)});
    if (failedOftenEnough()) return;
  }
  for (const float limit : {1.0f, 10.0f, 100.0f, 1000.0f, 10000.0f, 99999.0f, 100000.0f, 0x1p31f}) {
    Row row;
    float value = limit;
    for (int i = 0; i < 4; ++i) value = std::nextafter(value, 0.0f);
    for (std::uint32_t& bits : row) {
      bits = std::bit_cast<std::uint32_t>(value);
      value = std::nextafter(value, std::numeric_limits<float>::max());
    }
    checkFixed(row);
  }
}

}  // namespace
}  // namespace vesk::test
