/// Which report each one is compared with, and what is news about it.
///
/// Every sender has its own reports: a device and endpoint of a file. A report is compared with the
/// one before it of its kind and sender; the first one is the baseline, and nothing is said of it.
///
///     Tracker tracker(rules);
///     tracker.beginFile("capture.hid");
///     for (const Comparison& news : tracker.follow(report, info, decode)) ...
///
/// With a baseline from elsewhere, each is compared with that instead. With IDs to compare across,
/// the latest report of the first ID is what the latest ones of the others are compared with. In both
/// cases a report that is the same as the one before it is no news.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/Report.h"
#include "host/Value.h"
#include "host/changes/Changes.h"
#include "host/changes/Course.h"

namespace vesk::host {

/// What a report said, and where it came from.
struct Snapshot {
  const ReportInfo* info = nullptr;
  std::string file;
  Place place;
  std::optional<std::int64_t> microseconds;
  std::optional<UsbSender> sender;
  const HidDevice* device = nullptr;  // as a report has it
  std::vector<std::uint8_t> bytes;
  std::vector<Field> fields;  // none where the report has no object
  std::string lines;          // each with a newline
};

/// Decodes the report at hand. Throws DecoderFault.
using DecodeReport = std::function<Decoded(Plugin::Mode)>;

Snapshot snapshotOf(const Report& report, const ReportInfo& info, std::string_view file,
                    const DecodeReport& decode);

/// The last report of each kind in a capture.
using Baseline = std::map<const ReportInfo*, Snapshot>;

/// How reports are to be compared.
struct ChangeRules {
  const Baseline* baseline = nullptr;          // null: each with the one before it
  std::vector<const ReportInfo*> across = {};  // none, or at least two of one decoder

  /// Tells people what can't be compared: where that is, and why.
  std::function<void(std::string_view where, std::string_view what)> tell = {};

  /// Called once for each kind that the baseline lacks.
  std::function<void(const Report& report, const ReportInfo& info)> lacksBaseline = {};
};

/// Two reports, and what differs.
struct Comparison {
  const Snapshot& before;
  const Snapshot& after;
  bool follows;                 // whether `after` is the next report from the same sender
  std::vector<Change> changes;  // none if the report went back to what it is compared with
  Restart restart = Restart::None;
  std::optional<double> seconds = {};  // from one to the other, of reports that follow each other
};

class Tracker {
 public:
  explicit Tracker(ChangeRules rules) : _rules(std::move(rules)) {}

  /// What comes from here on comes from this file; it may have been begun before.
  void beginFile(std::string_view name);

  /// Takes the next report and returns what is news about it: views that live until the next call.
  /// Throws DecoderFault, and has forgotten nothing then.
  std::vector<Comparison> follow(const Report& report, const ReportInfo& info,
                                 const DecodeReport& decode);

  /// Reports that were the same as what they were compared with, or as the one before.
  std::uint64_t unchanged() const { return _unchanged; }

  /// Tells what was not compared though people may think so.
  void finish();

 private:
  /// bus, device and endpoint; -1 where the input doesn't tell.
  using Sender = std::tuple<int, int, int>;

  /// What came from a file.
  struct Source {
    std::string name;
    std::uint64_t begun = 0;  // when it was begun last
    std::map<std::pair<Sender, const ReportInfo*>, Snapshot> latest = {};
  };

  void forgetOldest();
  bool hasRoom();
  bool isAcross(const ReportInfo& info) const;
  const Snapshot* baselineOf(const Report& report, const ReportInfo& info);
  void compareAcross(const Sender& sender, const Snapshot& now, bool first,
                     std::vector<Comparison>& news);
  Comparison followed(const Snapshot& before, const Snapshot& after, std::vector<Change> changes);
  void compare(const Snapshot& before, const Snapshot& after, bool first,
               std::vector<Comparison>& news);
  void tellAlone(const Source& source);
  void tellAbsent();

  ChangeRules _rules;
  std::vector<Source> _sources;
  std::size_t _source = 0;  // index of the one at hand
  std::uint64_t _begun = 0;
  std::uint64_t _reports = 0;  // that were decoded
  std::uint64_t _compared = 0;
  std::uint64_t _unchanged = 0;
  std::uint64_t _untracked = 0;
  std::set<const ReportInfo*> _kinds;  // that came, if they are to be compared with a baseline
  Snapshot _previous;  // what the latest one replaced, while its comparison is looked at
};

}  // namespace vesk::host
