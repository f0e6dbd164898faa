/// Bytes in memory as a stream of bytes.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <utility>

#include "host/inputs/Bytes.h"

namespace vesk::host {

/// Reads `content`, which must outlive it, in pieces: it is never held a second time.
class MemoryBytes final : public Bytes {
 public:
  /// Called before each piece, with the number of bytes that were read until then.
  using BeforeRead = std::function<void(std::uint64_t bytesRead)>;

  explicit MemoryBytes(std::string_view content, BeforeRead beforeRead = nullptr)
      : _content(content), _beforeRead(std::move(beforeRead)) {}

 private:
  std::size_t read(char* into, std::size_t room) override {
    if (_beforeRead) _beforeRead(_read);
    const std::size_t count = _content.substr(_read).copy(into, room);
    _read += count;
    return count;
  }

  std::string_view _content;
  std::size_t _read = 0;
  BeforeRead _beforeRead;
};

}  // namespace vesk::host
