/// What is known of a number beyond its kind: whether it counts, tells a time, or is a row of bits.
///
/// An object doesn't say so, and a guess would give a wrong answer for the next report: "fell" is a
/// restart for a counter, and nothing at all for a level. So what is known stands in a table here, by
/// decoder and key. A number that it lacks is Plain, of which only what arithmetic says is told.
///
///     meaningOf(info, "FRAME_NUMBER", VESK_UNSIGNED_INT);  // Meaning::Counter
#pragma once

#include <cstdint>
#include <string_view>

#include "host/KnownReports.h"

namespace vesk::host {

enum class Meaning : std::uint8_t {
  Plain,    // a level, a setting, an ID; or nothing is known of it
  Counter,  // only grows, until it is back at 0 after its largest value or counts anew
  Time,     // the same of the time since the device started
  Bits,     // a mask or flags
};

/// Of the number of this key and kind (a vesk_kind) in a report.
Meaning meaningOf(const ReportInfo& info, std::string_view key, std::int32_t kind);

}  // namespace vesk::host
