// Algorithm baseline 0xA2: one value for each of the 48 channels.

#include "reports/decoder.h"

namespace vesk {

namespace {

struct BaselineReport {
  u8 id;
  f32 baseline[48];  // channel order
};
static_assert(sizeof(BaselineReport) == layoutSize("parserVeskAlgBaselineRequest"));

LineList lines(const HIDReportVeskPlugin& plugin, const BaselineReport& r) {
  LineList out(9, 3600);  // for the largest floats: the usual ones take a fifth of it
  out.add(line<"Vesk Algorithms Baseline:">(), line<"">());
  plugin.addArrayFloat(out, r.baseline, 48, "% -13.3f ");
  out.add("");
  return out;
}

ReportObject object(const BaselineReport& r) { return dictionary("BASELINE"_key = r.baseline); }

}  // namespace

// The name, unlike those of the other decoders, begins with "parser": the tables hold it so.
Result HIDReportVeskPlugin::parserVeskAlgBaselineRequest() {
  const auto& report = view<BaselineReport>(report_buf());
  if (useStrings()) return lines(*this, report);
  return object(report);
}

}  // namespace vesk
