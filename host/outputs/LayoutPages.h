/// The layouts of all reports, as `vesk-decode --layout` shows them: tables for people, records for
/// programs.
#pragma once

#include <span>
#include <string>

#include "host/KnownReports.h"
#include "host/layout/LayoutMap.h"

namespace vesk::host {

/// A kind of report, and the map that was found of it.
struct KindLayout {
  const ReportInfo* info;
  LayoutMap map;
};

/// A table for each kind. `elements` gives each element of an array a row of its own.
std::string layoutTables(std::span<const KindLayout> kinds, bool elements, bool colours);

/// A JSON record for each kind, as vesk-ndjson(5) tells them: a line each, or all in one array.
std::string layoutRecords(std::span<const KindLayout> kinds, bool elements, bool inArray);

}  // namespace vesk::host
