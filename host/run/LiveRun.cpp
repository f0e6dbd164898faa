#include "host/run/LiveRun.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "host/live/DeviceList.h"
#include "host/run/Sieve.h"
#include "host/run/Signals.h"

namespace vesk::host {

namespace {

constexpr std::string_view kDevices = "/dev/";
constexpr std::string_view kHidraws = "/dev/hidraw";

}  // namespace

LiveRun::LiveRun(const Options& options, const KnownReports& known, Backend& backend)
    : _options(options), _known(known), _backend(backend) {
  _settings.selection = selectionOf(options);
  _settings.follow = options.follow;
  _settings.wait = options.wait;
  _settings.verbose = options.verbose;
  _settings.every = options.every;
  _settings.duration = options.duration;
  for (const std::string& operand : options.files) sort(operand);
  check();
  // While files are decoded nobody would read a device that is open, and the kernel would keep what
  // is old and drop what is new.
  if (!_files.empty())
    for (LiveOperand& device : _devices) device.opened.reset();
}

void LiveRun::sort(const std::string& operand) {
  if (DeviceName::isName(operand)) {
    _devices.push_back({DeviceName(operand)});
    return;
  }
  std::string node = operand;
  if (operand == "-") {
    if (!_backend.open("/dev/stdin").device) return _files.push_back(operand);
    std::error_code ignored;
    node = std::filesystem::canonical("/dev/stdin", ignored).string();
  }
  Opening opening = _backend.open(node);
  const bool isMissing = opening.failure == std::errc::no_such_file_or_directory;
  const bool isDevice =
      opening.device || (isMissing ? mayBeDevice(node) : opening.failure != std::errc{});
  if (isDevice)
    _devices.push_back({DeviceName(node), std::move(opening.device)});
  else
    _files.push_back(operand);
}

/// What isn't there can't tell that it is a device: its name must do, and what is asked of it.
bool LiveRun::mayBeDevice(const std::string& missing) const {
  const bool isLive = _settings.follow || _settings.wait || _settings.every || _settings.duration;
  return _options.inputForm == nullptr && missing.starts_with(isLive ? kDevices : kHidraws);
}

void LiveRun::check() const {
  const Selection& selection = _settings.selection;
  if (_devices.empty()) {
    const char* const option = _options.follow     ? "--follow"
                               : _options.every    ? "--every"
                               : _options.duration ? "--duration"
                               : _options.wait     ? "--wait"
                                                   : nullptr;
    if (option != nullptr)
      throw UsageFault(std::string(option) +
                       ": no live device is named; --list-devices shows them");
    return;
  }
  const std::string& first = _devices.front().name.text();
  if (_options.inputForm != nullptr)
    throw UsageFault("--input: " + first + " is a live device, which has no form");
  if (_options.usb.device || _options.usb.endpoint)
    throw UsageFault("--device, --endpoint: they choose within a USB capture, and " + first +
                     " is a live device");
  for (auto one = _devices.begin(); one != _devices.end(); ++one)
    for (auto other = one + 1; other != _devices.end(); ++other)
      if (one->name.text() == other->name.text())
        throw UsageFault(one->name.text() + ": named twice");
  checkNumber();

  const bool asks = choosable(_known, selection) != 0;
  if (_options.every && !asks)
    throw UsageFault("--every asks for feature reports, and none is chosen");
  if (_options.follow) {
    const bool mayCome =
        selection.has(ReportType::Input) &&
        (selection.ids.empty() || std::ranges::any_of(selection.ids, [&](std::uint32_t id) {
           return _known.find(id, ReportType::Input) != nullptr ||
                  _known.find(id, ReportType::Feature) == nullptr;
         }));
    if (!mayCome)
      throw UsageFault(
          "--follow goes on with input reports, and none is chosen; --every asks for feature "
          "reports again");
  } else if (!asks) {
    throw UsageFault("no feature report is chosen that " + first +
                     " could be asked for; --follow shows input "
                     "reports");
  }
}

/// What several devices can't be told apart in.
void LiveRun::checkNumber() const {
  if (_devices.size() < 2) return;
  if (_options.outputForm->name == "recording")
    throw UsageFault(
        "--output recording: a recording holds one device; record each in a run of its own");
  if (_options.outputForm->needs == Needs::Terminal)
    throw UsageFault("--output " + std::string(_options.outputForm->name) +
                     ": it shows one device; show each in a terminal of its own");
  if (_options.limits)
    throw UsageFault("--limits: a verdict is of one device; test each in a run of its own");
}

std::unique_ptr<Live> LiveRun::begin(Live::Wait wait) {
  const HeldInterrupts held;  // they are for the thread that decodes
  return std::make_unique<Live>(std::move(_devices), _settings, _known, _backend, std::move(wait));
}

std::string deviceListText(const Options& options, const KnownReports& known, Backend& backend) {
  const std::string_view form = options.outputForm->name;
  if (form != "text" && form != "ndjson" && form != "json")
    throw UsageFault("--list-devices: its forms are text, ndjson and json");
  const std::vector<DeviceRow> rows = surveyDevices(backend, known);
  const std::size_t total = known.all().size();
  return form == "text" ? deviceTable(rows, total) : deviceRecords(rows, total, form == "json");
}

}  // namespace vesk::host
