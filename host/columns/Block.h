/// Memory that grows at its end without being copied, for tables of any size. How depends on the
/// system: the viewer's page has a Block.cpp of its own.
#pragma once

#include <cstddef>
#include <utility>

namespace vesk::host {

/// A block of bytes, zero where nothing was written. Growing may move it; it moves by its pages, so
/// that neither time nor memory is spent on what it holds.
class Block {
 public:
  Block() = default;
  ~Block();
  Block(Block&& other) noexcept
      : _data(std::exchange(other._data, nullptr)), _capacity(std::exchange(other._capacity, 0)) {}
  Block& operator=(Block&& other) noexcept {
    std::swap(_data, other._data);
    std::swap(_capacity, other._capacity);
    return *this;
  }
  Block(const Block&) = delete;
  Block& operator=(const Block&) = delete;

  /// Null while the capacity is 0; aligned to a page.
  std::byte* data() { return _data; }
  const std::byte* data() const { return _data; }
  std::size_t capacity() const { return _capacity; }

  /// Makes room for `size` bytes at least. Throws std::bad_alloc, and keeps what it has.
  void reserve(std::size_t size);

  /// Gives back the pages behind the first `size` bytes.
  void shrink(std::size_t size);

 private:
  void resize(std::size_t capacity);

  std::byte* _data = nullptr;
  std::size_t _capacity = 0;
};

}  // namespace vesk::host
