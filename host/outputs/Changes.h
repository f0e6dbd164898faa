/// Changes for people: of each report, where it came from and what differs from the one before.
///
///     run.hid:12, 3.500000 s, report 0xE1 (feature)
///       PSE_EVENT_AFE_BROWNOUT: 0 -> 1 (+1, 2/s)
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/changes/Tracker.h"
#include "host/outputs/Output.h"

namespace vesk::host {

class ChangesOutput final : public DecodingOutput {
 public:
  explicit ChangesOutput(const OutputContext& context);

  void beginFile(std::string_view name) override;
  std::optional<std::uint64_t> unchanged() const override { return _tracker.unchanged(); }
  void finish() override { _tracker.finish(); }

 private:
  void writeChecked(const Report& report, const ReportInfo& info) override;
  void show(const Comparison& comparison);

  Sink& _sink;
  Tracker _tracker;
  bool _elements;
  bool _colours;
};

/// A change as a line, or with `elements` as several, for people; without newlines.
std::vector<std::string> describe(const Change& change, bool elements);

/// What is concluded, for people; empty if nothing is.
std::string_view describe(Restart restart);

}  // namespace vesk::host
