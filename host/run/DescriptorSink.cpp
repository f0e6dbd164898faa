#include "host/run/DescriptorSink.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "host/run/Signals.h"

namespace vesk::host {

DescriptorSink::DescriptorSink(int descriptor)
    : _descriptor(descriptor), _piece(std::make_unique_for_overwrite<char[]>(kPiece)) {}

void DescriptorSink::append(std::string_view text) {
  while (text.size() > kPiece - _used) {
    const std::size_t part = kPiece - _used;
    if (_used == 0) {
      writeAll(_descriptor, text.substr(0, part));
    } else {
      std::memcpy(_piece.get() + _used, text.data(), part);
      _used = kPiece;
      flush();
    }
    text.remove_prefix(part);
  }
  std::memcpy(_piece.get() + _used, text.data(), text.size());
  _used += text.size();
}

void DescriptorSink::flush() {
  const std::size_t used = std::exchange(_used, 0);  // what failed once is not tried again
  writeAll(_descriptor, {_piece.get(), used});
}

void writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EAGAIN) {
      pollfd writable = {descriptor, POLLOUT, 0};
      poll(&writable, 1, -1);
    } else if (errno == EPIPE) {
      dieOfClosedPipe();
    } else if (errno != EINTR) {
      throw OutputFault(std::generic_category().message(errno));
    }
  }
}

}  // namespace vesk::host
