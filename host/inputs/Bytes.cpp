#include "host/inputs/Bytes.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace vesk::host {

std::string_view Bytes::peek(std::size_t wanted) {
  while (window().size() < wanted && readMore()) continue;
  return window();
}

bool Bytes::readMore() {
  if (_capacity - _end < kBlock / 4) makeRoom();
  const std::size_t count = read(_block.get() + _end, _capacity - _end);
  _end += count;
  return count != 0;
}

/// Moves what is at hand to the front of the block; a block that stays half full grows.
void Bytes::makeRoom() {
  const std::size_t used = _end - _begin;
  if (used < _capacity / 2) {
    std::memmove(_block.get(), _block.get() + _begin, used);
  } else {
    const std::size_t capacity = std::max(kBlock, 2 * _capacity);
    auto block = std::make_unique_for_overwrite<char[]>(capacity);
    if (used != 0) std::memcpy(block.get(), _block.get() + _begin, used);
    _block = std::move(block);
    _capacity = capacity;
  }
  _begin = 0;
  _end = used;
}

void Bytes::take(std::size_t count) {
  _begin += count;
  _position += count;
  if (_begin == _end) _begin = _end = 0;
}

std::optional<LineReader::Line> LineReader::next() {
  _bytes.take(std::exchange(_lineSize, 0));
  if (std::exchange(_passOver, false)) passOver();
  std::size_t searched = 0;
  for (;;) {
    const std::string_view window = _bytes.window();
    std::size_t end = window.find('\n', searched);
    const bool found = end != std::string_view::npos;
    if (!found) end = window.size();
    const bool tooLong = end > kLongest;
    if (found || tooLong || !_bytes.readMore()) {
      if (!found && window.empty()) return std::nullopt;
      _lineSize = tooLong ? kLongest : end + (found ? 1 : 0);
      _passOver = tooLong;
      std::string_view text = _bytes.window().substr(0, std::min(end, kLongest));
      if (text.ends_with('\r')) text.remove_suffix(1);
      return Line{text, ++_number, tooLong};
    }
    searched = end;
  }
}

/// Takes the rest of a line that was too long.
void LineReader::passOver() {
  do {
    const std::size_t end = _bytes.window().find('\n');
    if (end != std::string_view::npos) return _bytes.take(end + 1);
    _bytes.take(_bytes.window().size());
  } while (_bytes.readMore());
}

}  // namespace vesk::host
