// Open/short scan data: the samples behind the open/short test, 0xE4 for the D-SCAN and 0xE5 for
// the P-SCAN.

#include "reports/decoder.h"
#include "reports/openshort/mark_row.h"
#include "reports/samples.h"

namespace vesk {

namespace {

struct ScanDataReport {
  u8 id;
  u64 saturation;  // of the ADC, one bit a channel
  u32 i[48];
  u32 q[48];
  u8 status;  // bit 0: brownout
  u8 unused[7];
};
static_assert(sizeof(ScanDataReport) == layoutSize("parseOpenShortData"));
static_assert(offsetof(ScanDataReport, i) == 9);
static_assert(offsetof(ScanDataReport, q) == 201);
static_assert(offsetof(ScanDataReport, status) == 393);

unsigned char brownout(const ScanDataReport& r) { return r.status & 1; }

constexpr format::Text<16> kDScan("D-SCAN");
constexpr format::Text<16> kPScan("P-SCAN");
constexpr format::Text<16> kYes("YES");
constexpr format::Text<16> kNo("NO");

/// The scan's name comes from the ID that the host passed, not from the report's first byte.
const format::Text<16>& scanName(std::uint32_t reportID) {
  return reportID == 0xE4 ? kDScan : kPScan;
}

LineList lines(const HIDReportVeskPlugin& plugin, const ScanDataReport& r) {
  const format::Text<16>& scan = scanName(plugin.report_id());
  const SampleFormat& format = sampleFormat(plugin);
  constexpr LineRoom between{2, sizeof "" + sizeof "[D-SCAN Q]"};
  LineList out = LineList::withRoom(
      2 * roomOfArray(48, format.size) + between,
      line<"Open/Short Test %s Data:">(scan),
      line<"">(),
      line<"                       40       32       24       16        8        0">(),
      line<"ADC Saturation  %s">(MarkRow{r.saturation}),
      line<"">(),
      line<"Brownout: %s">(brownout(r) != 0 ? kYes : kNo),
      line<"">(),
      line<"[%s I]">(scan));
  plugin.addArrayUint32(out, r.i, 48, format.text);
  out.add(line<"">(), line<"[%s Q]">(scan));
  plugin.addArrayUint32(out, r.q, 48, format.text);
  return out;
}

ReportObject object(const ScanDataReport& r) {
  return dictionary("SATURATION_DATA"_key = r.saturation,
                    "BROWNOUT"_key = brownout(r),
                    "SCAN_DATA_I"_key = r.i,
                    "SCAN_DATA_Q"_key = r.q);
}

}  // namespace

Result HIDReportVeskPlugin::parseOpenShortData() {
  const auto& report = view<ScanDataReport>(report_buf());
  if (useStrings()) return lines(*this, report);
  return object(report);
}

}  // namespace vesk
