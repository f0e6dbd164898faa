#include "plugin/registry.h"

#include "plugin/layouts.h"

namespace vesk {

namespace {

using Plugin = HIDReportVeskPlugin;

/// A decoder that reads a fixed layout, whatever length it is told.
constexpr Decoder fixed(std::string_view name, std::size_t size, Result (Plugin::*decode)()) {
  return {{name, size, false, false}, decode};
}

/// One that refuses every other length.
constexpr Decoder exact(std::string_view name, std::size_t size, Result (Plugin::*decode)()) {
  return {{name, size, true, false}, decode};
}

/// One that reads text up to its NUL.
constexpr Decoder text(std::string_view name, std::size_t size, Result (Plugin::*decode)()) {
  return {{name, size, false, true}, decode};
}

constexpr Decoder kDecoders[] = {
    text("parseVersion", layout::kVersion, &Plugin::parseVersion),
    text("parseVersionExtended", layout::kVersion, &Plugin::parseVersionExtended),
    fixed("parseWatchDogReport", layout::kWatchDog, &Plugin::parseWatchDogReport),
    fixed("parsePowerModeStats", layout::kPowerModes, &Plugin::parsePowerModeStats),
    exact("parseVeskImage", layout::kImage, &Plugin::parseVeskImage),
    fixed("parseAdcDumpConfig", layout::kAdcDumpConfig, &Plugin::parseAdcDumpConfig),
    fixed("parseAdcDumpState", layout::kAdcDumpState, &Plugin::parseAdcDumpState),
    exact("parseAdcDumpPacket", layout::kAdcDumpPacket, &Plugin::parseAdcDumpPacket),
    fixed("parserVeskAlgBaselineRequest", layout::kBaseline, &Plugin::parserVeskAlgBaselineRequest),
    fixed("parseBlackBoxSummary", layout::kBlackBoxSummary, &Plugin::parseBlackBoxSummary),
    fixed("parseBlackBoxFullReport", layout::kBlackBoxFullReport, &Plugin::parseBlackBoxFullReport),
    fixed("parseBlackBoxConfig", layout::kBlackBoxConfig, &Plugin::parseBlackBoxConfig),
    fixed("parseOpenShortTest", layout::kOpenShortTest, &Plugin::parseOpenShortTest),
    fixed("parseOpenShortData", layout::kOpenShortData, &Plugin::parseOpenShortData),
};

}  // namespace

const Decoder* findDecoder(std::string_view name) {
  for (const Decoder& decoder : kDecoders)
    if (decoder.info.name == name) return &decoder;
  return nullptr;
}

}  // namespace vesk
