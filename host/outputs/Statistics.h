/// What a run has seen: reports by kind, problems by code, and frames that got lost on the way.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnownReports.h"
#include "host/Problem.h"
#include "host/Report.h"
#include "host/outputs/Sequence.h"

namespace vesk::host {

class Statistics {
 public:
  /// Counts what `known` numbers; it must outlive the counts.
  explicit Statistics(const KnownReports& known);

  /// A file is a stream of its own for each of its senders. Live devices are told apart by
  /// themselves, and begin no files.
  void beginFile(std::string_view name);

  void count(const Report& report, const ReportInfo* info);
  void countToDevice() { ++_toDevice; }

  /// How many reports were the same as before, where that was looked at.
  void setUnchanged(std::optional<std::uint64_t> reports) { _unchanged = reports; }

  /// How many reports a selection by time left out, since they have none.
  void setUntimed(std::uint64_t reports) { _untimed = reports; }

  void count(ProblemCode code) { ++_problems[static_cast<std::size_t>(code)]; }

  struct KindCount {
    std::uint32_t id;
    ReportType type;
    const ReportInfo* info;  // null if no decoder knows it
    std::uint64_t reports;
  };

  /// The numbers that a sender gave to a stream of its reports.
  struct Stream {
    const ReportInfo* info;           // of its reports, which have a counter
    std::optional<UsbSender> sender;  // none where the input doesn't tell
    const HidDevice* device;          // null but for a live one
    Sequence numbers = {};

    /// Where its places are: its device, or else the file that is being read.
    std::string_view fileOr(std::string_view file) const {
      return device != nullptr ? std::string_view(device->node) : file;
    }
  };

  const std::vector<KindCount>& kinds() const { return _kinds; }
  std::uint64_t problems(ProblemCode code) const {
    return _problems[static_cast<std::size_t>(code)];
  }
  /// In the order of the known reports, and those of several senders as they came.
  std::vector<const Stream*> streams() const;

  /// The file that is being read, whose places the gaps of these streams may tell.
  std::string_view file() const { return _file; }

  /// Reports whose numbers were not followed, since they had too many senders.
  std::uint64_t unfollowed() const { return _unfollowed; }

  std::uint64_t reports() const { return _reports; }

  /// What hosts sent, which counts nowhere else.
  std::uint64_t toDevice() const { return _toDevice; }

  /// Reports without a time, which a selection by time left out, and which count nowhere else.
  std::uint64_t untimed() const { return _untimed; }
  /// Reports of live devices that had no room, since the output was too slow; the numbers of their
  /// streams miss them, too.
  void countUnread(std::uint64_t reports) { _unread += reports; }
  std::uint64_t unread() const { return _unread; }

  /// All of it as a table for people.
  std::string table() const;

 private:
  KindCount& entryFor(const Report& report, const ReportInfo* info);
  Stream* streamOf(const Report& report, const ReportInfo& info);

  const KnownReports& _known;
  std::string _file;
  std::uint64_t _reports = 0;
  std::uint64_t _toDevice = 0;
  std::optional<std::uint64_t> _unchanged;
  std::uint64_t _untimed = 0;
  std::vector<KindCount> _kinds;  // in the order in which they came
  std::size_t _latest = 0;        // index of the kind that came last, which mostly comes again
  std::array<std::uint64_t, kProblemCodes> _problems{};
  std::vector<Stream> _streams;   // in the order in which they came
  std::size_t _latestStream = 0;  // index of the one that the latest number is of
  std::uint64_t _unfollowed = 0;
  std::uint64_t _unread = 0;
};

}  // namespace vesk::host
