/// Lets pass what the options select, and knows at the end what they selected in vain.
///
///     Sieve sieve(options, known);
///     if (sieve.passes(report)) ...
///     sieve.unmatched();  // "nothing matches --report 99; did you mean 0x99?", or empty
#pragma once

#include <bitset>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "host/KnownReports.h"
#include "host/Selection.h"
#include "host/run/Options.h"

namespace vesk::host {

/// What of the options of the command line selects reports by themselves.
Selection selectionOf(const Options& options);

class Sieve {
 public:
  /// Options and reports must outlive it.
  Sieve(const Options& options, const KnownReports& known);

  bool passes(const Report& report);
  bool passes(const Problem& problem);

  const Selection& selection() const { return _selection; }

  /// Selected reports without a time, which are in no window.
  std::uint64_t untimed() const { return _untimed; }

  /// A selection that nothing passed is a mistake more often than not, and so is an ID in decimal
  /// that nothing has: everything else shows IDs in hexadecimal. Empty if there is nothing to tell.
  std::string unmatched() const;

 private:
  bool isInWindow(const Report& report);

  const Options& _options;
  const KnownReports& _known;
  const Selection _selection;
  std::bitset<kReportIds> _matchedIds;
  bool _someFound = false;     // reports, selected or not
  bool _someInWindow = false;  // of the selected ones
  std::uint64_t _untimed = 0;

  // Of selected reports that are not in the window, the first and the last time.
  std::optional<std::pair<std::int64_t, std::int64_t>> _timesOutside;
};

}  // namespace vesk::host
