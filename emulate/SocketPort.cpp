#include "emulate/SocketPort.h"

#include <linux/hidraw.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace vesk::emulate {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// A socket that listens at `path`.
int listenAt(const fs::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string name = path.string();
  if (name.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    fail(name);
  }
  std::copy(name.begin(), name.end(), address.sun_path);
  const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (descriptor < 0) fail("cannot make a socket");
  if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      listen(descriptor, SOMAXCONN) != 0)
    fail("cannot use " + name);
  return descriptor;
}

std::span<const std::uint8_t> bytesOf(const auto& value) {
  return {reinterpret_cast<const std::uint8_t*>(&value), sizeof value};
}

}  // namespace

SocketPort::SocketPort(EventLoop& loop, Folder& folder, MessageCosts& costs, unsigned number,
                       const Identity& identity)
    : _loop(loop), _folder(folder), _costs(costs), _number(number), _identity(identity) {}

SocketPort::~SocketPort() {
  if (_listener >= 0) close(_listener);
  for (const auto& caller : _callers) close(caller.first);
}

/// The node is there when it can be opened, and listed when it is there.
void SocketPort::plug(DeviceSide& device) {
  _device = &device;
  const fs::path bound = _folder.boundSocket(_number, ++_generation);
  _listener = listenAt(bound);
  constexpr mode_t kNobody = 0;
  constexpr mode_t kOwner = S_IRUSR | S_IWUSR;
  chmod(bound.c_str(), device.mayOpen() == 0 ? kOwner : kNobody);
  fs::rename(bound, _folder.node(_number));
  _loop.watch(_listener, POLLIN, [this](short) { accept(); });
  _folder.add(_number, _identity);
}

void SocketPort::unplug() {
  _device = nullptr;
  _folder.remove(_number);
  std::error_code failed;
  fs::remove(_folder.node(_number), failed);
  _loop.unwatch(_listener);
  close(std::exchange(_listener, -1));
  while (!_callers.empty()) reply(_callers.begin()->first, -ENODEV);
  for (auto& [descriptor, reader] : _readers) {
    _loop.unwatch(descriptor);
    reader->flush();
    if (reader->isFlushed()) continue;
    follow(*reader);
    _leaving.emplace(descriptor, std::move(reader));
  }
  _readers.clear();
}

bool SocketPort::hasRoom() {
  return std::ranges::all_of(_readers, [](auto& entry) { return entry.second->hasRoom(); });
}

unsigned SocketPort::send(std::span<const std::uint8_t> report) {
  unsigned dropped = 0;
  for (auto& [descriptor, reader] : _readers) {
    if (!reader->send(report)) ++dropped;
    if (!reader->isFlushed()) follow(*reader);
  }
  return dropped;
}

// ------------------------------------------------------------------------------------- connections

