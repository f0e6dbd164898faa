/// All live devices of a run, as one stream of what comes from them.
///
///     Live live(std::move(operands), settings, known, backend, wait);
///     while (const auto item = live.next()) ...
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/live/Source.h"

namespace vesk::host {

/// A report, something that is wrong, or something that people should know; and whose it is.
struct LiveItem {
  std::variant<Report, Problem, Remark> what;
  std::string_view name;  // the device's node or, where it wasn't found, how it was named
};

class Live {
 public:
  using Clock = std::chrono::steady_clock;

  /// Waits until a descriptor is readable, or until a time; false if the run is to end. Called when
  /// nothing is there to decode: the moment to hand out what is finished.
  using Wait = std::function<bool(int descriptor, std::optional<Clock::time_point> until)>;

  /// Begins with all devices at once. Reports and backend must outlive it.
  Live(std::vector<LiveOperand> operands, const LiveSettings& settings, const KnownReports& known,
       Backend& backend, Wait wait, std::size_t queueLimit = MessageQueue::kLimit);
  ~Live();
  Live(const Live&) = delete;
  Live& operator=(const Live&) = delete;

  /// The next one, whose views live until the one after it; none when every device is finished, the
  /// time is over or the run is to end.
  std::optional<LiveItem> next();

  /// Ends the reading. The devices that reports point to stay as long as this lives.
  void stop();

 private:
  /// What is known of a device, by the thread that decodes.
  struct Stream {
    std::string name;
    HidDevice device;
    std::string preamble;  // not handed out yet
    std::uint64_t reports = 0;
    bool isConnected = false;
    bool isFinished = false;
    bool isWhole = false;  // and it was finished before the time was over
    bool isTold = false;   // if it was not
  };

  std::optional<LiveItem> itemOf(Message message);
  std::optional<LiveItem> cutShort();
  bool allFinished() const;

  const LiveSettings _settings;
  const Wait _wait;
  const std::shared_ptr<MessageQueue> _queue;
  std::optional<Clock::time_point> _end;
  std::vector<std::shared_ptr<Source>> _sources;
  std::vector<Stream> _streams;
  std::vector<std::uint8_t> _bytes;  // of the report handed out last
  std::string _preamble;
  bool _timeIsOver = false;
};

}  // namespace vesk::host
