// Black box summary 0xE0: the severity, and a flag for each module that has black box content.

#include "reports/blackbox/severity.h"
#include "reports/decoder.h"

namespace vesk {

namespace {

struct SummaryReport {
  u8 id;
  u8 severity;  // bits 0 to 2: the level
  u16 module_count;
  u8 flags[3];  // bit n of the three: module n in the firmware's order
};
static_assert(sizeof(SummaryReport) == layoutSize("parseBlackBoxSummary"));

/// The flag of the module of that index, 0 or 1.
unsigned char flag(const SummaryReport& r, unsigned module) {
  return r.flags[module / 8] >> module % 8 & 1;
}

LineList lines(const HIDReportVeskPlugin& plugin, const SummaryReport& r) {
  const char* level = nullptr;
  plugin.errorLevelToString(r.severity & blackbox::kSeverityMask, &level);
  return LineList::of(
      line<"--Black Box Summary--">(),
      line<"Severity Level: %s">(level),
      line<"Module Count:   %i">(r.module_count),
      line<"">(),
      // An order of its own: that of the firmware, but for HIDSPI_SLAVE behind HIDSPI_MASTER.
      line<"           BLACK_BOX: %i">(flag(r, 0)),
      line<"                 PSE: %i">(flag(r, 1)),
      line<"     OPEN_SHORT_TEST: %i">(flag(r, 2)),
      line<"         SCAN_LOGGER: %i">(flag(r, 3)),
      line<"            SVC_SMGR: %i">(flag(r, 4)),
      line<"           BLOB_VAFE: %i">(flag(r, 5)),
      line<"           BLOB_VFCL: %i">(flag(r, 6)),
      line<"           BLOB_VPMp: %i">(flag(r, 7)),
      line<"           BLOB_VSGC: %i">(flag(r, 8)),
      line<"           BLOB_VSSp: %i">(flag(r, 9)),
      line<"           BLOB_VSSC: %i">(flag(r, 10)),
      line<"           BLOB_VSRx: %i">(flag(r, 11)),
      line<"           BLOB_VSPM: %i">(flag(r, 12)),
      line<"           BLOB_VRTC: %i">(flag(r, 13)),
      line<"       HIDSPI_MASTER: %i">(flag(r, 14)),
      line<"        HIDSPI_SLAVE: %i">(flag(r, 18)),
      line<"                ALGS: %i">(flag(r, 15)),
      line<"                 SYS: %i">(flag(r, 16)),
      line<"                 ZUB: %i">(flag(r, 17)),
      line<"                 OTP: %i">(flag(r, 19)),
      line<"                PMGR: %i">(flag(r, 20)),
      line<"           BLOB_VSFN: %i">(flag(r, 21)));
}

ReportObject object(const SummaryReport& r) {
  // The whole severity byte: what the firmware sets above the level reaches the consumer.
  return dictionary("SEVERITY_LEVEL"_key = r.severity,
                    "MODULE_COUNT"_key = r.module_count,
                    "BLACK_BOX"_key = flag(r, 0),
                    "PSE"_key = flag(r, 1),
                    "OPEN_SHORT_TEST"_key = flag(r, 2),
                    "SCAN_LOGGER"_key = flag(r, 3),
                    "SVC_SMGR"_key = flag(r, 4),
                    "BLOB_VAFE"_key = flag(r, 5),
                    "BLOB_VFCL"_key = flag(r, 6),
                    "BLOB_VPMp"_key = flag(r, 7),
                    "BLOB_VSGC"_key = flag(r, 8),
                    "BLOB_VSSp"_key = flag(r, 9),
                    "BLOB_VSSC"_key = flag(r, 10),
                    "BLOB_VSRx"_key = flag(r, 11),
                    "BLOB_VSPM"_key = flag(r, 12),
                    "BLOB_VRTC"_key = flag(r, 13),
                    "HIDSPI_MASTER"_key = flag(r, 14),
                    "HIDSPI_SLAVE"_key = flag(r, 18),
                    "ALGS"_key = flag(r, 15),
                    "SYS"_key = flag(r, 16),
                    "ZUB"_key = flag(r, 17),
                    "OTP"_key = flag(r, 19),
                    "PMGR"_key = flag(r, 20),
                    "BLOB_VSFN"_key = flag(r, 21));
}

}  // namespace

Result HIDReportVeskPlugin::parseBlackBoxSummary() {
  const auto& report = view<SummaryReport>(report_buf());
  if (useStrings()) return lines(*this, report);
  return object(report);
}

}  // namespace vesk
