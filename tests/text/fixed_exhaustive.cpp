// Checks the two fixed-point formats of the reports for every float against the C library. It takes
// minutes on each core, so it is no part of the test suite:
//
//     cmake --build --preset release --target fixed-exhaustive
//     build/release/bin/fixed-exhaustive       # all 2^32
//     build/release/bin/fixed-exhaustive 101   # of the negative ones only every 101st
//
// Prints the floats that differ, and ends with 1 if there are any.

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include "model/wire.h"
#include "text/format.h"
#include "text/rows.h"

namespace {

constexpr std::uint32_t kSign = 0x80000000;
constexpr unsigned kThreads = 2;

std::atomic<std::uint64_t> differences;

template <vesk::format::Literal text>
void check(std::uint32_t bits) {
  char expected[512];
  char got[512];
  const float value = std::bit_cast<float>(bits);
  const int size = std::snprintf(expected, sizeof expected, text.characters, value);
  const char* const end = vesk::format::write<text>(got, value);
  if (std::string_view(expected, static_cast<std::size_t>(size)) ==
      std::string_view(got, static_cast<std::size_t>(end - got)))
    return;
  ++differences;
  std::printf("0x%08X: %.*s instead of %s\n", bits, static_cast<int>(end - got), got, expected);
}

/// Rows of eight, by every set of kernels that this processor can run.
void checkRow(const vesk::f32 (&row)[8]) {
  char expected[512];
  char got[512];
  int size = 0;
  for (const vesk::f32 value : row)
    size += std::snprintf(expected + size,
                          sizeof expected - static_cast<std::size_t>(size),
                          "% -13.3f ",
                          static_cast<double>(value.value()));
  for (const auto& set : vesk::kernels::usableRowKernels()) {
    const char* const end = set.fixed(got, row[0].bytes);
    if (std::string_view(expected, static_cast<std::size_t>(size)) ==
        std::string_view(got, static_cast<std::size_t>(end - got)))
      continue;
    ++differences;
    std::printf("%a and so on, %s: %.*s instead of %s\n",
                static_cast<double>(row[0].value()),
                set.name,
                static_cast<int>(end - got),
                got,
                expected);
  }
}

/// Every kThreads-th of the floats from `first` on.
void checkFrom(std::uint32_t first, std::uint32_t negativeStep) {
  vesk::f32 row[8];
  for (std::uint64_t bits = first; bits < kSign; bits += kThreads) {
    const auto positive = static_cast<std::uint32_t>(bits);
    const std::uint64_t count = bits / kThreads;
    row[count % 8] =
        vesk::f32::of(std::bit_cast<float>(count % 3 == 0 ? positive | kSign : positive));
    if (count % 8 == 7) checkRow(row);
    check<"% -13.3f ">(positive);
    check<"%f">(positive);
    if (count % negativeStep != 0) continue;
    check<"% -13.3f ">(positive | kSign);
    check<"%f">(positive | kSign);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const long step = argc > 1 ? std::atol(argv[1]) : 1;
  if (step < 1) return 2;
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < kThreads; ++i)
    threads.emplace_back(checkFrom, i, static_cast<std::uint32_t>(step));
  for (std::thread& thread : threads) thread.join();
  std::printf("%llu differences\n", static_cast<unsigned long long>(differences.load()));
  return differences == 0 ? 0 : 1;
}
