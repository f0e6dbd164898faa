#include "emulate/Device.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vesk::emulate {

namespace {

using namespace std::chrono_literals;

/// After so long the kernel gives a request to a USB device up.
constexpr std::chrono::nanoseconds kRequestTimeout = 5s;

// How long the device waits between two looks for room in a reader's queue: short while it is read,
// longer and longer while it is not.
constexpr std::chrono::nanoseconds kShortestPause = 50us;
constexpr std::chrono::nanoseconds kLongestPause = 5ms;

// So many reports at once, and then others get their turn.
constexpr int kMostAtOnce = 64;

constexpr std::chrono::nanoseconds kNow{0};

}  // namespace

Device::Device(EventLoop& loop, const Capture& capture, const Behaviour& behaviour, Port& port)
    : _loop(loop),
      _capture(capture),
      _behaviour(behaviour),
      _port(port),
      _left(capture.inputs.empty() ? kNow : distanceToNext()) {}

void Device::start() {
  if (!_behaviour.appearAfter) return plug();
  _loop.at(Clock::now() + *_behaviour.appearAfter, [this] { plug(); });
}

void Device::plug() {
  _present = true;
  ++_plugged;
  _port.plug(*this);
}

void Device::unplug() {
  closed();
  _present = false;
  _unplugged = true;
  _port.unplug();
  if (_behaviour.returnAfter) _loop.at(Clock::now() + *_behaviour.returnAfter, [this] { plug(); });
}

int Device::mayOpen() { return _behaviour.refuse ? EACCES : 0; }

// ------------------------------------------------------------------------------------ input reports

void Device::opened() {
  if (std::exchange(_open, true) || atEnd()) return;
  goOn(Clock::now() + _left);
}

/// Nobody listens: what is to be sent waits, with its distance in time.
void Device::closed() {
  if (!std::exchange(_open, false) || !_timer) return;
  _loop.cancel(*_timer);
  _timer.reset();
  _left = std::max<std::chrono::nanoseconds>(_due - Clock::now(), kNow);
}

void Device::goOn(Clock::time_point due) {
  _due = due;
  _timer = _loop.at(due, [this] { sendDue(); });
}

std::chrono::nanoseconds Device::distanceToNext() const {
  switch (_behaviour.pace) {
    case Behaviour::Pace::AsFastAsPossible:
      return kNow;
    case Behaviour::Pace::Even:
      return _counts.sent == 0 ? kNow : _behaviour.distance;
    case Behaviour::Pace::AsCaptured:
      break;
  }
  return _next == 0 && _counts.sent != 0 ? _capture.turn() : _capture.inputs[_next].distance;
}

/// What is due, also if it should have gone out already: none is left out because this came late.
void Device::sendDue() {
  _timer.reset();
  for (int i = 0; i < kMostAtOnce && _due <= Clock::now(); ++i) {
    if (_behaviour.pace == Behaviour::Pace::AsFastAsPossible && !_port.hasRoom())
      return waitForRoom();
    sendNext();
    if (!_open || atEnd()) return;  // unplugged, or silent from now on
    _due += distanceToNext();
  }
  goOn(_due);
}

void Device::waitForRoom() {
  _pause = std::clamp(_pause * 2, kShortestPause, kLongestPause);
  goOn(Clock::now() + _pause);
}

void Device::sendNext() {
  _pause = kNow;
  ++_counts.sent;
  _counts.dropped += _port.send(_capture.inputs[_next].bytes);
  if (++_next == _capture.inputs.size() && _behaviour.loop) _next = 0;
  if (!_unplugged && _counts.sent == _behaviour.unplugAfter) {
    _left = atEnd() ? kNow : distanceToNext();
    unplug();
  }
}

// ----------------------------------------------------------------------------------------- requests

const Fault* Device::fault(std::uint8_t id, Fault::Kind kind) const {
  for (const Fault& fault : _behaviour.faults)
    if (fault.id == id && fault.kind == kind) return &fault;
  return nullptr;
}

/// The next of this ID. After the last one, that again, or the first.
Bytes Device::featureReport(std::uint8_t id) {
  const std::vector<Bytes>& reports = _capture.features[id];
  if (reports.empty()) return {};
  std::size_t& next = _nextFeature[id];
  const Bytes& report = reports[next];
  if (next + 1 < reports.size())
    ++next;
  else if (_behaviour.loop)
    next = 0;
  return report;
}

/// The one of this ID that was sent last, or else the first that will be.
Bytes Device::inputReport(std::uint8_t id) const {
  const auto isIt = [&](const InputReport& report) { return report.bytes.front() == id; };
  const std::vector<InputReport>& inputs = _capture.inputs;
  for (std::size_t i = _next; i != 0; --i)
    if (isIt(inputs[i - 1])) return inputs[i - 1].bytes;
  const auto found = std::ranges::find_if(inputs, isIt);
  return found == inputs.end() ? Bytes() : found->bytes;
}

void Device::ask(host::ReportType type, std::uint8_t id, Reply reply) {
  ++_counts.requests;
  if (type == host::ReportType::Input) {
    const Bytes report = inputReport(id);
    return reply(report.empty() ? EPIPE : 0, report);
  }
  if (type != host::ReportType::Feature) return reply(EPIPE, {});
  if (!_unplugged && fault(id, Fault::Kind::Gone) != nullptr) return unplug();

  const Fault* const late = fault(id, Fault::Kind::Late);
  if (late == nullptr) return answer(id, featureReport(id), reply);
  const bool inTime = late->delay < kRequestTimeout;
  const auto then = Clock::now() + std::min(late->delay, kRequestTimeout);
  _loop.at(then, [this, id, inTime, plugged = _plugged, reply = std::move(reply)] {
    if (!_present || plugged != _plugged) return;
    if (inTime)
      answer(id, featureReport(id), reply);
    else
      reply(ETIMEDOUT, {});
  });
}

void Device::answer(std::uint8_t id, Bytes report, const Reply& reply) {
  constexpr std::size_t kMore = 8;
  if (report.empty() || fault(id, Fault::Kind::Stall) != nullptr) return reply(EPIPE, {});
  if (fault(id, Fault::Kind::OtherId) != nullptr) ++report.front();
  if (fault(id, Fault::Kind::Short) != nullptr) report.resize(report.size() / 2);
  if (fault(id, Fault::Kind::Long) != nullptr) report.resize(report.size() + kMore);
  if (fault(id, Fault::Kind::Empty) != nullptr) report.clear();
  reply(0, report);
}

}  // namespace vesk::emulate
