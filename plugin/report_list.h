/// The one list of reports: what every table of the plug-in, of its C interface and of its tests
/// derives from. A decoder asserts its layout against it:
///
///     static_assert(sizeof(PumpReport) == layoutSize("parsePump"));
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "plugin/HIDReportVeskPlugin.h"

namespace vesk {

/// How a decoder judges the length that it is told.
enum class LengthRule : std::uint8_t {
  AtLeast,  // not at all: it reads its fixed layout, and the buffer must not be shorter
  Exactly,  // any other length is refused with nil
  Text,     // not at all: it reads text from byte 1 to its NUL, wherever that lies
};

/// One report ID, with the decoder that reads it.
struct ListedReport {
  std::uint32_t id;
  std::int32_t type;         // kFeature, kInput
  std::string_view decoder;  // the name of the member function
  std::size_t size;          // bytes of the layout, the report ID included; of a text, the shortest
  LengthRule length;
  StreamCounter counter{};  // of the reports of a stream
};

/// Feature reports first, each type in the order of its table.
inline constexpr auto kReports = std::to_array<ListedReport>({
    {0xD0, kFeature, "parseVersion", 2, LengthRule::Text},
    {0xD2, kFeature, "parseVersionExtended", 2, LengthRule::Text},
    {0xDC, kFeature, "parseAdcDumpConfig", 25, LengthRule::AtLeast},
    {0xDE, kFeature, "parseAdcDumpState", 2, LengthRule::AtLeast},
    {0xE0, kFeature, "parseBlackBoxSummary", 7, LengthRule::AtLeast},
    {0xE1, kFeature, "parseBlackBoxFullReport", 991, LengthRule::AtLeast},
    {0xEA, kFeature, "parseBlackBoxFullReport", 991, LengthRule::AtLeast},
    {0xE2, kFeature, "parseBlackBoxConfig", 232, LengthRule::AtLeast},
    {0xE3, kFeature, "parseOpenShortTest", 57, LengthRule::AtLeast},
    {0xE4, kFeature, "parseOpenShortData", 401, LengthRule::AtLeast},  // told apart by the ID
    {0xE5, kFeature, "parseOpenShortData", 401, LengthRule::AtLeast},
    {0xA2, kFeature, "parserVeskAlgBaselineRequest", 193, LengthRule::AtLeast},
    {0xDF, kFeature, "parseWatchDogReport", 25, LengthRule::AtLeast},
    {0xA9, kFeature, "parsePowerModeStats", 41, LengthRule::AtLeast},
    {0x76, kInput, "parseVeskImage", 792, LengthRule::Exactly, {"FRAME_NUMBER", 4}},
    {0x77, kInput, "parseAdcDumpPacket", 2064, LengthRule::Exactly, {"PACKET_ID", 4}},
});

/// The first report that a decoder reads. Throws std::invalid_argument for a decoder that the list
/// lacks; while compiling, that is an error.
constexpr const ListedReport& listed(std::string_view decoder) {
  const auto row = std::ranges::find(kReports, decoder, &ListedReport::decoder);
  if (row == kReports.end()) throw std::invalid_argument("the list of reports lacks a decoder");
  return *row;
}

/// Bytes of the layout that a decoder reads, the report ID included.
consteval std::size_t layoutSize(std::string_view decoder) { return listed(decoder).size; }

namespace detail {

/// Reports of one decoder differ in their IDs only.
consteval bool agree() {
  return std::ranges::all_of(kReports, [](const ListedReport& report) {
    const ListedReport& first = listed(report.decoder);
    return report.type == first.type && report.size == first.size &&
           report.length == first.length && report.counter == first.counter;
  });
}

}  // namespace detail

static_assert(detail::agree(), "two rows of one decoder disagree");

}  // namespace vesk
