/// host/columns/Block.h for a system whose memory can't be moved by pages.
#include "host/columns/Block.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

namespace vesk::host {

Block::~Block() { std::free(_data); }

void Block::reserve(std::size_t size) {
  constexpr std::size_t kSmallest = 4096;
  if (size > _capacity) resize(std::max({kSmallest, size, _capacity + _capacity / 2}));
}

void Block::shrink(std::size_t size) {
  if (size < _capacity) resize(size);
}

void Block::resize(std::size_t capacity) {
  if (capacity == 0) {
    std::free(std::exchange(_data, nullptr));
  } else {
    auto* const moved = static_cast<std::byte*>(std::realloc(_data, capacity));
    if (moved == nullptr) throw std::bad_alloc();
    if (capacity > _capacity) std::memset(moved + _capacity, 0, capacity - _capacity);
    _data = moved;
  }
  _capacity = capacity;
}

}  // namespace vesk::host
