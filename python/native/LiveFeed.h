/// Live devices as Python reads them.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnownReports.h"
#include "host/inputs/Input.h"
#include "host/live/Hidraw.h"
#include "host/live/Live.h"
#include "host/read/Reader.h"
#include "python/native/Pulse.h"

namespace vesk::python {

/// How devices are read, as the options of the command line that have these names.
struct LiveOptions {
  bool follow = false;
  bool wait = false;
  std::optional<std::chrono::milliseconds> every = {};
  std::optional<std::chrono::milliseconds> duration = {};
};

/// A live device as an input is named, and the device if it was opened to find out that it is one: it
/// may send from then on, and nothing is to be lost.
class NamedDevice {
 public:
  explicit NamedDevice(std::string name, std::unique_ptr<host::Device> opened = nullptr)
      : _name(std::move(name)), _opened(std::move(opened)) {}

  const std::string& name() const { return _name; }
  std::unique_ptr<host::Device> take() { return std::move(_opened); }

  /// Until it is read: nobody would take what it sends.
  void close() { _opened.reset(); }

 private:
  std::string _name;
  std::unique_ptr<host::Device> _opened;
};

/// The device that an input's name means, "hid:touch" or a node that is one's; null if it means none.
std::shared_ptr<NamedDevice> deviceNamed(const std::string& name);

/// What comes from devices, one by one.
class LiveFeed {
 public:
  /// Begins with all of them at once. Reports and pulse must outlive it.
  LiveFeed(const std::vector<std::shared_ptr<NamedDevice>>& devices, const LiveOptions& options,
           const host::ReadSettings& settings, const host::KnownReports& known, Pulse& pulse);

  /// The next wanted item, or the end, without the interpreter's lock. Throws what a handler of a
  /// signal raises.
  host::Item next();

  /// What is known of the report that came last; null if no decoder reads it.
  const host::ReportInfo* info() const { return _info; }

  /// Of the device that the last item is from.
  std::string_view name() const { return _name; }

  /// What people should know of how the devices are read, since the last call.
  std::vector<std::string> takeRemarks() { return std::exchange(_remarks, {}); }

  /// When next() gives up if nothing comes, and gives the end; for the next call.
  void setDeadline(std::optional<Pulse::Clock::time_point> deadline) { _deadline = deadline; }

  /// Whether next() gave up the last time: it is not the end.
  bool isLate() const { return _isLate; }

 private:
  bool wait(int descriptor, std::optional<Pulse::Clock::time_point> until);

  const host::KnownReports& _known;
  const host::ReadSettings _settings;
  Pulse& _pulse;
  host::Hidraw _hidraw;
  std::unique_ptr<host::Live> _live;
  const host::ReportInfo* _info = nullptr;
  std::string _name;
  std::vector<std::string> _remarks;
  std::optional<Pulse::Clock::time_point> _deadline;
  bool _isLate = false;
};

}  // namespace vesk::python
