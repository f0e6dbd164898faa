#include "emulate/Command.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace vesk::emulate {

namespace {

constexpr std::array kForwarded = {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGUSR1, SIGUSR2};

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// Whether this process is among those that a terminal's interrupt key ends.
bool inForeground() {
  const int terminal = open("/dev/tty", O_RDONLY | O_CLOEXEC | O_NOCTTY);
  if (terminal < 0) return false;
  const bool is = tcgetpgrp(terminal) == getpgrp();
  close(terminal);
  return is;
}

[[noreturn]] void become(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  const int error = errno;
  const std::string message =
      "vesk-emulate: cannot run " + words[0] + ": " + std::strerror(error) + "\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, message.data(), message.size());
  _exit(error == ENOENT || error == ENOTDIR ? kNotFound : kNotExecutable);
}

}  // namespace

Signals::Signals() {
  sigset_t held;
  sigemptyset(&held);
  sigaddset(&held, SIGCHLD);
  for (const int signal : kForwarded) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&held, signal);
  }
  sigprocmask(SIG_BLOCK, &held, &_before);
  _descriptor = signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK);
  if (_descriptor < 0) fail("cannot wait for signals");
}

Signals::~Signals() {
  close(_descriptor);
  sigprocmask(SIG_SETMASK, &_before, nullptr);
}

std::optional<signalfd_siginfo> Signals::next() {
  signalfd_siginfo signal{};
  if (read(_descriptor, &signal, sizeof signal) != sizeof signal) return std::nullopt;
  return signal;
}

Command::Command(const std::vector<std::string>& words, const std::vector<Variable>& variables,
                 const Signals& signals)
    : _process(-1), _inForeground(inForeground()) {
  const pid_t parent = getpid();
  _process = fork();
  if (_process < 0) fail("cannot start a process");
  if (_process != 0) {
    if (!_inForeground) setpgid(_process, _process);  // in both: whoever comes first
    return;
  }
  if (!_inForeground) setpgid(0, 0);
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  if (getppid() != parent) _exit(kSignalled + SIGTERM);
  for (const auto& [name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
  sigprocmask(SIG_SETMASK, &signals.before(), nullptr);
  become(words);
}

Command::~Command() {
  if (!_ended) kill(_inForeground ? _process : -_process, SIGTERM);
}

void Command::forward(const signalfd_siginfo& signal) {
  using namespace std::chrono_literals;
  constexpr auto kAtOnce = 100ms;
  const bool fromTerminal = signal.ssi_code == SI_KERNEL;
  if (_inForeground && fromTerminal) return;
  const auto now = std::chrono::steady_clock::now();
  if (signal.ssi_signo == _lastSignal && now - _lastTime < kAtOnce) return;
  _lastSignal = signal.ssi_signo;
  _lastTime = now;
  kill(_inForeground ? _process : -_process, static_cast<int>(signal.ssi_signo));
}

std::optional<int> Command::ended() {
  int status = 0;
  if (waitpid(_process, &status, WNOHANG) != _process) return std::nullopt;
  _ended = true;
  return WIFSIGNALED(status) ? kSignalled + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace vesk::emulate
