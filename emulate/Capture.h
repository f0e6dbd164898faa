/// What a device does that is made from a capture: the feature reports that it answers with, the input
/// reports that it sends, and what it says it is.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/KnownReports.h"
#include "host/Report.h"
#include "host/inputs/Forms.h"
#include "host/inputs/Input.h"

namespace vesk::emulate {

using Bytes = std::vector<std::uint8_t>;

/// Between input reports that have no times: 120 a second.
inline constexpr std::chrono::nanoseconds kUsualDistance{1'000'000'000 / 120};

/// A capture can't be read, or has nothing that a device could do.
class CaptureFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a device says it is.
struct Identity {
  std::uint16_t bus = 3;  // USB
  std::uint16_t vendor = 0x1209;
  std::uint16_t product = 0x0001;
  std::string name = "Vesk controller";
  std::string physical;  // where it is plugged in
  std::string serial = "EMULATED";
  Bytes descriptor;  // of its reports
};

struct InputReport {
  Bytes bytes;

  /// After the one before; of the first, after the capture's first report of any type.
  std::chrono::nanoseconds distance;
};

struct Capture {
  std::array<std::vector<Bytes>, host::kReportIds> features;  // in their order, by their ID
  std::vector<InputReport> inputs;
  Identity identity;

  /// From the last input report to the first, when it is played again: the mean distance.
  std::chrono::nanoseconds turn() const;
};

/// How a capture is to be read.
struct HowToRead {
  const host::InputForm* form = nullptr;  // null: by the content
  host::UsbSelection usb = {};
};

/// Reads `file`, or standard input for "-". What is wrong in it is told to `complain`, one line each,
/// and left out. Throws CaptureFault.
Capture readCapture(const std::string& file, const HowToRead& how, const host::KnownReports& known,
                    const std::function<void(const std::string& line)>& complain);

/// Whether a report descriptor is one, and declares report IDs: without them a host takes a report's
/// first byte for data.
bool declaresReportIds(std::span<const std::uint8_t> descriptor);

/// A report descriptor that declares the capture's reports as vendor-defined bytes, of each ID and type
/// the longest. Throws CaptureFault if there are more than a descriptor may declare.
Bytes makeDescriptor(const Capture& capture);

}  // namespace vesk::emulate
