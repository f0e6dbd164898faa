/// Report descriptors: which reports a device declares, and how long they are.
///
///     const DeclaredReports declared = parseDescriptor(device.descriptor());
///     declared.bits(ReportType::Feature, 0xDE);  // 8: one byte behind the ID
#pragma once

#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "host/Report.h"

namespace vesk::host {

/// What a report descriptor declares. Reports of a device without IDs are those of ID 0.
class DeclaredReports {
 public:
  bool declares(ReportType type, std::uint32_t id) const {
    return id < kReportIds && _declared[static_cast<std::size_t>(type)][id];
  }

  /// Bits of a report behind its ID; 0 for one that isn't declared, and never more than
  /// kMostBits.
  std::uint64_t bits(ReportType type, std::uint32_t id) const {
    return id < kReportIds ? _bits[static_cast<std::size_t>(type)][id] : 0;
  }

  /// Whether its reports have IDs.
  bool usesIds() const { return _usesIds; }

  /// What is wrong with the descriptor, for people; what it declares before that is declared.
  const std::optional<std::string>& damage() const { return _damage; }

  /// Declares `count` more fields of `size` bits each of a report whose ID is below kReportIds.
  void add(ReportType type, std::uint32_t id, std::uint64_t size, std::uint64_t count);

  /// No report is that long: a descriptor may claim what it likes.
  static constexpr std::uint64_t kMostBits = std::uint64_t{8} * kLongestReport;

 private:
  friend DeclaredReports parseDescriptor(std::span<const std::uint8_t> descriptor);

  std::array<std::array<std::uint64_t, kReportIds>, kReportTypes> _bits{};
  std::array<std::bitset<kReportIds>, kReportTypes> _declared{};
  bool _usesIds = false;
  std::optional<std::string> _damage;
};

/// Reads any bytes; takes time and memory by their number.
DeclaredReports parseDescriptor(std::span<const std::uint8_t> descriptor);

}  // namespace vesk::host
