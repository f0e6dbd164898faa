/// The reports that the plug-in decodes, as the host looks them up.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/Report.h"

namespace vesk::host {

/// What the plug-in says of a report that it decodes.
struct ReportInfo {
  /// The number that each report of a stream carries, one more than that of the one before it: 32
  /// bits, little-endian, and back at 0 after the largest.
  struct Counter {
    std::string key;     // of the object, "FRAME_NUMBER"
    std::size_t offset;  // in the report, from its ID
  };

  std::uint32_t id;
  ReportType type;
  std::string decoder;
  std::optional<std::string> displayName;
  std::size_t smallest;  // bytes that the decoder reads at least
  bool exactLength;      // every other length is refused
  bool nulTerminated;    // text from byte 1 to the first NUL
  std::optional<Counter> counter = {};
};

class KnownReports {
 public:
  explicit KnownReports(std::vector<ReportInfo> reports);
  KnownReports(const KnownReports&) = delete;
  KnownReports& operator=(const KnownReports&) = delete;

  /// What is known of a report of this ID and type; null if no decoder knows it.
  const ReportInfo* find(std::uint32_t id, ReportType type) const;

  /// The same where the type isn't known: a feature report if there is one of this ID, or else an
  /// input report.
  const ReportInfo* find(std::uint32_t id, std::optional<ReportType> type) const;

  /// In the plug-in's order.
  const std::vector<ReportInfo>& all() const { return _all; }

 private:
  std::vector<ReportInfo> _all;
  std::array<std::array<const ReportInfo*, kReportIds>, kReportTypes> _byType{};
};

}  // namespace vesk::host
