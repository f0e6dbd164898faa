#include "plugin/registry.h"

#include <array>

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

/// Two letters in which the names differ.
constexpr std::size_t hash(std::string_view name) {
  if (name.size() < 7) return 0;
  const auto letter = [name](std::size_t fromEnd) {
    return static_cast<unsigned char>(name[name.size() - fromEnd]);
  };
  return 3u * letter(1) + letter(7);
}

/// A hash table, since every report is dispatched by name: from the place of its hash on, where a
/// name's decoder stands (its number plus one); 0 is a free place.
constexpr auto kPlaces = [] {
  std::array<std::uint8_t, 32> places{};
  for (std::size_t number = 0; number < std::size(kDecoders); ++number) {
    std::size_t i = hash(kDecoders[number].info.name);
    while (places[i % places.size()] != 0) ++i;
    places[i % places.size()] = static_cast<std::uint8_t>(number + 1);
  }
  return places;
}();
static_assert(std::size(kDecoders) < kPlaces.size());

}  // namespace

const Decoder* findDecoder(std::string_view name) {
  for (std::size_t i = hash(name);; ++i) {
    const std::size_t number = kPlaces[i % kPlaces.size()];
    if (number == 0) return nullptr;
    if (kDecoders[number - 1].info.name == name) return &kDecoders[number - 1];
  }
}

}  // namespace vesk
