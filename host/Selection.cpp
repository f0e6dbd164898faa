#include "host/Selection.h"

#include <algorithm>

namespace vesk::host {

bool Selection::has(std::uint32_t id) const {
  return ids.empty() || std::ranges::find(ids, id) != ids.end();
}

bool Selection::has(const Report& report) const {
  return (!type || report.type == type) && has(report.id());
}

bool Selection::has(const Problem& problem) const {
  if (window.judge(problem.microseconds) == TimeWindow::Verdict::Outside) return false;
  if (type && problem.reportType && problem.reportType != type) return false;
  return !problem.reportId || has(*problem.reportId);
}

}  // namespace vesk::host
