#include "host/run/TerminalCanvas.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <initializer_list>
#include <string>

namespace vesk::host {

namespace {

// What the handler of a stop needs, which gets no argument.
volatile std::sig_atomic_t isOnScreen = 0;
int screenDescriptor = -1;

constexpr char kTaken = 't';
constexpr char kGivenBack = 'g';

void restoreScreen(int descriptor) {
  [[maybe_unused]] const ssize_t written =
      write(descriptor, Canvas::kGiveBack.data(), Canvas::kGiveBack.size());
}

void handle(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  sigaction(signal, &action, nullptr);
}

/// Stops as a program without a handler would, with the terminal as it was.
void stop(int signal) {
  const int error = errno;
  if (isOnScreen != 0) restoreScreen(screenDescriptor);
  isOnScreen = 0;
  handle(signal, SIG_DFL);
  raise(signal);
  sigset_t stopping;
  sigemptyset(&stopping);
  sigaddset(&stopping, signal);
  pthread_sigmask(SIG_UNBLOCK, &stopping, nullptr);  // stops here
  handle(signal, stop);
  errno = error;
}

/// A wait that a signal ends is an occasion to draw.
void wakeUp(int /*signal*/) {}

/// Waits for the end of the program, which closes the other end of the pipe.
[[noreturn]] void guard(int fromProgram, int terminal) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGTTOU, SIGPIPE})
    handle(signal, SIG_IGN);
  char state = kGivenBack;
  for (;;) {
    const ssize_t count = read(fromProgram, &state, 1);
    if (count == 0 || (count < 0 && errno != EINTR)) break;
  }
  if (state == kTaken) restoreScreen(terminal);
  _exit(0);
}

Palette paletteFor(bool colours) {
  if (!colours) return Palette::Shades;
  const char* const claimed = std::getenv("COLORTERM");
  const std::string_view kind = claimed == nullptr ? "" : claimed;
  return kind == "truecolor" || kind == "24bit" ? Palette::TrueColour : Palette::Colours256;
}

}  // namespace

TerminalCanvas::TerminalCanvas(int descriptor, bool colours, Messages& messages)
    : _descriptor(descriptor), _palette(paletteFor(colours)), _messages(messages) {
  screenDescriptor = descriptor;
  startGuard();
  handle(SIGTSTP, stop);
  handle(SIGWINCH, wakeUp);
  _messages.hold();
}

TerminalCanvas::~TerminalCanvas() {
  if (isTaken()) restoreScreen(_descriptor);
  giveBack();
  handle(SIGTSTP, SIG_DFL);
  handle(SIGWINCH, SIG_DFL);
  if (_guard > 0) {
    close(_toGuard);
    while (waitpid(_guard, nullptr, 0) < 0 && errno == EINTR) continue;
  }
}

/// Without a second process the terminal is given back by this one alone.
void TerminalCanvas::startGuard() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return;
  _guard = fork();
  if (_guard == 0) {
    close(ends[1]);
    guard(ends[0], _descriptor);
  }
  close(ends[0]);
  _toGuard = ends[1];
}

void TerminalCanvas::tellGuard(char state) {
  if (_guard <= 0) return;
  [[maybe_unused]] const ssize_t written = write(_toGuard, &state, 1);
}

Room TerminalCanvas::room() {
  winsize size{};
  if (ioctl(_descriptor, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0)
    return {80, 24};
  return {size.ws_col, size.ws_row};
}

void TerminalCanvas::take() {
  if (isTaken()) return;
  isOnScreen = 1;
  tellGuard(kTaken);
}

bool TerminalCanvas::isTaken() const { return isOnScreen != 0; }

void TerminalCanvas::giveBack() {
  isOnScreen = 0;
  tellGuard(kGivenBack);
  _messages.release();
}

}  // namespace vesk::host
