/// What is wrong with an input, or with a report in it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/Report.h"

namespace vesk::host {

enum class ProblemCode : std::uint8_t {
  BadHex,
  BadDump,
  BadRecording,
  LengthMismatch,
  TooLong,
  EmptyReport,
  ShortReport,
  RefusedLength,
  UnknownReport,
  TruncatedCapture,
  FailedRequest,
  UnansweredRequest,
  MismatchedReply,
  DecoderFailed,
  LostReports,
  DeviceLost,
  UnsupportedInput,
  UnreadableInput,  // stays the last
};
inline constexpr std::size_t kProblemCodes =
    static_cast<std::size_t>(ProblemCode::UnreadableInput) + 1;

/// "bad_hex", "short_report", ...
std::string_view nameOf(ProblemCode code);

/// Something in an input that gives no report, or a report that can't be decoded.
struct Problem {
  ProblemCode code;
  std::string message;  // one line, without the place
  Place place;
  std::optional<std::int64_t> microseconds;
  std::optional<std::uint32_t> reportId;
  std::optional<ReportType> reportType;
  std::optional<UsbSender> sender;
  std::optional<std::uint64_t> expected;
  std::optional<std::uint64_t> got;
  std::optional<std::uint64_t> offset;
  std::optional<std::uint64_t> lost;  // reports that had no room
  const HidDevice* device = nullptr;  // the live one that it is about, as a report's

  /// True if the input as a whole can't be read, false if a part of it is wrong: a capture goes on
  /// behind the packet of an interface that isn't supported.
  bool endsInput() const {
    return code == ProblemCode::UnreadableInput || code == ProblemCode::DeviceLost ||
           (code == ProblemCode::UnsupportedInput && place.unit != Place::Unit::Packet);
  }
};

Problem problemAt(const Place& place, ProblemCode code, std::string message);

/// What is wrong with the size of a report, if anything: one of no bytes has no ID.
std::optional<Problem> checkSize(const Place& place, std::size_t size);

/// A problem with `report`: place, time, ID and type are the report's.
Problem problemWith(const Report& report, ProblemCode code, std::string_view complaint);

}  // namespace vesk::host
