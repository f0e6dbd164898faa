// Watchdog report 0xDF: how often and when the firmware's watchdog was fed.

#include "reports/decoder.h"

namespace vesk {

namespace {

struct WatchDogReport {
  u8 id;
  u32 feed_count;
  u64 feed_timestamp;  // microseconds
  u32 register_value;
  u32 wake_count;
  u32 sleep_count;
};
static_assert(sizeof(WatchDogReport) == layoutSize("parseWatchDogReport"));
static_assert(offsetof(WatchDogReport, feed_timestamp) == 5);
static_assert(offsetof(WatchDogReport, register_value) == 13);
static_assert(offsetof(WatchDogReport, sleep_count) == 21);

/// The time of the last feed in seconds, computed in single precision as the firmware's own tools
/// do: above 2^24 microseconds it is rounded.
double wallClock(const WatchDogReport& r) {
  return static_cast<float>(r.feed_timestamp.value()) * 1e-6f;
}

LineList lines(const WatchDogReport& r) {
  return LineList::of(line<"Watchdog Data:">(),
                      line<"    Feed Count:%u">(r.feed_count),
                      line<"Feed Timestamp:0x%016llX">(r.feed_timestamp),
                      line<"Feed Wallclock:%15.3f">(wallClock(r)),
                      line<"      Register:0x%08X">(r.register_value),
                      line<"          Wake:%u">(r.wake_count),
                      line<"         Sleep:%u">(r.sleep_count));
}

ReportObject object(const WatchDogReport& r) {
  return dictionary("Count"_key = r.feed_count,
                    // Signed, unlike the text.
                    "Timestamp"_key = static_cast<long long>(r.feed_timestamp.value()),
                    "Wallclock"_key = wallClock(r),
                    "Register"_key = r.register_value,
                    "Wake"_key = r.wake_count,
                    // Sleep in the text, Idle here: consumers know both names.
                    "Idle"_key = r.sleep_count);
}

}  // namespace

Result HIDReportVeskPlugin::parseWatchDogReport() {
  const auto& report = view<WatchDogReport>(report_buf());
  if (useStrings()) return lines(report);
  return object(report);
}

}  // namespace vesk
