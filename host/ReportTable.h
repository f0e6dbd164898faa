/// The plug-in's report tables, as the host looks things up in them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/Report.h"

namespace vesk::host {

struct ReportKind {
  std::uint32_t id;
  ReportType type;
  std::string decoder;
  std::optional<std::string> displayName;
  std::size_t smallest;  // bytes that the decoder reads at least
  bool exactLength;      // every other length is refused
  bool nulTerminated;    // text from byte 1 to the first NUL
};

class ReportTable {
 public:
  explicit ReportTable(std::vector<ReportKind> kinds);
  ReportTable(const ReportTable&) = delete;
  ReportTable& operator=(const ReportTable&) = delete;

  /// The kind of a report of this ID and type; null if no decoder knows it.
  const ReportKind* find(std::uint32_t id, ReportType type) const;

  /// The same where the type isn't known: it is the one whose table has the ID.
  const ReportKind* find(std::uint32_t id, std::optional<ReportType> type) const;

  const std::vector<ReportKind>& kinds() const { return _kinds; }

 private:
  static constexpr std::size_t kIds = 256;  // an ID is the first byte of its report

  std::vector<ReportKind> _kinds;
  std::array<std::array<const ReportKind*, kIds>, 3> _byType{};
};

}  // namespace vesk::host
