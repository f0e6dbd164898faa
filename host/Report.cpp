#include "host/Report.h"

#include <array>
#include <cstdio>

namespace vesk::host {

namespace {

constexpr auto kTypeNames = std::to_array<std::string_view>({"input", "output", "feature"});
static_assert(kTypeNames.size() == kReportTypes);

}  // namespace

std::string_view nameOf(ReportType type) { return kTypeNames[static_cast<std::size_t>(type)]; }

std::optional<ReportType> reportTypeNamed(std::string_view name) {
  for (std::size_t i = 0; i < kTypeNames.size(); ++i)
    if (kTypeNames[i] == name) return static_cast<ReportType>(i);
  return std::nullopt;
}

std::string_view nameOf(Place::Unit unit) {
  switch (unit) {
    case Place::Unit::File:
      break;
    case Place::Unit::Line:
      return "line";
    case Place::Unit::Packet:
      return "packet";
    case Place::Unit::Offset:
      return "offset";
    case Place::Unit::Report:
      return "report";
  }
  return "";
}

std::string describe(std::string_view file, const Place& place) {
  std::string text(file);
  switch (place.unit) {
    case Place::Unit::File:
      return text;
    case Place::Unit::Line:
      text += ':';
      break;
    case Place::Unit::Packet:
      text += ": packet ";
      break;
    case Place::Unit::Offset:
      text += ": byte ";
      break;
    case Place::Unit::Report:
      text += ": report ";
      break;
  }
  return text + std::to_string(place.number);
}

std::string describe(const UsbSender& sender) {
  return "device " + std::to_string(sender.bus) + ":" + std::to_string(sender.device) +
         ", endpoint " + std::to_string(sender.endpointNumber());
}

std::string idsText(const HidDevice& device) {
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "%04x:%04x", device.vendor, device.product);
  return text.data();
}

std::string describe(const HidDevice& device) {
  std::string text = device.node + " (" + idsText(device);
  if (!device.name.empty()) text += " \"" + device.name + "\"";
  if (!device.serial.empty()) text += ", serial " + device.serial;
  return text + ")";
}

std::string describe(std::uint32_t id, std::optional<ReportType> type) {
  std::array<char, 24> name;
  std::snprintf(name.data(), name.size(), "report 0x%02X", id);
  std::string text = name.data();
  if (type) text.append(" (").append(nameOf(*type)).append(")");
  return text;
}

std::string countedBytes(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " byte" : " bytes");
}

}  // namespace vesk::host
