#include "viewer/native/Arguments.h"

#include <cstring>
#include <stdexcept>

namespace vesk::viewer {

std::uint8_t* Arguments::room(std::size_t size) {
  _bytes.resize(size);
  _taken = 0;
  return _bytes.data();
}

std::span<const std::uint8_t> Arguments::bytes(std::size_t count) {
  if (count > _bytes.size() - _taken) throw std::out_of_range("a call with too few arguments");
  const auto taken = std::span<const std::uint8_t>(_bytes).subspan(_taken, count);
  _taken += count;
  return taken;
}

std::uint32_t Arguments::u32() {
  std::uint32_t value;
  std::memcpy(&value, bytes(sizeof value).data(), sizeof value);
  return value;
}

double Arguments::number() {
  double value;
  std::memcpy(&value, bytes(sizeof value).data(), sizeof value);
  return value;
}

std::string_view Arguments::text() {
  const auto text = bytes(u32());
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

}  // namespace vesk::viewer
