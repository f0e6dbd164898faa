/// What became of the numbers that count, between two reports that follow each other from one sender.
///
/// - A counter that is larger grew. With times it has a rate a second.
/// - One of 32 bits that is smaller wrapped if the way over its largest value is below a sixteenth of
///   its range, 2^28: from 4294967290 to 5 are 11 steps.
/// - Any other one that is smaller fell.
///
/// A fall by itself says that the counter counts anew, and not why: PACKET_ID does so with each dump.
/// Where a time fell, the firmware started again. Where two counters or more fell at once, it did so
/// or has cleared them. After either, nothing is taken for wrapped, and nothing has a rate.
///
/// The number that the reports of a stream carry may be from before: reports come late. Where it is
/// less than 64 behind, as far as --stats calls a report late, it fell and no more is concluded.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "host/KnownReports.h"
#include "host/changes/Changes.h"

namespace vesk::host {

enum class Restart : std::uint8_t {
  None,      // as far as is known
  Counters,  // several counters fell: the firmware started again, or cleared them
  Firmware,  // a time fell: it started again
};

/// Notes which of the numbers that changed are bits.
void noteBits(const ReportInfo& info, std::vector<Change>& changes);

/// Notes courses and rates. `seconds` is from one report to the other, where that is known.
Restart noteCourses(const ReportInfo& info, std::optional<double> seconds,
                    std::vector<Change>& changes);

}  // namespace vesk::host
