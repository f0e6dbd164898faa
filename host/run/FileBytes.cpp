#include "host/run/FileBytes.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "host/run/Signals.h"

namespace vesk::host {

FileBytes::FileBytes(int descriptor, bool owned, BeforeRead beforeRead)
    : _descriptor(descriptor), _owned(owned), _beforeRead(std::move(beforeRead)) {
  struct stat status {};
  if (_descriptor < 0 || fstat(_descriptor, &status) != 0)
    throw InputFault("cannot open: " + std::generic_category().message(errno));
  if (S_ISREG(status.st_mode)) _size = static_cast<std::uint64_t>(status.st_size);
}

FileBytes::FileBytes(const std::string& path, BeforeRead beforeRead)
    : FileBytes(path == "-" ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC), path != "-",
                std::move(beforeRead)) {}

FileBytes::FileBytes(int descriptor, BeforeRead beforeRead)
    : FileBytes(descriptor, true, std::move(beforeRead)) {}

FileBytes::~FileBytes() {
  if (_owned) close(_descriptor);
}

bool FileBytes::wouldWait() const {
  if (_size) return false;
  pollfd readable = {_descriptor, POLLIN, 0};
  return poll(&readable, 1, 0) == 0;
}

std::size_t FileBytes::read(char* into, std::size_t room) {
  for (bool wait = true; wait && !interrupted();) {
    wait = wouldWait();
    const auto again = _beforeRead(*this, wait);
    if (wait) waitUntilReadable(_descriptor, again);
  }
  while (!interrupted()) {
    const ssize_t count = ::read(_descriptor, into, room);
    if (count >= 0) {
      _bytesRead += static_cast<std::uint64_t>(count);
      return static_cast<std::size_t>(count);
    }
    if (errno == EAGAIN)
      waitUntilReadable(_descriptor);
    else if (errno != EINTR)
      throw InputFault("cannot read: " + std::generic_category().message(errno));
  }
  return 0;
}

}  // namespace vesk::host
