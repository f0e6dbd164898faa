/// What a live device looks like, whatever system it is plugged in to.
///
/// Hidraw.h is Linux's own. Another system's is a class behind each of the two interfaces here; its
/// failures are those of std::errc that tell the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "host/Report.h"

namespace vesk::host {

/// What became of asking for a report, or of waiting for one.
struct Transfer {
  std::size_t count = 0;  // bytes that came; never more than there was room for
  std::errc failure{};    // why none came

  bool failed() const { return failure != std::errc{}; }
};

/// A device that is open. Nothing here writes to it.
class Device {
 public:
  virtual ~Device() = default;
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  virtual const HidDevice& info() const = 0;

  /// Its report descriptor; empty where the system doesn't tell it.
  virtual std::span<const std::uint8_t> descriptor() const = 0;

  /// Asks for a feature report of `into.size()` bytes at most, its ID included, or of as many as
  /// the system can ask for if those are fewer. May take seconds. Any thread may call it while
  /// another one waits in read().
  virtual Transfer getFeature(std::uint8_t id, std::span<std::uint8_t> into) = 0;

  /// Waits for the next input report. Fails with operation_canceled behind cancel(), and with
  /// anything else where the device is gone.
  virtual Transfer read(std::span<std::uint8_t> into) = 0;

  /// Ends read(), now and from now on. Any thread may call it.
  virtual void cancel() = 0;

  /// Whether it is still plugged in.
  virtual bool present() = 0;

 protected:
  Device() = default;
};

/// A device that could be opened, or why not: no_such_file_or_directory where nothing has this
/// name. Neither: what has it is no HID device.
struct Opening {
  std::unique_ptr<Device> device;
  std::errc failure{};
};

/// A device as a list shows it, which need not be opened for that.
struct ListedDevice {
  HidDevice device;
  std::vector<std::uint8_t> descriptor;
};

/// The devices of a system. Any thread may call its members.
class Backend {
 public:
  virtual ~Backend() = default;
  Backend(const Backend&) = delete;
  Backend& operator=(const Backend&) = delete;

  /// All HID devices, in the order of their nodes.
  virtual std::vector<ListedDevice> list() = 0;

  /// Opens the HID device at `node`.
  virtual Opening open(const std::string& node) = 0;

 protected:
  Backend() = default;
};

}  // namespace vesk::host
