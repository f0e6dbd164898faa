#include "host/KnownReports.h"

#include <utility>

namespace vesk::host {

KnownReports::KnownReports(std::vector<ReportInfo> reports) : _all(std::move(reports)) {
  for (const ReportInfo& info : _all)
    if (info.id < kReportIds) _byType[static_cast<std::size_t>(info.type)][info.id] = &info;
}

const ReportInfo* KnownReports::find(std::uint32_t id, ReportType type) const {
  return id < kReportIds ? _byType[static_cast<std::size_t>(type)][id] : nullptr;
}

const ReportInfo* KnownReports::find(std::uint32_t id, std::optional<ReportType> type) const {
  if (type) return find(id, *type);
  const ReportInfo* feature = find(id, ReportType::Feature);
  return feature != nullptr ? feature : find(id, ReportType::Input);
}

}  // namespace vesk::host
