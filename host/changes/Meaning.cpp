#include "host/changes/Meaning.h"

#include <algorithm>
#include <array>

namespace vesk::host {

namespace {

struct Row {
  std::string_view decoder;
  std::string_view key;  // empty: every unsigned int
  Meaning meaning;
};

using enum Meaning;

constexpr auto kTable = std::to_array<Row>({
    {"parseWatchDogReport", "Count", Counter},
    {"parseWatchDogReport", "Timestamp", Time},
    {"parseWatchDogReport", "Register", Bits},
    {"parseWatchDogReport", "Wake", Counter},
    {"parseWatchDogReport", "Idle", Counter},
    {"parsePowerModeStats", "", Counter},
    {"parseVeskImage", "FLAGS", Bits},
    {"parseVeskImage", "FRAME_PARAMS", Bits},
    {"parseVeskImage", "TIMESTAMP_MS", Time},
    {"parseVeskImage", "TMON_PARAMS", Bits},
    {"parseAdcDumpConfig", "CHANNEL_ENABLE_MASK", Bits},
    {"parseBlackBoxFullReport", "", Counter},  // module IDs and numbers of events are shorter
    {"parseOpenShortTest", "SHORT_TX_POS", Bits},
    {"parseOpenShortTest", "SHORT_TX_NEG", Bits},
    {"parseOpenShortTest", "SHORT_BOTH", Bits},
    {"parseOpenShortTest", "OPEN_TX_POS", Bits},
    {"parseOpenShortTest", "OPEN_TX_NEG", Bits},
    {"parseOpenShortTest", "OPEN_BOTH", Bits},
    {"parseOpenShortTest", "WEAK_OS", Bits},
    {"parseOpenShortData", "SATURATION_DATA", Bits},
});

}  // namespace

Meaning meaningOf(const ReportInfo& info, std::string_view key, std::int32_t kind) {
  if (kind == VESK_BOOL || kind == VESK_FLOAT || kind == VESK_DOUBLE) return Plain;
  if (info.counter && info.counter->key == key) return Counter;
  const auto found = std::ranges::find_if(kTable, [&](const Row& row) {
    if (row.decoder != info.decoder) return false;
    return row.key.empty() ? kind == VESK_UNSIGNED_INT : row.key == key;
  });
  return found == kTable.end() ? Plain : found->meaning;
}

}  // namespace vesk::host
