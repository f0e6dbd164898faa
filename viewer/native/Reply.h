/// What goes from the module to JavaScript beside numbers: values one behind the other,
/// little-endian, unaligned, as src/reply.ts reads them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>
#include <vector>

namespace vesk::viewer {

class Reply {
 public:
  /// Starts afresh, and keeps the memory.
  void clear() { _bytes.clear(); }

  template <class T>
  void number(T value) {
    static_assert(std::is_arithmetic_v<T>);
    append(&value, sizeof value);
  }

  void u8(std::size_t value) { number(static_cast<std::uint8_t>(value)); }
  void u32(std::size_t value) { number(static_cast<std::uint32_t>(value)); }

  /// An offset, a count or a time: JavaScript's numbers hold 53 bits.
  template <class T>
  void large(T value) {
    number(static_cast<double>(value));
  }

  /// Its length in bytes and then its UTF-8; what is none is replaced.
  void text(std::string_view text);

  /// Where the bytes of something larger are, which stay there until the next call.
  void address(const void* bytes) { u32(reinterpret_cast<std::uintptr_t>(bytes)); }

  void append(const void* bytes, std::size_t size) {
    const auto* const begin = static_cast<const std::uint8_t*>(bytes);
    _bytes.insert(_bytes.end(), begin, begin + size);
  }

  const std::vector<std::uint8_t>& bytes() const { return _bytes; }

 private:
  std::vector<std::uint8_t> _bytes;
};

}  // namespace vesk::viewer
