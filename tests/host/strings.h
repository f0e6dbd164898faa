/// Streams of bytes that tests make up.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>

#include "host/inputs/Bytes.h"

namespace vesk::host {

/// A string, read in steps of a given size: what comes out must not depend on it.
class StringBytes final : public Bytes {
 public:
  explicit StringBytes(std::string content, std::size_t step = 1 << 20)
      : _content(std::move(content)), _step(step) {}

  /// From here on a read fails instead of ending.
  void failAtEnd() { _fails = true; }

 private:
  std::size_t read(char* into, std::size_t room) override {
    const std::size_t count = std::min({room, _step, _content.size() - _read});
    if (count == 0 && _fails) throw InputFault("cannot read: it failed");
    std::memcpy(into, _content.data() + _read, count);
    _read += count;
    return count;
  }

  std::string _content;
  std::size_t _step;
  std::size_t _read = 0;
  bool _fails = false;
};

/// Steps to read in.
inline constexpr std::size_t kSteps[] = {1, 2, 3, 7, 100, 4096, 1 << 20};

}  // namespace vesk::host
