#include "emulate/EventLoop.h"

#include <sys/prctl.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

namespace vesk::emulate {

void EventLoop::watch(int descriptor, short events, std::function<void(short)> onEvents) {
  _watches.insert_or_assign(descriptor, Watch{++_count, events, std::move(onEvents)});
}

void EventLoop::unwatch(int descriptor) { _watches.erase(descriptor); }

EventLoop::Timer EventLoop::at(Clock::time_point time, std::function<void()> onTime) {
  const Timer timer = {time, ++_count};
  _timers.emplace(timer, std::move(onTime));
  return timer;
}

void EventLoop::run() {
  prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);  // else every time comes 50 us late
  while (!_stopped) {
    callTimers();
    if (!_stopped) waitForEvents();
  }
}

/// Only those that are due now: what they ask for anew comes after the descriptors had their turn.
void EventLoop::callTimers() {
  const Timer latest = {Clock::now(), _count};
  while (!_stopped && !_timers.empty() && _timers.begin()->first.first <= latest.first) {
    if (_timers.begin()->first.second > latest.second) break;
    const auto onTime = std::move(_timers.begin()->second);
    _timers.erase(_timers.begin());
    onTime();
  }
}

void EventLoop::waitForEvents() {
  timespec wait{};
  if (!_timers.empty()) {
    using namespace std::chrono;
    const auto left =
        std::max(Clock::duration::zero(), _timers.begin()->first.first - Clock::now());
    wait.tv_sec = duration_cast<seconds>(left).count();
    wait.tv_nsec = static_cast<long>(duration_cast<nanoseconds>(left % seconds(1)).count());
  }
  _polled.clear();
  _polledNumbers.clear();
  for (const auto& [descriptor, watch] : _watches) {
    _polled.push_back({descriptor, watch.events, 0});
    _polledNumbers.push_back(watch.number);
  }
  const int ready =
      ppoll(_polled.data(), _polled.size(), _timers.empty() ? nullptr : &wait, nullptr);
  if (ready < 0 && errno != EINTR)
    throw std::system_error(errno, std::generic_category(), "cannot wait");
  if (ready <= 0) return;
  for (std::size_t i = 0; i < _polled.size() && !_stopped; ++i) {
    if (_polled[i].revents == 0) continue;
    const auto found = _watches.find(_polled[i].fd);
    if (found == _watches.end() || found->second.number != _polledNumbers[i]) continue;
    const auto onEvents = found->second.onEvents;  // a copy: it may be unwatched meanwhile
    onEvents(_polled[i].revents);
  }
}

}  // namespace vesk::emulate
