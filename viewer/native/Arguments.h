/// What a call from JavaScript gives beside numbers: values one behind the other, as Reply writes
/// them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace vesk::viewer {

class Arguments {
 public:
  /// Room for a call's arguments, `size` bytes, which JavaScript fills before the call.
  std::uint8_t* room(std::size_t size);

  /// The values in their order. Throws std::out_of_range where there are no more.
  std::uint32_t u32();
  double number();
  std::string_view text();
  std::span<const std::uint8_t> bytes(std::size_t count);

 private:
  std::vector<std::uint8_t> _bytes;
  std::size_t _taken = 0;
};

}  // namespace vesk::viewer
