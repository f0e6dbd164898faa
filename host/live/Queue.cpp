#include "host/live/Queue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace vesk::host {

MessageQueue::MessageQueue(std::size_t sources, std::size_t limit)
    : _limit(limit), _descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), _lost(sources) {
  if (_descriptor < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
}

MessageQueue::~MessageQueue() { close(_descriptor); }

void MessageQueue::offer(std::size_t source, Arrived report) {
  Message message{source, std::move(report)};
  const std::lock_guard lock(_mutex);
  std::uint64_t& lost = _lost[source];
  if (_size + sizeOf(message) > _limit) {
    ++lost;
    return;
  }
  if (lost != 0) put({source, Lost{std::exchange(lost, 0)}});
  put(std::move(message));
}

void MessageQueue::append(Message message) {
  const std::lock_guard lock(_mutex);
  std::uint64_t& lost = _lost[message.source];
  if (lost != 0) put({message.source, Lost{std::exchange(lost, 0)}});
  put(std::move(message));
}

/// The mutex is held.
void MessageQueue::put(Message message) {
  _size += sizeOf(message);
  _messages.push_back(std::move(message));
  if (_readable) return;
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(_descriptor, &one, sizeof one);
  _readable = true;
}

std::optional<Message> MessageQueue::take() {
  const std::lock_guard lock(_mutex);
  if (!_messages.empty()) {
    Message message = std::move(_messages.front());
    _messages.pop_front();
    _size -= sizeOf(message);
    return message;
  }
  for (std::size_t source = 0; source < _lost.size(); ++source)
    if (_lost[source] != 0) return Message{source, Lost{std::exchange(_lost[source], 0)}};
  if (_readable) {
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t taken = read(_descriptor, &count, sizeof count);
    _readable = false;
  }
  return std::nullopt;
}

/// Reports are what fills memory.
std::size_t MessageQueue::sizeOf(const Message& message) {
  const auto* const report = std::get_if<Arrived>(&message.what);
  return sizeof message + (report != nullptr ? report->bytes.size() : 0);
}

}  // namespace vesk::host
