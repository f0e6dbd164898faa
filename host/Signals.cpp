#include "host/Signals.h"

#include <poll.h>

#include <csignal>
#include <cstdlib>
#include <initializer_list>

namespace vesk::host {

namespace {

constexpr std::initializer_list<int> kInterrupts = {SIGINT, SIGTERM};

volatile std::sig_atomic_t caughtSignal = 0;

void rememberSignal(int signal) { caughtSignal = signal; }

void dieOf(int signal) {
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace

void catchInterrupts() {
  for (const int signal : kInterrupts) {
    struct sigaction previous {};
    sigaction(signal, nullptr, &previous);
    if (previous.sa_handler == SIG_IGN) continue;  // a background job's parent wants it ignored
    struct sigaction action {};
    action.sa_handler = rememberSignal;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // the second one ends what can't finish
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
  }
}

bool interrupted() { return caughtSignal != 0; }

/// An interrupt between looking for one and waiting would be overlooked until input comes. So they
/// are held back, and let in only while this waits.
void waitUntilReadable(int descriptor) {
  sigset_t held;
  sigset_t before;
  sigemptyset(&held);
  for (const int signal : kInterrupts) sigaddset(&held, signal);
  sigprocmask(SIG_BLOCK, &held, &before);
  pollfd readable = {descriptor, POLLIN, 0};
  if (!interrupted()) ppoll(&readable, 1, nullptr, &before);
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

void dieIfInterrupted() {
  if (interrupted()) dieOf(caughtSignal);
}

void dieOfClosedPipe() {
  dieOf(SIGPIPE);
  std::abort();  // SIGPIPE is blocked
}

}  // namespace vesk::host
