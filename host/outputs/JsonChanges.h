/// Changes as JSON: a record for each report that differs from the one before, beside those of
/// problems and counts.
#pragma once

#include "host/changes/Tracker.h"
#include "host/outputs/Json.h"

namespace vesk::host {

class JsonChangesOutput final : public JsonOutput {
 public:
  JsonChangesOutput(const OutputContext& context, Framing framing);

  void beginFile(std::string_view name) override;
  std::optional<std::uint64_t> unchanged() const override { return _tracker.unchanged(); }
  void finish() override;

 private:
  bool tellsDirection() const override { return false; }
  void writeChecked(const Report& report, const ReportInfo& info) override;
  void show(const Comparison& comparison);

  Tracker _tracker;
  bool _elements;
};

}  // namespace vesk::host
