/// Which reports are wanted, as --report, --type, --from and --to say it.
///
///     const Selection images{.ids = {0x76}, .window = {momentFrom("10"), momentFrom("20")}};
///     images.has(report) && images.window.judge(report.microseconds) == TimeWindow::Verdict::Inside
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/Problem.h"
#include "host/Report.h"
#include "host/TimeWindow.h"

namespace vesk::host {

struct Selection {
  std::vector<std::uint32_t> ids = {};  // none: all
  std::optional<ReportType> type = {};  // none: all
  TimeWindow window = {};

  bool has(std::uint32_t id) const;
  bool has(ReportType wanted) const { return !type || *type == wanted; }

  /// Whether a report is wanted, whatever its time is.
  bool has(const Report& report) const;

  /// Whether a problem is one with what is wanted. Where it isn't known which report it is with, or
  /// when that came, it may be a wanted one.
  bool has(const Problem& problem) const;
};

}  // namespace vesk::host
