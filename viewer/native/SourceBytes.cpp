#include "viewer/native/SourceBytes.h"

#include <algorithm>
#include <functional>
#include <string>

#include "viewer/native/Imports.h"

namespace vesk::viewer {

namespace {

std::size_t checked(std::int32_t count, std::uint64_t offset) {
  if (count < 0)
    throw host::InputFault("the file can't be read at byte " + std::to_string(offset) +
                           ": it is gone, or was changed since it was chosen; choose it again");
  return static_cast<std::size_t>(count);
}

}  // namespace

std::size_t SourceBytes::read(char* into, std::size_t room) {
  const std::size_t count =
      checked(readSource(_source, static_cast<double>(_end), into, room), _end);
  _end += count;
  return count;
}

std::optional<std::uint64_t> SourceBytes::offsetOf(std::span<const std::uint8_t> bytes) const {
  const auto* const begin = reinterpret_cast<const char*>(bytes.data());
  const std::string_view at = window();
  const std::less_equal<const char*> isBefore;
  if (!isBefore(at.data(), begin) || !isBefore(begin + bytes.size(), at.data() + at.size()))
    return std::nullopt;
  return position() + static_cast<std::uint64_t>(begin - at.data());
}

std::span<const std::uint8_t> SourcePieces::at(std::uint64_t offset, std::size_t size) {
  constexpr std::size_t kPiece = std::size_t{256} * 1024;
  if (offset < _begin || offset + size > _begin + _held) {
    if (_piece.empty() || _piece.size() < size) _piece.resize(std::max(kPiece, size));
    _begin = offset;
    _held = 0;
    while (_held < _piece.size()) {
      const std::uint64_t next = _begin + _held;
      const std::size_t count = checked(
          _read(_source, static_cast<double>(next), _piece.data() + _held, _piece.size() - _held),
          next);
      if (count == 0) break;
      _held += count;
    }
    if (_held < size) checked(-1, _begin + _held);
  }
  return std::span<const std::uint8_t>(_piece).subspan(static_cast<std::size_t>(offset - _begin),
                                                       size);
}

}  // namespace vesk::viewer
