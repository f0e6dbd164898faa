#include "python/native/LiveFeed.h"

#include <algorithm>
#include <system_error>
#include <utility>
#include <variant>

#include "host/live/Names.h"
#include "host/run/Signals.h"

namespace vesk::python {

namespace {

host::LiveSettings liveSettings(const LiveOptions& options, const host::ReadSettings& settings) {
  host::LiveSettings live;
  live.selection = settings.selection;
  live.follow = options.follow;
  live.wait = options.wait;
  live.every = options.every;
  live.duration = options.duration;
  return live;
}

}  // namespace

/// What isn't there can't tell that it is a device: its name must do.
std::shared_ptr<NamedDevice> deviceNamed(const std::string& name) {
  if (host::DeviceName::isName(name)) return std::make_shared<NamedDevice>(name);
  host::Opening opening = host::Hidraw().open(name);
  const bool isMissing = opening.failure == std::errc::no_such_file_or_directory;
  const bool mayBe = isMissing ? name.starts_with("/dev/hidraw") : opening.failure != std::errc{};
  if (!opening.device && !mayBe) return nullptr;
  return std::make_shared<NamedDevice>(name, std::move(opening.device));
}

LiveFeed::LiveFeed(const std::vector<std::shared_ptr<NamedDevice>>& devices,
                   const LiveOptions& options, const host::ReadSettings& settings,
                   const host::KnownReports& known, Pulse& pulse)
    : _known(known), _settings(settings), _pulse(pulse) {
  std::vector<host::LiveOperand> operands;
  for (const auto& device : devices)
    operands.push_back({host::DeviceName(device->name()), device->take()});
  const host::HeldInterrupts held;  // they are for Python's threads
  _live = std::make_unique<host::Live>(
      std::move(operands),
      liveSettings(options, settings),
      known,
      _hidraw,
      [this](int descriptor, auto until) { return wait(descriptor, until); });
}

/// Waits in short steps, between which signals come through.
bool LiveFeed::wait(int descriptor, std::optional<Pulse::Clock::time_point> until) {
  _pulse.read(0);
  const auto now = Pulse::Clock::now();
  if (_deadline && now >= *_deadline) {
    _isLate = true;
    return false;
  }
  auto end = now + Pulse::kInterval;
  if (until) end = std::min(end, *until);
  if (_deadline) end = std::min(end, *_deadline);
  host::waitUntilReadable(descriptor, end);
  return true;
}

host::Item LiveFeed::next() {
  _isLate = false;
  for (;;) {
    auto item = _live->next();
    if (!item) return host::End{};
    _name = item->name;
    if (auto* report = std::get_if<host::Report>(&item->what)) {
      _info = _known.find(report->id(), report->type);
      const auto verdict = _settings.selection.window.judge(report->microseconds);
      if (_settings.wants(*report) && verdict == host::TimeWindow::Verdict::Inside) return *report;
    } else if (auto* problem = std::get_if<host::Problem>(&item->what)) {
      if (_settings.selection.has(*problem)) return std::move(*problem);
    } else {
      _remarks.push_back(std::get<host::Remark>(item->what).text);
    }
    _pulse.item();
  }
}

}  // namespace vesk::python
