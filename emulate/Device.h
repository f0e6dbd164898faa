/// An emulated device: answers and sends what its capture holds, and misbehaves as it is told.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include "emulate/Behaviour.h"
#include "emulate/Capture.h"
#include "emulate/EventLoop.h"
#include "emulate/Port.h"

namespace vesk::emulate {

/// What came to pass, for --stats.
struct Counts {
  std::uint64_t requests = 0;  // for reports
  std::uint64_t sent = 0;      // input reports, each once, however many read it
  std::uint64_t dropped = 0;   // by a reader's full queue
  std::uint64_t writes = 0;
};

class Device final : public DeviceSide {
 public:
  /// All must outlive the device.
  Device(EventLoop& loop, const Capture& capture, const Behaviour& behaviour, Port& port);

  /// Plugs the device in, or sees to it that it will be.
  void start();

  const Counts& counts() const { return _counts; }
  std::string name() const { return _port.name(); }

  int mayOpen() override;
  void opened() override;
  void closed() override;
  void ask(host::ReportType type, std::uint8_t id, Reply reply) override;
  void written() override { ++_counts.writes; }

 private:
  using Clock = EventLoop::Clock;

  void plug();
  void unplug();
  void sendDue();
  void sendNext();
  void waitForRoom();
  void goOn(Clock::time_point due);
  std::chrono::nanoseconds distanceToNext() const;
  bool atEnd() const { return _next == _capture.inputs.size(); }
  Bytes featureReport(std::uint8_t id);
  Bytes inputReport(std::uint8_t id) const;
  const Fault* fault(std::uint8_t id, Fault::Kind kind) const;
  void answer(std::uint8_t id, Bytes report, const Reply& reply);

  EventLoop& _loop;
  const Capture& _capture;
  const Behaviour& _behaviour;
  Port& _port;
  Counts _counts;
  bool _present = false;
  bool _open = false;
  std::uint64_t _plugged = 0;  // how many times

  std::size_t _next = 0;  // of the input reports
  std::optional<EventLoop::Timer> _timer;
  Clock::time_point _due;             // of the next one, while the device is open
  std::chrono::nanoseconds _left;     // until it is due, while the device isn't
  std::chrono::nanoseconds _pause{};  // while there is no room

  std::array<std::size_t, host::kReportIds> _nextFeature{};
  bool _unplugged = false;  // once is enough
};

}  // namespace vesk::emulate
