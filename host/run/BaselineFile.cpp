#include "host/run/BaselineFile.h"

#include <optional>
#include <utility>
#include <variant>

#include "host/inputs/Compressed.h"
#include "host/inputs/Forms.h"
#include "host/outputs/Output.h"
#include "host/run/FileBytes.h"
#include "host/run/Options.h"
#include "host/run/Signals.h"

namespace vesk::host {

namespace {

/// Keeps the last report of each kind.
class Keeper final : public DecodingOutput {
 public:
  Keeper(const OutputContext& context, std::string file)
      : DecodingOutput(context), _file(std::move(file)) {}

  Baseline take() { return std::move(_baseline); }

 private:
  void writeChecked(const Report& report, const ReportInfo& info) override {
    const auto decoded = [&](Plugin::Mode mode) {
      return mode == Plugin::Mode::Text ? decodeLines(info) : decode(info, mode);
    };
    Snapshot now = snapshotOf(report, info, _file, decoded);
    Snapshot& kept = _baseline[&info];
    if (kept.info != nullptr && kept.sender != now.sender) refuseSenders(kept, now);
    kept = std::move(now);
  }

  /// Which of them is meant, nobody says; numbers of devices differ from capture to capture.
  [[noreturn]] void refuseSenders(const Snapshot& kept, const Snapshot& now) const {
    throw UsageFault("--baseline " + describe(_file, now.place) + ": " +
                     describe(now.info->id, now.info->type) + " comes from several senders, " +
                     senderText(kept) + " and " + senderText(now) +
                     "; make a capture of one: vesk-decode -o recording --device BUS:DEV");
  }

  static std::string senderText(const Snapshot& snapshot) {
    return snapshot.sender ? describe(*snapshot.sender) : "one that is not known";
  }

  std::string _file;
  Baseline _baseline;
};

}  // namespace

Baseline readBaseline(const std::string& file, const BaselineReader& reader) {
  const auto refuse = [&](const std::string& why) {
    throw UsageFault("--baseline " + file + ": " + why);
  };
  Collector nowhere;
  Keeper keeper({reader.plugin, reader.known, nowhere}, file);
  const auto tell = [&](const Problem& problem) {
    if (problem.endsInput()) throw InputFault(problem.message);
    reader.tell(problem);
  };
  try {
    FileBytes bytes(file, [](const FileBytes&, bool) { return std::nullopt; });
    const auto unpacked = decompressed(bytes);
    Bytes& content = unpacked ? *unpacked : bytes;
    const InputForm& form = detectForm(content, reader.known);
    reader.tellForm(form.description);
    const auto input = openInput(form, content, {reader.known});
    for (;;) {
      Item item = input->next();
      if (interrupted() || std::holds_alternative<End>(item)) break;
      if (const auto* problem = std::get_if<Problem>(&item)) {
        tell(*problem);
        continue;
      }
      auto& report = std::get<Report>(item);
      const ReportInfo* const info = reader.known.find(report.id(), report.type);
      if (info != nullptr) report.type = info->type;
      if (report.direction == Direction::ToDevice || !reader.wanted(report)) continue;
      if (const auto problem = keeper.write(report, info)) tell(*problem);
    }
  } catch (const InputFault& fault) {
    refuse(fault.what());
  }
  Baseline baseline = keeper.take();
  if (baseline.empty() && !interrupted()) refuse("no report in it that is wanted was decoded");
  return baseline;
}

}  // namespace vesk::host
