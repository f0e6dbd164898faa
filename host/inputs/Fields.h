/// Numbers in bytes that another program wrote, in its byte order.
///
///     const Fields header(bytes, std::endian::big);
///     const auto length = header.at<std::uint32_t>(8);
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vesk::host {

class Fields {
 public:
  constexpr Fields(std::span<const std::uint8_t> bytes, std::endian order)
      : _bytes(bytes), _order(order) {}

  /// The number at an offset in bytes; all of it lies within the bytes.
  template <class T>
  constexpr T at(std::size_t offset) const {
    const auto bytes = _bytes.subspan(offset, sizeof(T));
    std::uint64_t value = 0;  // two loops: compilers know each of them as one load
    if (_order == std::endian::big)
      for (std::size_t i = 0; i < sizeof(T); ++i) value = value << 8 | bytes[i];
    else
      for (std::size_t i = sizeof(T); i-- > 0;) value = value << 8 | bytes[i];
    return static_cast<T>(value);
  }

 private:
  std::span<const std::uint8_t> _bytes;
  std::endian _order;
};

}  // namespace vesk::host
