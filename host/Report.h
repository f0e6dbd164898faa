/// A report, as an input finds it and an output writes it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "plugin/vesk_plugin.h"

namespace vesk::host {

enum class ReportType : std::int32_t {
  Input = VESK_INPUT,
  Output = VESK_OUTPUT,
  Feature = VESK_FEATURE,
};

inline constexpr std::size_t kReportTypes = static_cast<std::size_t>(ReportType::Feature) + 1;

inline constexpr std::size_t kReportIds = 256;  // an ID is the first byte of its report

/// "input", "output" or "feature".
std::string_view nameOf(ReportType type);
std::optional<ReportType> reportTypeNamed(std::string_view name);

/// No report that a device sends is longer: a control transfer's length has 16 bits. What claims to
/// be longer is refused, which keeps memory bounded whatever an input says.
inline constexpr std::size_t kLongestReport = 65536;

/// Where in its file something stands. Lines, packets and the reports of a live device count from 1,
/// bytes from 0.
struct Place {
  enum class Unit : std::uint8_t { File, Line, Packet, Offset, Report };
  Unit unit = Unit::File;
  std::uint64_t number = 0;
};

/// "line", "packet", "offset", "report"; empty for a file as a whole.
std::string_view nameOf(Place::Unit unit);

/// "FILE:12", "FILE: packet 12", "FILE: byte 12", "FILE: report 12", or "FILE".
std::string describe(std::string_view file, const Place& place);

/// Who sent a report, where a capture can hold several devices.
struct UsbSender {
  std::uint16_t bus;
  std::uint16_t device;
  std::uint8_t endpoint;  // with its direction bit

  /// The endpoint's number, without that bit.
  unsigned endpointNumber() const { return endpoint & 0x0Fu; }

  bool operator==(const UsbSender&) const = default;
};

/// "device 1:5, endpoint 1"
std::string describe(const UsbSender& sender);

/// A HID device of this machine, as the system tells of it. Texts are as the device gives them, and
/// empty where it has none.
struct HidDevice {
  std::string node;       // "/dev/hidraw3"
  std::uint32_t bus = 0;  // as Linux counts them: 3 is USB
  std::uint16_t vendor = 0;
  std::uint16_t product = 0;
  std::string name;
  std::string path;  // where it is plugged in
  std::string serial;
};

/// "/dev/hidraw3 (1209:0001 \"Vesk controller\", serial A0042)", without what the device lacks.
std::string describe(const HidDevice& device);

/// "1209:0001"
std::string idsText(const HidDevice& device);

/// Which way a report goes. What a host writes is no news from the device.
enum class Direction : std::uint8_t { FromDevice, ToDevice };

/// One report as an input found it. The views live until the input is asked for the next item.
struct Report {
  std::span<const std::uint8_t> bytes;  // never empty; the first is the report ID
  std::optional<ReportType> type;       // none where the form has no place for it
  Place place;
  std::optional<std::int64_t> microseconds;
  std::string_view preamble;  // a recording's lines on the device, for those that write recordings
  std::optional<UsbSender> sender;
  Direction direction = Direction::FromDevice;
  const HidDevice* device = nullptr;  // the live one that it came from; outlives the outputs

  std::uint32_t id() const { return bytes.front(); }
};

/// "report 0xE1 (feature)", as messages name a report.
std::string describe(std::uint32_t id, std::optional<ReportType> type);

/// "1 byte", "2 bytes".
std::string countedBytes(std::uint64_t count);

}  // namespace vesk::host
