/// What a fuzzer gave, taken off piece by piece from the front: a seed is easily written by hand.
/// When nothing is left, every piece is zero or empty.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace vesk::fuzz {

class Given {
 public:
  Given(const std::uint8_t* data, std::size_t size)
      : _rest(reinterpret_cast<const char*>(data), size) {}

  bool empty() const { return _rest.empty(); }

  std::uint8_t byte() { return static_cast<std::uint8_t>(number(1)); }
  bool flag() { return (byte() & 1) != 0; }

  /// A little-endian number of `size` bytes.
  std::uint64_t number(std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size && !_rest.empty(); ++i) {
      value |= std::uint64_t{static_cast<unsigned char>(_rest.front())} << 8 * i;
      _rest.remove_prefix(1);
    }
    return value;
  }

  /// `size` bytes, or as many as are left.
  std::string_view bytes(std::size_t size) {
    const std::string_view taken = _rest.substr(0, size);
    _rest.remove_prefix(taken.size());
    return taken;
  }

  /// Bytes behind a length of one byte, or of two.
  std::string_view shortBytes() { return bytes(byte()); }
  std::string_view longBytes() { return bytes(static_cast<std::size_t>(number(2))); }

  std::string_view rest() { return bytes(_rest.size()); }

 private:
  std::string_view _rest;
};

/// Ends the program, so that the fuzzer keeps what it gave, unless `holds`.
inline void demand(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "this does not hold: %s\n", what);
  std::abort();
}

}  // namespace vesk::fuzz
