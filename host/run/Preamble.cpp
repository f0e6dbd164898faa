#include "host/run/Preamble.h"

#include <utility>

namespace vesk::host {

namespace {

// A file that says nothing but new descriptions must not fill the memory.
constexpr std::size_t kMost = std::size_t{64} * 1024;

}  // namespace

void Preamble::keep(std::string_view lines) {
  if (_kept.find(lines) == std::string::npos && _kept.size() + lines.size() <= kMost)
    _kept += lines;
  _last = lines;
}

std::string Preamble::take() {
  if (_last.empty()) return {};
  if (!_kept.ends_with(_last)) _kept += _last;
  _last.clear();
  return std::exchange(_kept, {});
}

}  // namespace vesk::host
