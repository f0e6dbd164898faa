#include "bench/references/shared.h"

#include <cmath>

namespace reference {

std::uint32_t below(Random& random, std::uint32_t limit) {
  return std::uniform_int_distribution<std::uint32_t>(0, limit - 1)(random);
}

std::uint32_t rareCount(Random& random) {
  const std::uint32_t dice = below(random, 10);
  return dice < 7 ? 0 : dice < 9 ? below(random, 20) : below(random, 20000);
}

void putSamples(std::string& bytes, std::size_t offset, Random& random) {
  double level = std::normal_distribution<>(0, 20000)(random);
  for (std::size_t i = 0; i < 48; ++i) {
    level += std::normal_distribution<>(0, 3000)(random);
    put(bytes, offset + 4 * i, static_cast<std::int32_t>(std::lround(level)));
  }
}

}  // namespace reference
