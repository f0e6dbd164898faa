// vesk-emulate: runs a command that finds emulated devices, made from captures.

#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

#include "emulate/Capture.h"
#include "emulate/Command.h"
#include "emulate/Device.h"
#include "emulate/EventLoop.h"
#include "emulate/Folder.h"
#include "emulate/Options.h"
#include "emulate/Reader.h"
#include "emulate/SocketPort.h"
#include "emulate/UhidPort.h"
#include "emulate/protocol.h"
#include "host/Plugin.h"
#include "host/run/DescriptorSink.h"
#include "host/writing/Terminal.h"

namespace vesk::emulate {

namespace {

namespace fs = std::filesystem;

constexpr const char* kLibraryName = "libvesk-emulate.so";

enum ExitStatus : int { kDone = 0, kBadUsage = 2, kCannotEmulate = 3 };

/// What ends the program with kCannotEmulate.
class Failure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

void tell(const std::string& message) {
  try {
    host::writeAll(STDERR_FILENO, "vesk-emulate: " + host::printable(message) + "\n");
  } catch (const host::OutputFault&) {
    return;  // there is nobody to tell
  }
}

/// Where the library is, seen from the program: as built, and as installed.
std::string findLibrary() {
  std::error_code failed;
  const fs::path program = fs::read_symlink("/proc/self/exe", failed);
  const fs::path prefix = program.parent_path().parent_path();
  std::string looked;
  for (const fs::path& folder : {prefix / "lib",
                                 prefix / "lib" / VESK_MULTIARCH / "vesk",
                                 prefix / "lib" / "vesk",
                                 prefix / VESK_LIBDIR / "vesk"}) {
    const fs::path path = folder / kLibraryName;
    if (fs::exists(path, failed)) return path.string();
    looked += (looked.empty() ? "" : ", ") + folder.string();
  }
  throw Failure(std::string("cannot find ") + kLibraryName + " in " + looked);
}

/// `added` behind what the variable has already.
std::string extended(const char* variable, const std::string& added) {
  const char* const before = std::getenv(variable);
  return before == nullptr || *before == '\0' ? added : std::string(before) + ":" + added;
}

std::vector<Capture> readCaptures(const Options& options) {
  const host::PluginLibrary library(std::nullopt);
  const host::KnownReports known(host::Plugin(library, {}).reports());
  std::vector<Capture> captures;
  for (const std::string& file : options.captures) {
    Capture& capture = captures.emplace_back(readCapture(file, options.howToRead, known, tell));
    Identity& identity = capture.identity;
    if (options.name) identity.name = *options.name;
    if (options.serial) identity.serial = *options.serial;
    if (options.ids) std::tie(identity.vendor, identity.product) = *options.ids;
    if (identity.physical.empty())
      identity.physical = "vesk-emulate-" + std::to_string(captures.size()) + "/input0";
  }
  return captures;
}

/// A node that is there is somebody's.
void checkNode(unsigned number) {
  const std::string node = "/dev/hidraw" + std::to_string(number);
  struct stat status {};
  if (lstat(node.c_str(), &status) == 0)
    throw UsageFault(node + " is a device of this machine; choose another by --node");
}

/// Runs the command and the devices side by side until the command ends; its status.
int runCommand(EventLoop& loop, const Options& options,
               const std::vector<Command::Variable>& variables, Signals& signals) {
  Command command(options.command, variables, signals);
  int status = 0;
  loop.watch(signals.descriptor(), POLLIN, [&](short) {
    while (const auto signal = signals.next())
      if (signal->ssi_signo != SIGCHLD) command.forward(*signal);
    if (const auto ended = command.ended()) {
      status = *ended;
      loop.stop();
    }
  });
  loop.run();
  return status;
}

/// The devices behind ports of one kind, started.
class Devices {
 public:
  template <class MakePort>
  Devices(EventLoop& loop, const Options& options, const std::vector<Capture>& captures,
          MakePort makePort) {
    for (const Capture& capture : captures) {
      _ports.push_back(makePort(capture, static_cast<unsigned>(_ports.size())));
      _devices.push_back(
          std::make_unique<Device>(loop, capture, options.behaviour, *_ports.back()));
      _devices.back()->start();
    }
  }

  void showCounts() const {
    for (const auto& device : _devices) {
      const Counts& counts = device->counts();
      tell(device->name() + ": " + std::to_string(counts.requests) + " requests, " +
           std::to_string(counts.sent) + " reports sent, " + std::to_string(counts.dropped) +
           " dropped, " + std::to_string(counts.writes) + " writes");
    }
  }

 private:
  std::vector<std::unique_ptr<Port>> _ports;
  std::vector<std::unique_ptr<Device>> _devices;
};

int emulatePreloaded(const Options& options, const std::vector<Capture>& captures) {
  using namespace std::chrono_literals;
  const std::string library = findLibrary();
  EventLoop loop;
  Folder folder;
  MessageCosts costs;
  const Devices devices(loop, options, captures, [&](const Capture& capture, unsigned index) {
    return std::make_unique<SocketPort>(
        loop, folder, costs, options.firstNode + index, capture.identity);
  });
  const std::function<void()> followMachine = [&] {
    folder.refresh();
    loop.at(EventLoop::Clock::now() + 1s, followMachine);
  };
  followMachine();

  Signals signals;
  const std::vector<Command::Variable> variables = {
      {VESK_EMULATE_VARIABLE,
       std::to_string(options.firstNode) + "+" + std::to_string(captures.size()) + ":" +
           folder.path().string()},
      {"LD_PRELOAD", extended("LD_PRELOAD", library)},
      {"ASAN_OPTIONS", extended("ASAN_OPTIONS", "verify_asan_link_order=0")},
  };
  const int status = runCommand(loop, options, variables, signals);
  if (options.statistics) devices.showCounts();
  return status;
}

/// Without a command, until this program is ended.
int emulateByUhid(const Options& options, const std::vector<Capture>& captures) {
  if (const auto why = whyNoUhid()) throw Failure(*why);
  EventLoop loop;
  Signals signals;
  const Devices devices(loop, options, captures, [&](const Capture& capture, unsigned) {
    return std::make_unique<UhidPort>(loop, capture, tell);
  });
  int status = kDone;
  if (options.command.empty()) {
    loop.watch(signals.descriptor(), POLLIN, [&](short) { loop.stop(); });
    loop.run();
  } else {
    status = runCommand(loop, options, {}, signals);
  }
  if (options.statistics) devices.showCounts();
  return status;
}

int run(const std::vector<std::string>& arguments) {
  try {
    const auto parsed = parseOptions(arguments);
    if (const auto* answer = std::get_if<Answer>(&parsed)) {
      host::writeAll(STDOUT_FILENO, answer->text);
      return kDone;
    }
    const auto& options = std::get<Options>(parsed);
    if (options.uhid) return emulateByUhid(options, readCaptures(options));
    for (unsigned i = 0; i < options.captures.size(); ++i) checkNode(options.firstNode + i);
    return emulatePreloaded(options, readCaptures(options));
  } catch (const UsageFault& fault) {
    tell(std::string(fault.what()) + "; --help shows the options");
    return kBadUsage;
  } catch (const std::exception& failure) {
    tell(failure.what());
    return kCannotEmulate;
  }
}

}  // namespace

}  // namespace vesk::emulate

int main(int argc, char** argv) { return vesk::emulate::run({argv + 1, argv + argc}); }
