/// Which feature reports a live device is asked for, and what its answers mean.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/KnownReports.h"
#include "host/Problem.h"
#include "host/Selection.h"
#include "host/live/Descriptor.h"
#include "host/live/Device.h"

namespace vesk::host {

/// The feature reports to ask for, in the order of the tables, and what people should know of how
/// they were chosen.
struct RequestPlan {
  std::vector<const ReportInfo*> reports;
  std::vector<std::string> remarks;
};

/// A chosen report is asked for whether or not it is declared; others only if it is, or if the
/// device declares no IDs.
RequestPlan planRequests(const KnownReports& known, const DeclaredReports& declared,
                         const Selection& selection);

/// The feature reports that the tables know and `selection` chooses, whatever a device declares.
std::size_t choosable(const KnownReports& known, const Selection& selection);

/// How many bytes to ask for: as the table says, or `most` for a text, which has no length.
std::size_t lengthAsked(const ReportInfo& info, std::size_t most);

/// What is wrong with the answer to a request for `info`, if anything: it failed, or `bytes` are
/// none or those of another report. `gone` says that the device isn't plugged in any more.
std::optional<Problem> judgeAnswer(const ReportInfo& info, std::errc failure,
                                   std::span<const std::uint8_t> bytes, bool gone);

/// How many of the reports that the tables know a device declares.
std::size_t countKnown(const KnownReports& known, const DeclaredReports& declared);

/// Why a device can't be opened, and what to do about it.
std::string openingFault(std::errc failure);

}  // namespace vesk::host
