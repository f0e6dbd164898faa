// Open/short test results 0xE3: a mask of the channels with each kind of fault.

#include "reports/decoder.h"
#include "reports/openshort/mark_row.h"

namespace vesk {

namespace {

/// One bit a channel in each mask.
struct OpenShortTestReport {
  u8 id;
  u64 short_tx_pos;
  u64 short_tx_neg;
  u64 short_both;
  u64 open_tx_pos;
  u64 open_tx_neg;
  u64 open_both;
  u64 weak;  // a weak open or short
};
static_assert(sizeof(OpenShortTestReport) == layoutSize("parseOpenShortTest"));
static_assert(offsetof(OpenShortTestReport, weak) == 49);

LineList lines(const OpenShortTestReport& r) {
  return LineList::of(line<"Open/Short Test Results:">(),
                      line<"">(),
                      line<"\t                  40       32       24       16        8        0">(),
                      line<"\tShort TX+  %s">(MarkRow{r.short_tx_pos}),
                      line<"\tShort TX-  %s">(MarkRow{r.short_tx_neg}),
                      line<"\tShort BOTH %s">(MarkRow{r.short_both}),
                      line<"\tOpen  TX+  %s">(MarkRow{r.open_tx_pos}),
                      line<"\tOpen  TX-  %s">(MarkRow{r.open_tx_neg}),
                      line<"\tOpen  BOTH %s">(MarkRow{r.open_both}),
                      line<"\tWeak  O/S  %s">(MarkRow{r.weak}));
}

ReportObject object(const OpenShortTestReport& r) {
  return dictionary("SHORT_TX_POS"_key = r.short_tx_pos,
                    "SHORT_TX_NEG"_key = r.short_tx_neg,
                    "SHORT_BOTH"_key = r.short_both,
                    "OPEN_TX_POS"_key = r.open_tx_pos,
                    "OPEN_TX_NEG"_key = r.open_tx_neg,
                    "OPEN_BOTH"_key = r.open_both,
                    "WEAK_OS"_key = r.weak);
}

}  // namespace

Result HIDReportVeskPlugin::parseOpenShortTest() {
  const auto& report = view<OpenShortTestReport>(report_buf());
  if (useStrings()) return lines(report);
  return object(report);
}

}  // namespace vesk
