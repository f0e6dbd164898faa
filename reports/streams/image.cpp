// Image input report 0x76: a raw frame of 4 x 48 samples.

#include "reports/decoder.h"
#include "reports/samples.h"

namespace vesk {

namespace {

struct ImageReport {
  u8 id;
  u8 cookie;
  u16 flags;
  u32 frame_number;
  u32 frame_params;
  u32 timestamp;  // milliseconds
  i32 d_scan_i[48];
  i32 d_scan_q[48];
  i32 p_scan_i[48];
  i32 p_scan_q[48];
  u32 tmon_params;
  f32 tmon;  // degrees Celsius
};
static_assert(sizeof(ImageReport) == layoutSize("parseVeskImage"));
static_assert(offsetof(ImageReport, d_scan_i) == 16);
static_assert(offsetof(ImageReport, p_scan_i) == 400);
static_assert(offsetof(ImageReport, tmon_params) == 784);

/// A title, the samples and an empty line.
LineRoom roomOfBlock(const SampleFormat& format) {
  return LineRoom{2, sizeof "[D-SCAN I]" + sizeof ""} + roomOfArray(48, format.size);
}

LineList lines(const HIDReportVeskPlugin& plugin, const ImageReport& r) {
  const SampleFormat& format = sampleFormat(plugin);
  // Not in the report's order: the temperature comes before cookie and flags.
  LineList out = LineList::withRoom(4 * roomOfBlock(format),
                                    line<"[Frame # = %u]">(r.frame_number),
                                    line<"[Frame Params = 0x%08x]">(r.frame_params),
                                    line<"[Timestamp = %u ms]">(r.timestamp),
                                    line<"[TMON = %f degC]">(r.tmon),
                                    line<"[TMON Params = 0x%08x]">(r.tmon_params),
                                    line<"[Cookie = 0x%02x]">(r.cookie),
                                    line<"[Flags = 0x%04x]">(r.flags),
                                    line<"">());
  const auto addBlock = [&](const auto& title, const i32(&samples)[48]) {
    out.add(title);
    plugin.addArrayInt32(out, samples, 48, format.text);
    out.add("");
  };
  addBlock(line<"[D-SCAN I]">(), r.d_scan_i);
  addBlock(line<"[D-SCAN Q]">(), r.d_scan_q);
  addBlock(line<"[P-SCAN I]">(), r.p_scan_i);
  addBlock(line<"[P-SCAN Q]">(), r.p_scan_q);
  return out;
}

ReportObject object(const ImageReport& r) {
  return dictionary("COOKIE"_key = r.cookie,
                    "FLAGS"_key = r.flags,
                    "FRAME_NUMBER"_key = r.frame_number,
                    "FRAME_PARAMS"_key = r.frame_params,
                    "TIMESTAMP_MS"_key = r.timestamp,
                    "D_SCAN_I"_key = r.d_scan_i,
                    "D_SCAN_Q"_key = r.d_scan_q,
                    "P_SCAN_I"_key = r.p_scan_i,
                    "P_SCAN_Q"_key = r.p_scan_q,
                    "TMON_PARAMS"_key = r.tmon_params,
                    "TMON_DEG_C"_key = r.tmon);
}

}  // namespace

Result HIDReportVeskPlugin::parseVeskImage() {
  if (report_len() != sizeof(ImageReport)) return {};
  const auto& report = view<ImageReport>(report_buf());
  if (useStrings()) return lines(*this, report);
  return object(report);
}

}  // namespace vesk
