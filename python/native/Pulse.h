/// What has to happen now and then while a long read goes on without the interpreter's lock.
#pragma once

#include <pybind11/pybind11.h>

#include <chrono>
#include <cstdint>

namespace vesk::python {

/// Runs the handlers of signals, so that Ctrl-C ends a read, and tells progress: calls
/// progress(bytes) with the number of bytes that were read since the call before.
class Pulse {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kInterval{50};

  /// `progress` may be None.
  explicit Pulse(pybind11::object progress) : _progress(std::move(progress)) {}

  /// So many bytes of the input are read. Throws what a handler or `progress` raises.
  void read(std::uint64_t bytes);

  /// An item of the input is done.
  void item() {
    if (++_items % kItems == 0) read(_bytes);
  }

  /// Another input begins, of which nothing is read.
  void begin();

  /// Tells what wasn't told yet.
  void finish();

 private:
  static constexpr unsigned kItems = 64;  // asking for the time takes longer than some items

  void tell();

  pybind11::object _progress;
  std::uint64_t _bytes = 0;
  std::uint64_t _told = 0;
  unsigned _items = 0;
  Clock::time_point _next = Clock::now() + kInterval;
};

}  // namespace vesk::python
