#include "host/run/Gzip.h"

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <utility>

namespace vesk::host {

namespace {

constexpr int kGzipFormat = 16;  // in the argument that is the window, too

// Hex digits of samples come to 32 % of their size by it, to 27 % in three times the time by 6.
constexpr int kLevel = 4;

}  // namespace

Gzip::Gzip() {
  constexpr int kUsualMemory = 8;
  if (deflateInit2(&_stream,
                   kLevel,
                   Z_DEFLATED,
                   MAX_WBITS + kGzipFormat,
                   kUsualMemory,
                   Z_DEFAULT_STRATEGY) != Z_OK)
    throw std::bad_alloc();
}

Gzip::~Gzip() { deflateEnd(&_stream); }

void Gzip::append(std::string_view text) {
  constexpr std::size_t kMost = std::numeric_limits<uInt>::max();
  for (; !text.empty(); text.remove_prefix(std::min(text.size(), kMost)))
    pack(text.substr(0, kMost), Z_NO_FLUSH);
}

std::string Gzip::take() {
  pack({}, Z_FINISH);
  return std::exchange(_packed, {});
}

/// The library takes all that it gets as long as there is room for what it makes of it.
void Gzip::pack(std::string_view text, int flush) {
  std::array<Bytef, 16384> room;
  _stream.next_in = reinterpret_cast<const Bytef*>(text.data());
  _stream.avail_in = static_cast<uInt>(text.size());
  do {
    _stream.next_out = room.data();
    _stream.avail_out = static_cast<uInt>(room.size());
    deflate(&_stream, flush);
    _packed.append(reinterpret_cast<const char*>(room.data()), room.size() - _stream.avail_out);
  } while (_stream.avail_out == 0);
}

}  // namespace vesk::host
