/// What `--list-devices` shows.
#pragma once

#include <string>
#include <system_error>
#include <vector>

#include "host/KnownReports.h"
#include "host/live/Device.h"

namespace vesk::host {

/// A device of the list, and whether it can be used.
struct DeviceRow {
  HidDevice device;
  std::size_t known = 0;  // reports that it declares and the tables know
  bool usesIds = true;
  std::errc failure{};  // why it can't be opened
};

/// All devices, each of them opened for a moment.
std::vector<DeviceRow> surveyDevices(Backend& backend, const KnownReports& known);

/// A table for people, with its columns' names. `total` is how many reports the tables know.
std::string deviceTable(const std::vector<DeviceRow>& rows, std::size_t total);

/// A record each, as lines or as one array.
std::string deviceRecords(const std::vector<DeviceRow>& rows, std::size_t total, bool asArray);

}  // namespace vesk::host
