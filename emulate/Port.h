/// Where an emulated device is plugged in: what it says to a host, and what the host asks of it.
///
/// A port is made for one device and knows it as a DeviceSide; the device knows a Port. Neither calls
/// the other but as described here, and all in one thread.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>

#include "host/Report.h"

namespace vesk::emulate {

/// What a host may do with a device.
class DeviceSide {
 public:
  /// The outcome of a request: 0 and the report, or a number of errno.
  using Reply = std::function<void(int error, std::span<const std::uint8_t> report)>;

  virtual ~DeviceSide() = default;

  /// 0, or the number of errno with which opening fails.
  virtual int mayOpen() = 0;

  /// The first reader came, or the last one went.
  virtual void opened() = 0;
  virtual void closed() = 0;

  /// A report is asked for. `reply` is called once, at once or later, or never if the device is
  /// unplugged first.
  virtual void ask(host::ReportType type, std::uint8_t id, Reply reply) = 0;

  /// Something was written to the device, or a report set.
  virtual void written() = 0;
};

class Port {
 public:
  virtual ~Port() = default;

  /// The device is there. Throws std::system_error.
  virtual void plug(DeviceSide& device) = 0;

  /// It is not any more. Readers get what is queued for them, then an error. Requests that wait fail.
  virtual void unplug() = 0;

  /// Whether no reader would lose an input report that is sent now.
  virtual bool hasRoom() = 0;

  /// Sends an input report to each reader. Gives back how many readers had no room for it.
  virtual unsigned send(std::span<const std::uint8_t> report) = 0;

  /// "/dev/hidraw9", or what else people know it by.
  virtual std::string name() const = 0;
};

}  // namespace vesk::emulate
