/// Where a report came from, in a line for people.
#pragma once

#include <string>
#include <string_view>

#include "host/KnownReports.h"
#include "host/Report.h"

namespace vesk::host {

/// "# a.hid:7, 1700000000.000000 s, report 0xD0 (feature), parseVersion, 8 bytes", without control
/// characters.
std::string originLine(std::string_view file, const Report& report, const ReportInfo& info);

}  // namespace vesk::host
