#include "plugin/registry.h"

#include <array>
#include <cstdint>

#include "plugin/report_list.h"

namespace vesk {

namespace {

using Plugin = HIDReportVeskPlugin;

struct Member {
  std::string_view name;
  Result (Plugin::*decode)();
};

constexpr Member kMembers[] = {
    {"parseVersion", &Plugin::parseVersion},
    {"parseVersionExtended", &Plugin::parseVersionExtended},
    {"parseWatchDogReport", &Plugin::parseWatchDogReport},
    {"parsePowerModeStats", &Plugin::parsePowerModeStats},
    {"parseVeskImage", &Plugin::parseVeskImage},
    {"parseAdcDumpConfig", &Plugin::parseAdcDumpConfig},
    {"parseAdcDumpState", &Plugin::parseAdcDumpState},
    {"parseAdcDumpPacket", &Plugin::parseAdcDumpPacket},
    {"parserVeskAlgBaselineRequest", &Plugin::parserVeskAlgBaselineRequest},
    {"parseBlackBoxSummary", &Plugin::parseBlackBoxSummary},
    {"parseBlackBoxFullReport", &Plugin::parseBlackBoxFullReport},
    {"parseBlackBoxConfig", &Plugin::parseBlackBoxConfig},
    {"parseOpenShortTest", &Plugin::parseOpenShortTest},
    {"parseOpenShortData", &Plugin::parseOpenShortData},
};

consteval bool everyReportHasAMember() {
  return std::ranges::all_of(kReports, [](const ListedReport& report) {
    return std::ranges::find(kMembers, report.decoder, &Member::name) != std::end(kMembers);
  });
}
static_assert(everyReportHasAMember(), "a listed decoder has no row above: HACKING.md, step 4");

consteval bool everyMemberIsListed() {
  return std::ranges::all_of(kMembers, [](const Member& member) {
    return std::ranges::find(kReports, member.name, &ListedReport::decoder) != kReports.end();
  });
}
static_assert(everyMemberIsListed(), "a row above is of no listed report: HACKING.md, step 1");

/// The members, with what the list says of them.
constexpr auto kDecoders = [] {
  std::array<Decoder, std::size(kMembers)> decoders{};
  for (std::size_t i = 0; i < decoders.size(); ++i) {
    const ListedReport& report = listed(kMembers[i].name);
    decoders[i] = {{report.decoder,
                    report.size,
                    report.length == LengthRule::Exactly,
                    report.length == LengthRule::Text,
                    report.counter},
                   kMembers[i].decode};
  }
  return decoders;
}();

/// Two letters in which the names differ.
constexpr std::size_t hash(std::string_view name) {
  if (name.size() < 7) return 0;
  const auto letter = [name](std::size_t fromEnd) {
    return static_cast<unsigned char>(name[name.size() - fromEnd]);
  };
  return 3u * letter(1) + letter(7);
}

/// A hash table, since every report is dispatched by name: from the slot of its hash on, where a
/// name's decoder stands (its index plus one); 0 is a free slot.
constexpr auto kSlots = [] {
  std::array<std::uint8_t, 32> slots{};
  static_assert(kDecoders.size() < slots.size());
  for (std::size_t index = 0; index < kDecoders.size(); ++index) {
    std::size_t i = hash(kDecoders[index].info.name);
    while (slots[i % slots.size()] != 0) ++i;
    slots[i % slots.size()] = static_cast<std::uint8_t>(index + 1);
  }
  return slots;
}();

}  // namespace

const Decoder* findDecoder(std::string_view name) {
  for (std::size_t i = hash(name);; ++i) {
    const std::size_t number = kSlots[i % kSlots.size()];
    if (number == 0) return nullptr;
    if (kDecoders[number - 1].info.name == name) return &kDecoders[number - 1];
  }
}

}  // namespace vesk
