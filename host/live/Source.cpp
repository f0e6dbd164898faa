#include "host/live/Source.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <utility>

#include "host/live/Descriptor.h"
#include "host/writing/Terminal.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

using namespace std::chrono_literals;

constexpr auto kLookAgain = 50ms;   // for a device that isn't there
constexpr auto kUntilAllowed = 3s;  // udev gives access a moment after the node is there

/// Microseconds of the real-time clock.
std::int64_t now() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

/// The lines that a recording begins with. A line break in a name must not begin another one.
std::string preambleOf(const Device& device) {
  const HidDevice& info = device.info();
  std::string text = "D: 0\nR: " + std::to_string(device.descriptor().size());
  for (const std::uint8_t byte : device.descriptor()) {
    std::array<char, 2> digits{};
    writeHexByte(digits.data(), byte);
    text.append(" ").append(digits.data(), digits.size());
  }
  std::array<char, 40> ids{};
  std::snprintf(ids.data(),
                ids.size(),
                "I: %x %04x %04x\n",
                static_cast<unsigned>(info.bus),
                info.vendor,
                info.product);
  return text + "\nN: " + printable(info.name) + "\nP: " + printable(info.path) + "\n" + ids.data();
}

}  // namespace

bool NodeClaims::claim(const std::string& node, std::size_t source) {
  const std::lock_guard lock(_mutex);
  if (isClaimed(node, source)) return false;
  _nodes[source] = node;
  return true;
}

bool NodeClaims::isAnothers(const std::string& node, std::size_t source) {
  const std::lock_guard lock(_mutex);
  return isClaimed(node, source);
}

/// The mutex is held.
bool NodeClaims::isClaimed(const std::string& node, std::size_t source) const {
  return std::ranges::any_of(_nodes, [&](const auto& claimed) {
    return claimed.first != source && claimed.second == node;
  });
}

Source::Source(std::size_t number, LiveOperand&& operand, const LiveSettings& settings,
               const KnownReports& known, Backend& backend, std::shared_ptr<MessageQueue> queue,
               std::shared_ptr<NodeClaims> claims)
    : _number(number),
      _name(std::move(operand.name)),
      _settings(settings),
      _known(known),
      _backend(backend),
      _queue(std::move(queue)),
      _claims(std::move(claims)),
      _opened(std::move(operand.opened)),
      _answer(kLongestReport) {}

void Source::start() {
  _thread = std::thread([self = shared_from_this()] { self->run(); });
}

void Source::stop() {
  bool isAsking = false;
  {
    const std::lock_guard lock(_mutex);
    _stopping = true;
    isAsking = _asking;
    if (_device) _device->cancel();
  }
  _change.notify_all();
  if (!_thread.joinable()) return;
  if (isAsking)
    _thread.detach();
  else
    _thread.join();
}

void Source::run() {
  while (const std::shared_ptr<Device> device = connect()) {
    announce(*device);
    const bool isGone = serve(device);
    if (!isGone || !goesOn()) break;
    if (!loseDevice(*device)) break;
  }
  _queue->append({_number, Finished{goesOn()}});
}

bool Source::goesOn() {
  const std::lock_guard lock(_mutex);
  return !_stopping;
}

/// False if the run ends meanwhile.
bool Source::pause(std::chrono::milliseconds time) {
  std::unique_lock lock(_mutex);
  return !_change.wait_for(lock, time, [this] { return _stopping; });
}

void Source::put(Problem problem) { _queue->append({_number, std::move(problem)}); }

void Source::remark(std::string text) { _queue->append({_number, Remark{std::move(text)}}); }

/// Null if there is none, which is told, or if the run ends.
std::shared_ptr<Device> Source::connect() {
  bool isTold = _before.has_value();  // that it is waited for
  for (;;) {
    Opening opening = _opened ? Opening{std::move(_opened)} : find();
    if (opening.device) {
      if (!_claims->claim(opening.device->info().node, _number)) {
        put(problemAt({}, ProblemCode::UnreadableInput, "names a device that is named already"));
        return nullptr;
      }
      const std::lock_guard lock(_mutex);
      if (_stopping) return nullptr;
      _gone = false;
      _refusedSince.reset();
      _device = std::move(opening.device);
      return _device;
    }
    if (!mayCome(opening.failure)) return nullptr;
    if (!std::exchange(isTold, true)) remark("waiting for the device");
    if (!pause(kLookAgain)) return nullptr;
  }
}

