// Power mode statistics 0xA9: for each mode, how long the firmware was in it and how often it
// entered.

#include "reports/decoder.h"

namespace vesk {

namespace {

struct PowerMode {
  u32 time;  // total, in milliseconds
  u32 entered;
};

struct PowerModeReport {
  u8 id;
  PowerMode init;
  PowerMode active;
  PowerMode timeout;
  PowerMode ready;
  PowerMode light_sleep;
};
static_assert(sizeof(PowerModeReport) == layoutSize("parsePowerModeStats"));

LineList lines(const PowerModeReport& r) {
  return LineList::of(line<"Power Mode Statistics - Total Time:">(),
                      line<"INIT        : %12u ms">(r.init.time),
                      line<"ACTIVE      : %12u ms">(r.active.time),
                      line<"TIMEOUT     : %12u ms">(r.timeout.time),
                      line<"READY       : %12u ms">(r.ready.time),
                      line<"LIGHT_SLEEP : %12u ms">(r.light_sleep.time),
                      line<"">(),
                      line<"Power Mode Statistics - Number of Times Entered:">(),
                      line<"INIT        : %u">(r.init.entered),
                      line<"ACTIVE      : %u">(r.active.entered),
                      line<"TIMEOUT     : %u">(r.timeout.entered),
                      line<"READY       : %u">(r.ready.entered),
                      line<"LIGHT_SLEEP : %u">(r.light_sleep.entered));
}

ReportObject object(const PowerModeReport& r) {
  return dictionary("INIT time ms"_key = r.init.time,
                    "INIT times entered"_key = r.init.entered,
                    "ACTIVE time ms"_key = r.active.time,
                    "ACTIVE times entered"_key = r.active.entered,
                    "TIMEOUT time ms"_key = r.timeout.time,
                    "TIMEOUT times entered"_key = r.timeout.entered,
                    "READY time ms"_key = r.ready.time,
                    "READY times entered"_key = r.ready.entered,
                    "LIGHT_SLEEP time ms"_key = r.light_sleep.time,
                    "LIGHT_SLEEP times entered"_key = r.light_sleep.entered);
}

}  // namespace

Result HIDReportVeskPlugin::parsePowerModeStats() {
  const auto& report = view<PowerModeReport>(report_buf());
  if (useStrings()) return lines(report);
  return object(report);
}

}  // namespace vesk
