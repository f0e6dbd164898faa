#include "emulate/Reader.h"

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

#include "emulate/protocol.h"

namespace vesk::emulate {

namespace {

constexpr std::size_t kMostQueued = 64;

/// As large as the system allows: a queue of the longest reports needs 4 MB.
constexpr int kBuffer = 8 * 1024 * 1024;

/// Bytes in a socket's buffer that its peer hasn't read.
std::size_t unread(int descriptor) {
  int bytes = 0;
  if (ioctl(descriptor, SIOCOUTQ, &bytes) != 0)
    throw std::system_error(errno, std::generic_category(), "cannot ask how full a socket is");
  return static_cast<std::size_t>(bytes);
}

}  // namespace

MessageCosts::MessageCosts() {
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, _ends) != 0)
    throw std::system_error(errno, std::generic_category(), "cannot make a socket");
}

MessageCosts::~MessageCosts() {
  close(_ends[0]);
  close(_ends[1]);
}

std::size_t MessageCosts::of(std::size_t length) {
  const auto known = _known.find(length);
  if (known != _known.end()) return known->second;
  std::vector<std::uint8_t> message(length);
  if (::send(_ends[0], message.data(), length, MSG_NOSIGNAL) < 0)
    throw std::system_error(errno, std::generic_category(), "cannot use a socket");
  const std::size_t cost = unread(_ends[0]);
  if (recv(_ends[1], message.data(), length, 0) < 0)
    throw std::system_error(errno, std::generic_category(), "cannot use a socket");
  _known[length] = cost;
  return cost;
}

Reader::Reader(int descriptor, MessageCosts& costs) : _descriptor(descriptor), _costs(costs) {
  setsockopt(_descriptor, SOL_SOCKET, SO_SNDBUF, &kBuffer, sizeof kBuffer);
  const vesk_emulate_reply open = {0};
  if (::send(_descriptor, &open, sizeof open, MSG_NOSIGNAL) < 0) return;  // gone again
  _sent.push_back({_costs.of(sizeof open), false});
  _cost = _sent.back().cost;
}

Reader::~Reader() { close(_descriptor); }

/// They are taken in their order: those that are left are the last ones.
void Reader::forgetTaken() {
  const std::size_t left = _sent.empty() ? 0 : unread(_descriptor);
  while (_cost > left) {
    _cost -= _sent.front().cost;
    _reports -= _sent.front().isReport ? 1 : 0;
    _sent.pop_front();
  }
}

bool Reader::hasRoom() {
  flush();
  forgetTaken();
  return queued() < kMostQueued;
}

bool Reader::handOn(std::span<const std::uint8_t> report) {
  const std::size_t cost = _costs.of(report.size());
  if (::send(_descriptor, report.data(), report.size(), MSG_NOSIGNAL | MSG_DONTWAIT) < 0)
    return errno != EAGAIN && errno != ENOBUFS && errno != EINTR;  // what nobody reads is gone
  _sent.push_back({cost, true});
  _cost += cost;
  ++_reports;
  return true;
}

bool Reader::send(std::span<const std::uint8_t> report) {
  if (!hasRoom()) return false;
  if (!_waiting.empty() || !handOn(report)) _waiting.emplace_back(report.begin(), report.end());
  return true;
}

void Reader::flush() {
  while (!_waiting.empty() && handOn(_waiting.front())) _waiting.pop_front();
}

unsigned Reader::takeWrites() {
  unsigned count = 0;
  std::array<char, 1> byte;
  while (recv(_descriptor, byte.data(), byte.size(), MSG_DONTWAIT) > 0) ++count;
  return count;
}

}  // namespace vesk::emulate
