/// A channel mask as a row of marks, which both open/short reports show.
#pragma once

#include <cstdint>

#include "plugin/format.h"

namespace vesk {

/// Bits 47 to 0 of `mask`, X for a set bit and '.' for a clear one, in six groups of eight, each
/// with a blank before it. Bits 48 to 63 belong to no channel and are not shown.
format::Text<64> markRow(std::uint64_t mask);

}  // namespace vesk
