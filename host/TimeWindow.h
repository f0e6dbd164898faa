/// A part of a capture's time.
///
///     const TimeWindow night{momentFrom("2023-11-14T22:13:20Z"), momentFrom("1700000600")};
///     night.judge(report.microseconds) == TimeWindow::Verdict::Inside
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace vesk::host {

/// From one moment to another, both of them in it; one that is absent is no bound. Moments are in
/// microseconds, as reports have them.
struct TimeWindow {
  std::optional<std::int64_t> from;
  std::optional<std::int64_t> to;

  bool isBounded() const { return from || to; }

  enum class Verdict : std::uint8_t { Inside, Outside, Untimed };

  /// Everything is inside of a window without bounds, also what has no time.
  Verdict judge(std::optional<std::int64_t> microseconds) const {
    if (!isBounded()) return Verdict::Inside;
    if (!microseconds) return Verdict::Untimed;
    const bool isInside = (!from || *from <= *microseconds) && (!to || *microseconds <= *to);
    return isInside ? Verdict::Inside : Verdict::Outside;
  }
};

/// A moment as people write it, in microseconds: seconds, "12.5", as the capture counts them, or
/// ISO 8601 with its zone, "2023-11-14T22:13:20.25Z" or "2023-11-14T23:13:20+01:00", whose seconds may
/// be left out. Decimals behind the sixth are cut off, as those of captures are. Nothing for what is
/// neither.
std::optional<std::int64_t> momentFrom(std::string_view text);

}  // namespace vesk::host
