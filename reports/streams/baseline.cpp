// Algorithm baseline 0xA2: one value for each of the 48 channels.

#include "reports/decoder.h"
#include "reports/samples.h"

namespace vesk {

namespace {

struct BaselineReport {
  u8 id;
  f32 baseline[48];  // channel order
};
static_assert(sizeof(BaselineReport) == layoutSize("parserVeskAlgBaselineRequest"));

LineList lines(const HIDReportVeskPlugin& plugin, const BaselineReport& r) {
  // Room for the largest floats: the usual ones take a third of it.
  constexpr std::size_t size = format::maximumSize<"% -13.3f ", float>();
  constexpr LineRoom end{1, sizeof ""};
  LineList out = LineList::withRoom(
      roomOfArray(48, size) + end, line<"Vesk Algorithms Baseline:">(), line<"">());
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