void SocketPort::accept() {
  const int descriptor = accept4(_listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  if (descriptor < 0) return;
  _callers[descriptor] = ++_calls;
  _loop.watch(descriptor, POLLIN, [this, descriptor](short) { takeRequest(descriptor); });
}

void SocketPort::takeRequest(int descriptor) {
  vesk_emulate_request request{};
  std::array<std::uint8_t, VESK_EMULATE_MOST_DATA> argument;
  std::array<iovec, 2> parts = {{{&request, sizeof request}, {argument.data(), argument.size()}}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  const ssize_t got = recvmsg(descriptor, &message, 0);
  if (got < 0 && errno == EAGAIN) return;
  if (got < static_cast<ssize_t>(sizeof request)) return drop(descriptor);
  _loop.unwatch(descriptor);  // there is one request a connection
  if (request.kind == VESK_EMULATE_OPEN) return open(descriptor);
  answer(descriptor,
         request,
         std::span(argument).first(static_cast<std::size_t>(got) - sizeof request));
}

void SocketPort::drop(int descriptor) {
  _loop.unwatch(descriptor);
  _callers.erase(descriptor);
  close(descriptor);
}

void SocketPort::reply(int descriptor, std::int32_t result, std::span<const std::uint8_t> bytes) {
  vesk_emulate_reply head = {result};
  std::array<iovec, 2> parts = {
      {{&head, sizeof head}, {const_cast<std::uint8_t*>(bytes.data()), bytes.size()}}};
  msghdr message{};
  message.msg_iov = parts.data();
  message.msg_iovlen = parts.size();
  sendmsg(descriptor, &message, MSG_NOSIGNAL);  // nobody may wait for it any more
  drop(descriptor);
}

void SocketPort::open(int descriptor) {
  if (const int error = _device->mayOpen(); error != 0) return reply(descriptor, -error);
  _callers.erase(descriptor);
  Reader& reader = *(_readers[descriptor] = std::make_unique<Reader>(descriptor, _costs));
  follow(reader);
  if (_readers.size() == 1) _device->opened();
}

// ------------------------------------------------------------------------------------------ readers

void SocketPort::follow(Reader& reader) {
  const int descriptor = reader.descriptor();
  const auto events = static_cast<short>(reader.isFlushed() ? POLLIN : POLLIN | POLLOUT);
  _loop.watch(descriptor, events, [this, descriptor](short seen) { onReader(descriptor, seen); });
}

void SocketPort::onReader(int descriptor, short events) {
  const auto current = _readers.find(descriptor);
  const bool leaving = current == _readers.end();
  Reader& reader = leaving ? *_leaving.at(descriptor) : *current->second;
  const unsigned writes = reader.takeWrites();
  if (!leaving)
    for (unsigned i = 0; i < writes; ++i) _device->written();
  reader.flush();
  if ((events & (POLLHUP | POLLERR)) != 0 || (leaving && reader.isFlushed()))
    return forget(descriptor);
  follow(reader);
}

void SocketPort::forget(int descriptor) {
  _loop.unwatch(descriptor);
  _leaving.erase(descriptor);
  if (_readers.erase(descriptor) != 0 && _readers.empty()) _device->closed();
}

// ----------------------------------------------------------------------------------------- requests

void SocketPort::replyText(int descriptor, const std::string& text, std::size_t room) {
  const std::size_t size = std::min(text.size() + 1, room);  // with its NUL
  reply(descriptor,
        static_cast<std::int32_t>(size),
        {reinterpret_cast<const std::uint8_t*>(text.c_str()), size});
}

void SocketPort::answer(int descriptor, const vesk_emulate_request& request,
                        std::span<const std::uint8_t> argument) {
  if (request.generation != _generation) return reply(descriptor, -ENODEV);
  const std::size_t room = _IOC_SIZE(request.request);
  switch (request.request) {
    case HIDIOCGRDESCSIZE: {
      const auto size = static_cast<int>(_identity.descriptor.size());
      return reply(descriptor, 0, bytesOf(size));
    }
    case HIDIOCGRDESC: {
      std::uint32_t wanted = 0;
      std::memcpy(&wanted, argument.data(), std::min(sizeof wanted, argument.size()));
      if (wanted > HID_MAX_DESCRIPTOR_SIZE - 1) return reply(descriptor, -EINVAL);
      const std::span<const std::uint8_t> bytes = _identity.descriptor;
      return reply(descriptor, 0, bytes.first(std::min<std::size_t>(wanted, bytes.size())));
    }
    case HIDIOCGRAWINFO: {
      const hidraw_devinfo info = {_identity.bus,
                                   static_cast<__s16>(_identity.vendor),
                                   static_cast<__s16>(_identity.product)};
      return reply(descriptor, 0, bytesOf(info));
    }
    default:
      break;
  }
  switch (request.request & ~(static_cast<std::uint32_t>(_IOC_SIZEMASK) << _IOC_SIZESHIFT)) {
    case HIDIOCGRAWNAME(0):
      return replyText(descriptor, _identity.name, room);
    case HIDIOCGRAWPHYS(0):
      return replyText(descriptor, _identity.physical, room);
    case HIDIOCGRAWUNIQ(0):
      return replyText(descriptor, _identity.serial, room);
    default:
      return pass(descriptor, request, argument);
  }
}

/// What concerns a report goes to the device.
void SocketPort::pass(int descriptor, const vesk_emulate_request& request,
                      std::span<const std::uint8_t> argument) {
  std::optional<host::ReportType> type;
  bool sets = false;
  switch (request.request & ~(static_cast<std::uint32_t>(_IOC_SIZEMASK) << _IOC_SIZESHIFT)) {
    case HIDIOCGFEATURE(0):
      type = host::ReportType::Feature;
      break;
    case HIDIOCGINPUT(0):
      type = host::ReportType::Input;
      break;
    case HIDIOCGOUTPUT(0):
      type = host::ReportType::Output;
      break;
    case HIDIOCSFEATURE(0):
    case HIDIOCSINPUT(0):
    case HIDIOCSOUTPUT(0):
      sets = true;
      break;
    default:
      return reply(descriptor, -ENOTTY);
  }
  const std::size_t room = _IOC_SIZE(request.request);
  if (room < 2 || argument.empty()) return reply(descriptor, -EINVAL);
  if (sets) {
    _device->written();
    return reply(descriptor, static_cast<std::int32_t>(room));
  }
  const std::uint64_t call = _callers.at(descriptor);
  const auto done = [this, descriptor, call, room](
                        int error, std::span<const std::uint8_t> report) {
    const auto caller = _callers.find(descriptor);
    if (caller == _callers.end() || caller->second != call) return;  // it did not wait
    const std::size_t size = std::min(room, report.size());
    reply(descriptor, error != 0 ? -error : static_cast<std::int32_t>(size), report.first(size));
  };
  _device->ask(*type, argument.front(), done);
}

}  // namespace vesk::emulate
