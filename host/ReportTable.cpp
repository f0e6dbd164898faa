#include "host/ReportTable.h"

#include <utility>

namespace vesk::host {

ReportTable::ReportTable(std::vector<ReportKind> kinds) : _kinds(std::move(kinds)) {
  for (const ReportKind& kind : _kinds)
    if (kind.id < kIds) _byType[static_cast<std::size_t>(kind.type)][kind.id] = &kind;
}

const ReportKind* ReportTable::find(std::uint32_t id, ReportType type) const {
  return id < kIds ? _byType[static_cast<std::size_t>(type)][id] : nullptr;
}

const ReportKind* ReportTable::find(std::uint32_t id, std::optional<ReportType> type) const {
  if (type) return find(id, *type);
  const ReportKind* feature = find(id, ReportType::Feature);
  return feature != nullptr ? feature : find(id, ReportType::Input);
}

}  // namespace vesk::host
