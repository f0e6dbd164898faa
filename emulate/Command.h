/// The command that runs under emulation, as a shell would run it.
#pragma once

#include <sys/signalfd.h>
#include <sys/types.h>

#include <chrono>
#include <csignal>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vesk::emulate {

/// Ends of a command that could not be run.
enum CommandStatus : int { kNotExecutable = 126, kNotFound = 127, kSignalled = 128 };

/// The signals that this process gets, held back and read from a descriptor instead.
class Signals {
 public:
  /// Those that end a program, and SIGCHLD. What is ignored stays so. Throws std::system_error.
  Signals();
  ~Signals();
  Signals(const Signals&) = delete;
  Signals& operator=(const Signals&) = delete;

  int descriptor() const { return _descriptor; }
  std::optional<signalfd_siginfo> next();

  /// As it was before, for a new process.
  const sigset_t& before() const { return _before; }

 private:
  sigset_t _before;
  int _descriptor;
};

class Command {
 public:
  using Variable = std::pair<std::string, std::string>;

  /// Starts it with these variables of the environment besides. In the foreground of a terminal it
  /// shares that; elsewhere it is in a process group of its own. Throws std::system_error.
  Command(const std::vector<std::string>& words, const std::vector<Variable>& variables,
          const Signals& signals);

  /// Ends it if it has not ended: without its devices there is nothing to run it for. So does the end
  /// of this process, however it comes.
  ~Command();
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  /// Hands on what came to this process, but for what the terminal sent to both of them, and for the
  /// second of two that come at once: timeout(1) ends a process, and then its whole group.
  void forward(const signalfd_siginfo& signal);

  /// The status that a shell would give it, once it has ended.
  std::optional<int> ended();

 private:
  pid_t _process;
  bool _inForeground;
  bool _ended = false;
  std::uint32_t _lastSignal = 0;
  std::chrono::steady_clock::time_point _lastTime;
};

}  // namespace vesk::emulate
