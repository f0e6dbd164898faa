#include "host/live/DeviceList.h"

#include <algorithm>
#include <array>

#include "host/live/Descriptor.h"
#include "host/live/Names.h"
#include "host/live/Requests.h"
#include "host/writing/JsonWriter.h"
#include "host/writing/Terminal.h"
#include "host/writing/Utf8.h"

namespace vesk::host {

namespace {

constexpr std::size_t kColumns = 6;
using Cells = std::array<std::string, kColumns>;

std::string reportsText(const DeviceRow& row, std::size_t total) {
  if (!row.usesIds) return "no report IDs";
  return std::to_string(row.known) + " of " + std::to_string(total) + " reports";
}

/// The cells of rows below each other, without blanks at the lines' ends.
std::string aligned(const std::vector<Cells>& rows) {
  std::array<std::size_t, kColumns> widths{};
  for (const Cells& cells : rows)
    for (std::size_t i = 0; i < kColumns; ++i) widths[i] = std::max(widths[i], cells[i].size());
  std::string text;
  for (const Cells& cells : rows) {
    std::string line;
    for (std::size_t i = 0; i < kColumns; ++i)
      line.append(cells[i]).append(widths[i] - cells[i].size() + 2, ' ');
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

}  // namespace

std::vector<DeviceRow> surveyDevices(Backend& backend, const KnownReports& known) {
  std::vector<DeviceRow> rows;
  for (ListedDevice& listed : backend.list()) {
    const Opening opening = backend.open(listed.device.node);
    DeviceRow row;
    row.device = std::move(listed.device);
    row.failure = opening.failure;
    if (!opening.device && row.failure == std::errc{}) row.failure = std::errc::no_such_device;
    const auto descriptor = opening.device ? opening.device->descriptor()
                                           : std::span<const std::uint8_t>(listed.descriptor);
    const DeclaredReports declared = parseDescriptor(descriptor);
    row.known = countKnown(known, declared);
    row.usesIds = declared.usesIds();
    rows.push_back(std::move(row));
  }
  return rows;
}

std::string deviceTable(const std::vector<DeviceRow>& rows, std::size_t total) {
  std::vector<Cells> cells = {{"NODE", "BUS", "VID:PID", "KNOWN", "SERIAL", "NAME"}};
  for (const DeviceRow& row : rows) {
    std::string name = printable(row.device.name);
    if (row.failure != std::errc{})
      name += std::string(name.empty() ? "" : "  ") + "(" + openingFault(row.failure) + ")";
    const std::string serial = printable(row.device.serial);
    cells.push_back({printable(row.device.node),
                     busText(row.device),
                     idsText(row.device),
                     reportsText(row, total),
                     serial.empty() ? "-" : serial,
                     name});
  }
  return aligned(cells);
}

std::string deviceRecords(const std::vector<DeviceRow>& rows, std::size_t total, bool asArray) {
  JsonWriter record;
  std::string text = asArray ? "[" : "";
  for (const DeviceRow& row : rows) {
    record.clear();
    record.beginObject();
    record.member("format_version", 1u);
    record.key("hid_device");
    record.beginObject();
    record.member("file", asUtf8(row.device.node));
    record.member("bus_type", row.device.bus);
    record.member("product", asUtf8(row.device.name));
    record.member("vendor_id", row.device.vendor);
    record.member("product_id", row.device.product);
    record.member("serial", asUtf8(row.device.serial));
    record.key("uses_ids");
    record.boolean(row.usesIds);
    record.member("known_reports", row.known);
    record.member("all_reports", total);
    if (row.failure != std::errc{}) record.member("failure", openingFault(row.failure));
    record.endObject();
    record.endObject();
    if (asArray) text += &row == &rows.front() ? "\n" : ",\n";
    text += record.text();
    if (!asArray) text += '\n';
  }
  return asArray ? text + "\n]\n" : text;
}

}  // namespace vesk::host
