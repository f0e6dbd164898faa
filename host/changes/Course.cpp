#include "host/changes/Course.h"

#include "host/changes/Meaning.h"

namespace vesk::host {

namespace {

constexpr std::uint32_t kFarthestWrap = 1u << 28;
constexpr std::uint32_t kLate = 64;

struct Counting {
  NumberChange& change;
  WholeDifference& difference;
  Meaning meaning;
};

std::vector<Counting> countingAmong(const ReportInfo& info, std::vector<Change>& changes) {
  std::vector<Counting> counting;
  for (Change& change : changes) {
    auto* const number = std::get_if<NumberChange>(&change.what);
    if (number == nullptr || !number->difference) continue;
    const Meaning meaning = meaningOf(info, change.key, number->after.kind);
    if (meaning != Meaning::Counter && meaning != Meaning::Time) continue;
    if (auto* const difference = std::get_if<WholeDifference>(&*number->difference))
      counting.push_back({*number, *difference, meaning});
  }
  return counting;
}

/// The way from the old value over the largest one to the new one; only of 32 bits.
std::uint32_t wayOver(const NumberChange& change) {
  return static_cast<std::uint32_t>(change.after.value.u - change.before.value.u);
}

Course courseOf(const Counting& counting) {
  if (!counting.difference.negative) return Course::Grew;
  const bool wrapped =
      counting.change.after.kind == VESK_UNSIGNED_INT && wayOver(counting.change) < kFarthestWrap;
  return wrapped ? Course::Wrapped : Course::Fell;
}

/// Whether the number of the report itself is a little behind that of the one before; if it is, it
/// fell, also where that leads back over 0.
bool noteLate(const ReportInfo& info, std::vector<Change>& changes) {
  if (!info.counter) return false;
  for (Change& change : changes) {
    auto* const number = std::get_if<NumberChange>(&change.what);
    if (number == nullptr || change.key != info.counter->key ||
        number->after.kind != VESK_UNSIGNED_INT)
      continue;
    const std::uint32_t behind = 0u - wayOver(*number);
    if (behind >= kLate) return false;
    number->difference = WholeDifference{true, behind};
    number->course = Course::Fell;
    return true;
  }
  return false;
}

Restart restartOf(const std::vector<Counting>& counting) {
  int counters = 0;
  for (const Counting& entry : counting) {
    if (entry.change.course != Course::Fell) continue;
    if (entry.meaning == Meaning::Time) return Restart::Firmware;
    ++counters;
  }
  return counters >= 2 ? Restart::Counters : Restart::None;
}

}  // namespace

void noteBits(const ReportInfo& info, std::vector<Change>& changes) {
  for (Change& change : changes)
    if (auto* const number = std::get_if<NumberChange>(&change.what))
      number->isBits = meaningOf(info, change.key, number->after.kind) == Meaning::Bits;
}

Restart noteCourses(const ReportInfo& info, std::optional<double> seconds,
                    std::vector<Change>& changes) {
  const bool late = noteLate(info, changes);
  const std::vector<Counting> counting = countingAmong(info, changes);
  for (const Counting& entry : counting) entry.change.course = courseOf(entry);
  const Restart restart = late ? Restart::None : restartOf(counting);
  for (const Counting& entry : counting) {
    if (entry.change.course == Course::Wrapped) {
      if (restart == Restart::None)
        entry.difference = {false, wayOver(entry.change)};
      else
        entry.change.course = Course::Fell;
    }
    if (seconds && *seconds > 0 && restart == Restart::None && entry.change.course != Course::Fell)
      entry.change.rate = static_cast<double>(entry.difference.magnitude) / *seconds;
  }
  return restart;
}

}  // namespace vesk::host
