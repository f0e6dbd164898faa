/// Runs the tests that limits are, a file after the other.
///
///     LimitTests tests({plugin, known, sink}, limits);
///     tests.beginFile("panel-2.hex");
///     tests.write(report, info);  // each report, and each problem
///     tests.endFile({}).summary();  // "FAIL, 3 of 41 tests"
#pragma once

#include <string>
#include <vector>

#include "host/limits/Limits.h"
#include "host/limits/Verdict.h"
#include "host/outputs/Output.h"

namespace vesk::host {

/// It is an output, which guards the decoders, and writes nothing.
class LimitTests final : public DecodingOutput {
 public:
  /// Decodes by the context's plug-in. `limits` must outlive it.
  LimitTests(const OutputContext& context, Limits& limits);
  ~LimitTests() override;

  void beginFile(std::string_view name) override;

  /// A report that didn't decode fails the tests of its kind.
  using DecodingOutput::write;
  void write(const Problem& problem) override;

  /// What there is to say of a file besides its reports.
  struct FileEnd {
    std::uint64_t errors = 0;  // of any kind
    bool interrupted = false;  // before its end
    bool leftOut = false;      // some reports are not in the output
    bool selected = false;     // some reports may have been left out on purpose
  };

  /// The results of the file that began last.
  Verdict endFile(const FileEnd& end);

 private:
  struct Test;
  struct Panel;
  class Visit;

  void writeChecked(const Report& report, const ReportInfo& info) override;
  Panel* panelOf(const std::optional<UsbSender>& sender);
  LimitResult resultOf(const ReportLimits& limits, const KeyLimits& key, const Test& test,
                       bool selected) const;
  LimitResult resultOfFile(const FileEnd& end, bool allSkipped) const;

  const KnownReports& _known;
  Limits& _limits;
  std::string _file;
  std::vector<Panel> _panels;  // in the order in which they came
  std::size_t _latest = 0;     // index of the one that sent last
  bool _tooManyPanels = false;
};

}  // namespace vesk::host
