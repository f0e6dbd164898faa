#include "host/inputs/Times.h"

#include <cstddef>

#include "text/numbers.h"

namespace vesk::host {

std::optional<std::int64_t> microsecondsFrom(std::string_view text) {
  constexpr std::uint64_t kMostSeconds = 1'000'000'000'000;
  const std::size_t point = text.find('.');
  const auto seconds = parseNumber<std::uint64_t>(text.substr(0, point));
  if (!seconds || *seconds > kMostSeconds) return std::nullopt;
  std::uint64_t fraction = 0;
  if (point != std::string_view::npos) {
    const std::string_view digits = text.substr(point + 1);
    const auto value = parseNumber<std::uint64_t>(digits);
    if (!value || digits.size() > 6) return std::nullopt;
    fraction = *value;
    for (std::size_t i = digits.size(); i < 6; ++i) fraction *= 10;
  }
  return static_cast<std::int64_t>(*seconds * 1'000'000 + fraction);
}

}  // namespace vesk::host
