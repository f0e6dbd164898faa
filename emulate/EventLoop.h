/// Waits for descriptors and times in one thread, and calls who asked for them.
///
///     EventLoop loop;
///     loop.watch(descriptor, POLLIN, [&](short events) { ... });
///     loop.at(EventLoop::Clock::now() + 5ms, [&] { loop.stop(); });
///     loop.run();
///
/// A function that is called may change what is watched and which times are awaited.
#pragma once

#include <poll.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <utility>
#include <vector>

namespace vesk::emulate {

class EventLoop {
 public:
  using Clock = std::chrono::steady_clock;

  /// Calls `onEvents` whenever `descriptor` has some of `events`, an error or its end, in the place
  /// of what was called so far.
  void watch(int descriptor, short events, std::function<void(short events)> onEvents);

  /// To be called before the descriptor is closed.
  void unwatch(int descriptor);

  using Timer = std::pair<Clock::time_point, std::uint64_t>;

  /// Calls `onTime` once, at `time` or as soon as possible after it; times that are the same in the
  /// order of the calls.
  Timer at(Clock::time_point time, std::function<void()> onTime);

  /// Nothing if the time has come already.
  void cancel(const Timer& timer) { _timers.erase(timer); }

  /// Until stop() is called.
  void run();
  void stop() { _stopped = true; }

 private:
  struct Watch {
    std::uint64_t number;  // a descriptor's number is used again
    short events;
    std::function<void(short)> onEvents;
  };

  void callTimers();
  void waitForEvents();

  std::map<int, Watch> _watches;
  std::map<Timer, std::function<void()>> _timers;
  std::vector<pollfd> _polled;
  std::vector<std::uint64_t> _polledNumbers;
  std::uint64_t _count = 0;
  bool _stopped = false;
};

}  // namespace vesk::emulate
