// Which set of row kernels is used.

#include "text/rows.h"

#include <array>

#include "text/instructions.h"
#include "text/row_sets.h"

namespace vesk::kernels {

namespace {

struct Choice {
  std::array<RowKernels, 4> sets;  // the best one first
  std::size_t count = 0;

  Choice() {
#if VESK_AVX2
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2");
#if VESK_AVX512
    if (avx2 && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi"))
      sets[count++] = avx512Rows();
#endif
    if (avx2) sets[count++] = avx2Rows();
#endif
#if VESK_SSE2
    sets[count++] = sse2Rows();
#endif
    sets[count++] = portableRows();
  }
};

const Choice kChoice;  // made when the library is loaded

}  // namespace

std::span<const RowKernels> usableRowKernels() { return {kChoice.sets.data(), kChoice.count}; }

const RowKernels& rowKernels() { return kChoice.sets[0]; }

}  // namespace vesk::kernels
