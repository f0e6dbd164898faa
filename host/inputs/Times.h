/// Times as text forms write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vesk::host {

/// Microseconds of "12.345678", with any number of decimals up to six.
std::optional<std::int64_t> microsecondsFrom(std::string_view seconds);

}  // namespace vesk::host
