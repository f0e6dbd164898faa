// Black box summary 0xE0: the severity, and a flag for each module that has black box content.

#include "plugin/HIDReportVeskPlugin.h"
#include "plugin/layouts.h"
#include "reports/blackbox/severity.h"

namespace vesk {

namespace {

struct SummaryReport {
  u8 id;
  u8 severity;  // bits 0 to 2: the level
  u16 module_count;
  u8 flags[3];  // bit n of the three: module n in the firmware's order
};
static_assert(sizeof(SummaryReport) == layout::kBlackBoxSummary);

/// The flag of the module of that index, 0 or 1.
unsigned char flag(const SummaryReport& r, unsigned module) {
  return r.flags[module / 8] >> module % 8 & 1;
}

LineList lines(const HIDReportVeskPlugin& plugin, const SummaryReport& r) {
  const char* level = nullptr;
  plugin.errorLevelToString(r.severity & blackbox::kSeverityMask, &level);
  LineList out(26, 768);
  out.add("--Black Box Summary--");
  out.add<"Severity Level: %s">(level);
  out.add<"Module Count:   %i">(r.module_count);
  out.add("");
  // An order of its own: that of the firmware, but for HIDSPI_SLAVE behind HIDSPI_MASTER.
  out.add<"           BLACK_BOX: %i">(flag(r, 0));
  out.add<"                 PSE: %i">(flag(r, 1));
  out.add<"     OPEN_SHORT_TEST: %i">(flag(r, 2));
  out.add<"         SCAN_LOGGER: %i">(flag(r, 3));
  out.add<"            SVC_SMGR: %i">(flag(r, 4));
  out.add<"           BLOB_VAFE: %i">(flag(r, 5));
  out.add<"           BLOB_VFCL: %i">(flag(r, 6));
  out.add<"           BLOB_VPMp: %i">(flag(r, 7));
  out.add<"           BLOB_VSGC: %i">(flag(r, 8));
  out.add<"           BLOB_VSSp: %i">(flag(r, 9));
  out.add<"           BLOB_VSSC: %i">(flag(r, 10));
  out.add<"           BLOB_VSRx: %i">(flag(r, 11));
  out.add<"           BLOB_VSPM: %i">(flag(r, 12));
  out.add<"           BLOB_VRTC: %i">(flag(r, 13));
  out.add<"       HIDSPI_MASTER: %i">(flag(r, 14));
  out.add<"        HIDSPI_SLAVE: %i">(flag(r, 18));
  out.add<"                ALGS: %i">(flag(r, 15));
  out.add<"                 SYS: %i">(flag(r, 16));
  out.add<"                 ZUB: %i">(flag(r, 17));
  out.add<"                 OTP: %i">(flag(r, 19));
  out.add<"                PMGR: %i">(flag(r, 20));
  out.add<"           BLOB_VSFN: %i">(flag(r, 21));
  return out;
}

ReportObject object(const SummaryReport& r) {
  // The whole severity byte: what the firmware sets above the level reaches the consumer.
  return dictionary(
      "SEVERITY_LEVEL"_key = r.severity, "MODULE_COUNT"_key = r.module_count,
      "BLACK_BOX"_key = flag(r, 0), "PSE"_key = flag(r, 1), "OPEN_SHORT_TEST"_key = flag(r, 2),
      "SCAN_LOGGER"_key = flag(r, 3), "SVC_SMGR"_key = flag(r, 4), "BLOB_VAFE"_key = flag(r, 5),
      "BLOB_VFCL"_key = flag(r, 6), "BLOB_VPMp"_key = flag(r, 7), "BLOB_VSGC"_key = flag(r, 8),
      "BLOB_VSSp"_key = flag(r, 9), "BLOB_VSSC"_key = flag(r, 10), "BLOB_VSRx"_key = flag(r, 11),
      "BLOB_VSPM"_key = flag(r, 12), "BLOB_VRTC"_key = flag(r, 13),
      "HIDSPI_MASTER"_key = flag(r, 14), "HIDSPI_SLAVE"_key = flag(r, 18), "ALGS"_key = flag(r, 15),
      "SYS"_key = flag(r, 16), "ZUB"_key = flag(r, 17), "OTP"_key = flag(r, 19),
      "PMGR"_key = flag(r, 20), "BLOB_VSFN"_key = flag(r, 21));
}

}  // namespace

Result HIDReportVeskPlugin::parseBlackBoxSummary() {
  const auto report = load<SummaryReport>(report_buf());
  if (useStrings()) return lines(*this, report);
  return object(report);
}

}  // namespace vesk
