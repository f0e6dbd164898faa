// The ADC capture: its configuration 0xDC, its state 0xDE, and its data packets, input report 0x77.

#include <string_view>

#include "reports/decoder.h"
#include "reports/samples.h"

namespace vesk {

// -------------------------------------------------------------------------------- configuration

namespace {

struct AdcDumpConfigReport {
  u8 id;
  u32 start_address;
  u32 channels_low;   // enable mask, channels 0 to 31
  u32 channels_high;  // channels 32 to 47, in a full 32-bit word
  u32 sample_count;
  u32 stim_timer_compare;
  u32 trigger_source;  // 0: RX enable
};
static_assert(sizeof(AdcDumpConfigReport) == layoutSize("parseAdcDumpConfig"));
static_assert(offsetof(AdcDumpConfigReport, channels_high) == 9);
static_assert(offsetof(AdcDumpConfigReport, trigger_source) == 21);

std::string_view triggerSource(const AdcDumpConfigReport& r) {
  return r.trigger_source == 0 ? "RX_EN" : "STIM_TIMER";
}

LineList lines(const AdcDumpConfigReport& r) {
  return LineList::of(line<"--ADC Dump Configuration--">(),
                      line<"">(),
                      line<"Start Address       = 0x%08x">(r.start_address),
                      // The high word is not masked: beyond channel 47 the line grows longer.
                      line<"Channel Enable Mask = %04x%08x">(r.channels_high, r.channels_low),
                      line<"Sample Count        = %u">(r.sample_count),
                      line<"Stim Timer Compare  = %u">(r.stim_timer_compare),
                      line<"Trigger Source      = %s">(triggerSource(r)));
}

ReportObject object(const AdcDumpConfigReport& r) {
  const unsigned long long high = r.channels_high;
  return dictionary("START_ADDRESS"_key = r.start_address,
                    "CHANNEL_ENABLE_MASK"_key = high << 32 | r.channels_low,
                    "SAMPLE_COUNT"_key = r.sample_count,
                    "STIM_TIMER_COMPARE"_key = r.stim_timer_compare,
                    "TRIGGER_SOURCE"_key = triggerSource(r));
}

}  // namespace

Result HIDReportVeskPlugin::parseAdcDumpConfig() {
  const auto& report = view<AdcDumpConfigReport>(report_buf());
  if (useStrings()) return lines(report);
  return object(report);
}

// ----------------------------------------------------------------------------------------- state

namespace {

struct AdcDumpStateReport {
  u8 id;
  u8 state;
};
static_assert(sizeof(AdcDumpStateReport) == layoutSize("parseAdcDumpState"));

std::string_view stateName(const AdcDumpStateReport& r) {
  switch (r.state) {
    case 0:
      return "STANDBY";
    case 1:
      return "SINGLE";
    case 2:
      return "CONTINUOUS";
    default:
      return "INVALID";
  }
}

LineList lines(const AdcDumpStateReport& r) {
  return LineList::of(line<"ADC Dump State: %s">(stateName(r)));
}

}  // namespace

Result HIDReportVeskPlugin::parseAdcDumpState() {
  const auto& report = view<AdcDumpStateReport>(report_buf());
  if (useStrings()) return lines(report);
  return ReportObject(stateName(report));
}

// --------------------------------------------------------------------------------------- packets

namespace {

struct AdcDumpPacketReport {
  u8 id;
  u8 magic[3];
  u32 packet_number;
  u32 payload_size;  // shown, but every packet carries all words
  u32 total_dump_size;
  u32 payload[512];
};
static_assert(sizeof(AdcDumpPacketReport) == layoutSize("parseAdcDumpPacket"));
static_assert(offsetof(AdcDumpPacketReport, packet_number) == 4);
static_assert(offsetof(AdcDumpPacketReport, payload) == 16);

LineList lines(const HIDReportVeskPlugin& plugin, const AdcDumpPacketReport& r) {
  LineList out = LineList::withRoom(
      roomOfArray(512, kHexSamples.size),
      line<"[ADC Packet #    = %u]">(r.packet_number),
      line<"[Magic Value     = 0x%02x%02x%02x]">(r.magic[0], r.magic[1], r.magic[2]),
      line<"[Payload Size    = %u]">(r.payload_size),
      line<"[Total Dump Size = %u]">(r.total_dump_size),
      line<"">(),
      line<"[Packet Payload Data]">());
  plugin.addArrayUint32(out, r.payload, 512, kHexSamples.text);
  return out;
}

/// Not the number that the text shows: the shifts are 2 and 1, and consumers match on what they
/// give.
int magicValue(const AdcDumpPacketReport& r) {
  return r.magic[0] << 2 | r.magic[1] << 1 | r.magic[2];
}

ReportObject object(const AdcDumpPacketReport& r) {
  return dictionary("PACKET_ID"_key = r.packet_number,
                    "MAGIC_VALUE"_key = magicValue(r),
                    "PAYLOAD_SIZE"_key = r.payload_size,
                    "TOTAL_DUMP_SIZE"_key = r.total_dump_size,
                    "PAYLOAD_DATA"_key = r.payload);
}

}  // namespace

Result HIDReportVeskPlugin::parseAdcDumpPacket() {
  if (report_len() != sizeof(AdcDumpPacketReport)) return {};
  const auto& report = view<AdcDumpPacketReport>(report_buf());
  if (useStrings()) return lines(*this, report);
  return object(report);
}

}  // namespace vesk