/// Looks for the device by its name or, once it was there, by what it is. Puts what makes it no use
/// to look again, and then fails with errc{}.
Opening Source::find() {
  if (const std::string fault = _name.fault(); !fault.empty()) {
    put(problemAt({}, ProblemCode::UnreadableInput, fault));
    return {};
  }
  std::string node = _name.text();
  if (!_name.isNode() || _before) {
    const std::vector<ListedDevice> listed = _backend.list();
    if (const auto complaint = ambiguity(listed)) {
      put(problemAt({}, ProblemCode::UnreadableInput, *complaint));
      return {};
    }
    const std::vector<std::string> nodes = candidates(listed);
    if (nodes.empty()) return {nullptr, std::errc::no_such_device};
    node = nodes.front();
  }
  Opening opening = _backend.open(node);
  if (!opening.device && opening.failure == std::errc{}) {
    if (_before) return {nullptr, std::errc::no_such_device};
    put(problemAt({}, ProblemCode::UnreadableInput, "is no HID device"));
  }
  return opening;
}

/// The nodes that may be the device, the likeliest first. Of several devices of one kind without
/// serial numbers, those that stayed plugged in aren't the one that comes back.
std::vector<std::string> Source::candidates(const std::vector<ListedDevice>& listed) {
  std::vector<std::string> nodes;
  for (const ListedDevice& each : listed) {
    const HidDevice& device = each.device;
    if (!_before) {
      if (_name.matches(device)) nodes.push_back(device.node);
    } else if (isSame(device, *_before)) {
      if (device.node == _before->node)
        nodes.insert(nodes.begin(), device.node);
      else if (!_others.contains(device.node) && !_claims->isAnothers(device.node, _number))
        nodes.push_back(device.node);
    }
  }
  return nodes;
}

std::optional<std::string> Source::ambiguity(const std::vector<ListedDevice>& listed) const {
  if (_before) return std::nullopt;
  std::string text;
  std::size_t count = 0;
  for (const ListedDevice& each : listed) {
    if (!_name.matches(each.device)) continue;
    ++count;
    text.append(count == 1 ? "" : ", ").append(describe(each.device));
  }
  if (count < 2) return std::nullopt;
  return "names " + std::to_string(count) + " devices: " + text +
         "; name one by its node or by hid:serial=";
}

/// Whether a device that could not be opened for this reason may be there later on, and is waited
/// for. If not, that is told.
bool Source::mayCome(std::errc failure) {
  if (failure == std::errc{}) return false;
  const bool isMissing = failure == std::errc::no_such_file_or_directory ||
                         failure == std::errc::no_such_device ||
                         failure == std::errc::no_such_device_or_address;
  if (_settings.wait) {
    if (isMissing) {
      _refusedSince.reset();
      return true;
    }
    if (!_refusedSince) _refusedSince = Clock::now();
    if (Clock::now() - *_refusedSince < kUntilAllowed) return true;
  }
  put(problemAt({},
                ProblemCode::UnreadableInput,
                isMissing && !_name.isNode()
                    ? "no HID device of this machine has that; --list-devices shows all"
                    : openingFault(failure)));
  return false;
}

void Source::announce(const Device& device) {
  _queue->append({_number, Connected{device.info(), preambleOf(device)}});
  if (_before) remark("it is back");
  if (_settings.verbose)
    remark("read as a live device: " + describe(device.info()) + " on " + busText(device.info()));
}

