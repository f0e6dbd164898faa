/// Whether the decoders and the references say the same.
#pragma once

#include <cstdint>

namespace bench {

/// Compares them on the extreme reports and on `count` random and plausible ones of each kind.
/// Tells the first difference on standard error, and gives false, if there is one.
bool check(std::uint64_t count);

}  // namespace bench
