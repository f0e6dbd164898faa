#include "host/run/Signals.h"

#include <poll.h>

#include <algorithm>
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

HeldInterrupts::HeldInterrupts() {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : kInterrupts) sigaddset(&held, signal);
  pthread_sigmask(SIG_BLOCK, &held, &_before);
}

HeldInterrupts::~HeldInterrupts() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }

/// An interrupt between looking for one and waiting would be overlooked until input comes. So they
/// are held back, and let in only while this waits.
void waitUntilReadable(int descriptor, std::optional<std::chrono::steady_clock::time_point> end) {
  using std::chrono::nanoseconds;
  const HeldInterrupts held;
  pollfd readable = {descriptor, POLLIN, 0};
  timespec left{};
  if (end) {
    const auto rest =
        std::max(nanoseconds(*end - std::chrono::steady_clock::now()), nanoseconds(0));
    left = {rest / std::chrono::seconds(1), (rest % std::chrono::seconds(1)).count()};
  }
  if (!interrupted()) ppoll(&readable, 1, end ? &left : nullptr, &held.before());
}

void dieIfInterrupted() {
  if (interrupted()) dieOf(caughtSignal);
}

void dieOfClosedPipe() {
  dieOf(SIGPIPE);
  std::abort();  // SIGPIPE is blocked
}

}  // namespace vesk::host
