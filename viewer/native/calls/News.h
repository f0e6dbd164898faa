/// What differs between reports that come one behind another.
#pragma once

#include <cstdint>

#include "host/changes/Tracker.h"
#include "host/outputs/Output.h"
#include "viewer/native/Reply.h"

namespace vesk::viewer {

/// What differs between each report and the one before it from its sender. With `turns`, only what
/// fell or wrapped, and what is concluded: in a long capture everything else changes all the time.
class News final : public host::DecodingOutput {
 public:
  News(const host::OutputContext& context, bool turns)
      : DecodingOutput(context), _tracker(host::ChangeRules()), _turns(turns) {}

  std::uint32_t entry = 0;  // that is written next
  std::uint32_t count = 0;  // of reports that differ

  /// For each that differs its entry, what is concluded of the firmware, or an empty text, and a
  /// count of changes. A change has its key, and its line, from 1, if the text alone changed; what
  /// became of a number that counts (host::Course); the difference of whole numbers, or an empty
  /// text; a rate a second, or NaN; and whether the number is a row of bits.
  Reply reply;

 private:
  void writeChecked(const host::Report& report, const host::ReportInfo& info) override;
  void put(const host::Change& change);

  host::Tracker _tracker;
  bool _turns;
};

}  // namespace vesk::viewer
