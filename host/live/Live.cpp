#include "host/live/Live.h"

#include <algorithm>
#include <utility>

namespace vesk::host {

Live::Live(std::vector<LiveOperand> operands, const LiveSettings& settings,
           const KnownReports& known, Backend& backend, Wait wait, std::size_t queueLimit)
    : _settings(settings),
      _wait(std::move(wait)),
      _queue(std::make_shared<MessageQueue>(operands.size(), queueLimit)),
      _streams(operands.size()) {
  if (settings.duration) _end = Clock::now() + *settings.duration;
  const auto claims = std::make_shared<NodeClaims>();
  for (std::size_t i = 0; i < operands.size(); ++i) {
    _streams[i].name = operands[i].name.text();
    _sources.push_back(std::make_shared<Source>(
        i, std::move(operands[i]), settings, known, backend, _queue, claims));
  }
  for (const auto& source : _sources) source->start();
}

Live::~Live() { stop(); }

void Live::stop() {
  for (const auto& source : _sources) source->stop();
}

bool Live::allFinished() const { return std::ranges::all_of(_streams, &Stream::isFinished); }

std::optional<LiveItem> Live::next() {
  for (;;) {
    if (!_timeIsOver && _end && Clock::now() >= *_end) {
      _timeIsOver = true;  // what came until now is still handed out
      stop();
    }
    if (auto message = _queue->take()) {
      if (auto item = itemOf(std::move(*message))) return item;
    } else if (_timeIsOver) {
      return cutShort();
    } else if (allFinished() || !_wait(_queue->descriptor(), _end)) {
      return std::nullopt;
    }
  }
}

/// What a message says to people and programs; nothing if that is for this class only.
std::optional<LiveItem> Live::itemOf(Message message) {
  Stream& stream = _streams[message.source];
  if (auto* const connected = std::get_if<Connected>(&message.what)) {
    const bool isFirst = !std::exchange(stream.isConnected, true);
    stream.device = std::move(connected->device);
    stream.name = stream.device.node;
    if (isFirst) stream.preamble = std::move(connected->preamble);
    return std::nullopt;
  }
  if (const auto* const finished = std::get_if<Finished>(&message.what)) {
    stream.isFinished = true;
    stream.isWhole = finished->isWhole;
    return std::nullopt;
  }
  if (auto* const remark = std::get_if<Remark>(&message.what))
    return LiveItem{std::move(*remark), stream.name};

  const HidDevice* const device = stream.isConnected ? &stream.device : nullptr;
  if (auto* const problem = std::get_if<Problem>(&message.what)) {
    problem->device = device;
    return LiveItem{std::move(*problem), stream.name};
  }
  if (const auto* const lost = std::get_if<Lost>(&message.what)) {
    Problem problem =
        problemAt({},
                  ProblemCode::LostReports,
                  std::to_string(lost->reports) + (lost->reports == 1 ? " report" : " reports") +
                      " lost here: the output is too slow, and the queue is full");
    problem.lost = lost->reports;
    problem.device = device;
    return LiveItem{std::move(problem), stream.name};
  }

  auto& arrived = std::get<Arrived>(message.what);
  _bytes = std::move(arrived.bytes);
  _preamble = std::exchange(stream.preamble, {});
  Report report;
  report.bytes = _bytes;
  report.type = arrived.type;
  report.place = {Place::Unit::Report, ++stream.reports};
  report.microseconds = arrived.microseconds;
  report.preamble = _preamble;
  report.device = device;
  return LiveItem{report, stream.name};
}

/// What the end of the time leaves undone, a device at a time.
std::optional<LiveItem> Live::cutShort() {
  for (Stream& stream : _streams) {
    if (stream.isWhole || std::exchange(stream.isTold, true)) continue;
    if (!stream.isConnected)
      return LiveItem{problemAt({},
                                ProblemCode::UnreadableInput,
                                "the device did not come in the time of --duration"),
                      stream.name};
    if (_settings.follow || _settings.every) continue;
    Problem problem = problemAt({},
                                ProblemCode::UnansweredRequest,
                                "not all feature reports came in the time of --duration");
    problem.device = &stream.device;
    return LiveItem{std::move(problem), stream.name};
  }
  return std::nullopt;
}

}  // namespace vesk::host
