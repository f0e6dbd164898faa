#include "host/columns/Block.h"

#include <sys/mman.h>

#include <algorithm>
#include <limits>
#include <new>

namespace vesk::host {

namespace {

constexpr std::size_t kPage = std::size_t{64} * 1024;  // the largest that systems use

/// From here on a block asks for huge pages, which saves most of the time that new pages take; below,
/// what lies unused in one would count.
constexpr std::size_t kLarge = std::size_t{16} * 1024 * 1024;

std::size_t wholePages(std::size_t size) {
  if (size > std::numeric_limits<std::size_t>::max() - kPage) throw std::bad_alloc();
  return (size + kPage - 1) / kPage * kPage;
}

}  // namespace

Block::~Block() {
  if (_data != nullptr) munmap(_data, _capacity);
}

/// Pages that nothing was written to take no memory, so that half as much again costs nothing.
void Block::reserve(std::size_t size) {
  if (size <= _capacity) return;
  const std::size_t more =
      _capacity <= std::numeric_limits<std::size_t>::max() / 2 ? _capacity + _capacity / 2 : size;
  resize(wholePages(std::max(size, more)));
}

void Block::shrink(std::size_t size) {
  const std::size_t capacity = wholePages(size);
  if (capacity < _capacity) resize(capacity);
}

void Block::resize(std::size_t capacity) {
  void* moved = nullptr;
  if (capacity == 0)
    munmap(_data, _capacity);
  else if (_data == nullptr)
    moved = mmap(nullptr, capacity, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  else
    moved = mremap(_data, _capacity, capacity, MREMAP_MAYMOVE);
  if (moved == MAP_FAILED) throw std::bad_alloc();
  _data = static_cast<std::byte*>(moved);
  _capacity = capacity;
  // Only advice: without it, or on a system that has none, there are more pages to ask for.
  if (_capacity >= kLarge) madvise(_data, _capacity, MADV_HUGEPAGE);
}

}  // namespace vesk::host
