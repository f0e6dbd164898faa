/// Interrupts: the first one asks the program to finish in good order, the second one ends it.
#pragma once

#include <chrono>
#include <csignal>
#include <optional>

namespace vesk::host {

/// From here on SIGINT and SIGTERM only raise interrupted().
void catchInterrupts();

bool interrupted();

/// Holds interrupts back from this thread, and from those that it starts meanwhile for good.
class HeldInterrupts {
 public:
  HeldInterrupts();
  ~HeldInterrupts();
  HeldInterrupts(const HeldInterrupts&) = delete;
  HeldInterrupts& operator=(const HeldInterrupts&) = delete;

  /// The signals that were held back before.
  const sigset_t& before() const { return _before; }

 private:
  sigset_t _before;
};

/// Waits until a descriptor has something to read, until a signal that this program handles, or
/// until `end`.
void waitUntilReadable(int descriptor,
                       std::optional<std::chrono::steady_clock::time_point> end = {});

/// Ends the process by the signal that interrupted it, so that whoever started it can see that.
/// Returns only if there was none.
void dieIfInterrupted();

/// Ends the process by SIGPIPE: what happens to a program whose reader has gone.
[[noreturn]] void dieOfClosedPipe();

}  // namespace vesk::host