/// Whether its return is waited for.
bool Source::loseDevice(const Device& device) {
  {
    const std::lock_guard lock(_mutex);
    _device.reset();
  }
  const bool isDone = _isAllAsked && !_settings.follow && !_settings.every;
  if (_settings.wait && isDone) return false;
  _before = device.info();
  _others.clear();
  for (const ListedDevice& listed : _backend.list())
    if (listed.device.node != _before->node && isSame(listed.device, *_before))
      _others.insert(listed.device.node);
  if (_settings.wait)
    remark("unplugged; waiting for its return");
  else
    put(problemAt({}, ProblemCode::DeviceLost, "the device was unplugged; --wait waits for it"));
  return _settings.wait;
}

/// Asks and reads until all is done, the run ends, or the device is gone: true for that.
bool Source::serve(const std::shared_ptr<Device>& device) {
  const DeclaredReports declared = parseDescriptor(device->descriptor());
  const RequestPlan plan = planRequests(_known, declared, _settings.selection);
  const bool isFirst = !_before;
  if (isFirst)
    for (const std::string& text : plan.remarks) remark(text);
  if (plan.reports.empty() && choosable(_known, _settings.selection) != 0) {
    constexpr const char* kNothing =
        "its report descriptor declares none of the feature reports that the tables know; "
        "--report asks for one all the same";
    if (!_settings.follow) {
      put(problemAt({}, ProblemCode::UnsupportedInput, kNothing));
      return false;
    }
    if (isFirst) remark(kNothing);
  }

  std::thread reader;
  if (_settings.follow) reader = std::thread([this, &device] { read(*device); });
  if (_next >= plan.reports.size()) _next = 0;
  Clock::time_point due = Clock::now();
  bool isGone = false;
  for (;;) {
    askAll(*device, plan);
    _isAllAsked = _next >= plan.reports.size();
    std::unique_lock lock(_mutex);
    const auto isOver = [this] { return _stopping || _gone; };
    if (!isOver()) {
      if (_settings.every && !plan.reports.empty()) {
        while (due <= Clock::now()) due += *_settings.every;
        if (!_change.wait_until(lock, due, isOver)) {
          _next = 0;
          continue;
        }
      } else if (_settings.follow) {
        _change.wait(lock, isOver);
      }
    }
    isGone = _gone;
    if (!isGone) device->cancel();
    break;
  }
  if (reader.joinable()) reader.join();
  return isGone;
}

/// Goes on where an unplug stopped it.
void Source::askAll(Device& device, const RequestPlan& plan) {
  while (_next < plan.reports.size() && ask(device, *plan.reports[_next])) ++_next;
}

/// False if all is over before it is asked for.
bool Source::ask(Device& device, const ReportInfo& info) {
  std::span<std::uint8_t> into(_answer);
  std::uint8_t id = 0;
  {
    const std::lock_guard lock(_mutex);
    if (_stopping || _gone) return false;
    // Once it is asked nobody may wait for the answer, and what `info` is of may go away.
    id = static_cast<std::uint8_t>(info.id);
    into = into.first(lengthAsked(info, into.size()));
    _asking = true;
  }
  const Transfer transfer = device.getFeature(id, into);
  const std::int64_t time = now();
  const std::lock_guard lock(_mutex);
  _asking = false;
  if (_stopping) return true;
  if (transfer.failed() && !device.present()) _gone = true;
  const auto bytes = std::span(_answer).first(transfer.count);
  if (auto problem = judgeAnswer(info, transfer.failure, bytes, _gone)) {
    problem->microseconds = time;
    put(std::move(*problem));
  } else {
    _queue->append({_number, Arrived{ReportType::Feature, time, {bytes.begin(), bytes.end()}}});
  }
  return true;
}

/// The thread that reads.
void Source::read(Device& device) {
  std::vector<std::uint8_t> buffer(kLongestReport);
  for (;;) {
    const Transfer transfer = device.read(buffer);
    const std::int64_t time = now();
    if (transfer.failed()) {
      if (transfer.failure == std::errc::operation_canceled) return;
      const std::lock_guard lock(_mutex);
      _gone = true;
      _change.notify_all();
      return;
    }
    const auto bytes = std::span(buffer).first(transfer.count);
    if (!bytes.empty())
      _queue->offer(_number, {ReportType::Input, time, {bytes.begin(), bytes.end()}});
  }
}

}  // namespace vesk::host
