/// The live devices of a command line: which operands are some, whether the options fit them, and
/// how a run over them begins.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/KnownReports.h"
#include "host/live/Live.h"
#include "host/run/Options.h"

namespace vesk::host {

class LiveRun {
 public:
  /// Sorts the operands. Throws UsageFault where the options make no sense with them.
  LiveRun(const Options& options, const KnownReports& known, Backend& backend);

  /// The other operands, which come first.
  const std::vector<std::string>& files() const { return _files; }

  bool hasDevices() const { return !_devices.empty(); }

  /// The first device as it was named, before begin().
  const std::string& firstDevice() const { return _devices.front().name.text(); }

  /// Begins with all devices. Can be called once.
  std::unique_ptr<Live> begin(Live::Wait wait);

 private:
  void sort(const std::string& operand);
  bool mayBeDevice(const std::string& missing) const;
  void check() const;
  void checkNumber() const;

  const Options& _options;
  const KnownReports& _known;
  Backend& _backend;
  LiveSettings _settings;
  std::vector<std::string> _files;
  std::vector<LiveOperand> _devices;
};

/// Carries --list-devices out: what it shows. Throws UsageFault.
std::string deviceListText(const Options& options, const KnownReports& known, Backend& backend);

}  // namespace vesk::host
