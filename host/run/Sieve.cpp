#include "host/run/Sieve.h"

#include <algorithm>

#include "host/outputs/Output.h"
#include "text/numbers.h"

namespace vesk::host {

Selection selectionOf(const Options& options) {
  Selection selection{.type = options.type, .window = options.window};
  for (const WantedReport& report : options.reports) selection.ids.push_back(report.id);
  return selection;
}

Sieve::Sieve(const Options& options, const KnownReports& known)
    : _options(options), _known(known), _selection(selectionOf(options)) {}

bool Sieve::passes(const Report& report) {
  _someFound = true;
  if (!_selection.has(report)) return false;
  _matchedIds.set(report.id());
  return isInWindow(report);
}

bool Sieve::passes(const Problem& problem) {
  if (problem.reportId) _someFound = true;
  if (!_selection.has(problem)) return false;
  if (problem.reportId) {
    _matchedIds.set(*problem.reportId);
    _someInWindow = true;
  }
  return true;
}

bool Sieve::isInWindow(const Report& report) {
  switch (_selection.window.judge(report.microseconds)) {
    case TimeWindow::Verdict::Inside:
      _someInWindow = true;
      return true;
    case TimeWindow::Verdict::Untimed:
      ++_untimed;
      return false;
    case TimeWindow::Verdict::Outside:
      break;
  }
  const std::int64_t time = *report.microseconds;
  if (!_timesOutside) _timesOutside = {time, time};
  auto& [first, last] = *_timesOutside;
  first = std::min(first, time);
  last = std::max(last, time);
  return false;
}

std::string Sieve::unmatched() const {
  std::string written;
  std::string meant;
  for (const WantedReport& report : _options.reports) {
    const auto hexadecimal = parseNumber<std::uint32_t>(report.text, 16);
    const bool isDecimal = parseNumber<std::uint32_t>(report.text).has_value();
    const auto isMeant = [&](const ReportInfo& info) { return info.id == hexadecimal; };
    if (!isDecimal || _matchedIds.test(report.id) || std::ranges::none_of(_known.all(), isMeant))
      continue;
    written.append(written.empty() ? "--report " : ",").append(report.text);
    meant.append(meant.empty() ? "; did you mean 0x" : ",0x").append(report.text);
  }
  const bool byDevice = _options.usb.device || _options.usb.endpoint;
  const bool isVain = (_matchedIds.none() || !_someInWindow) && !_options.selection.empty();
  if (isVain && (_someFound || byDevice)) written = _options.selection;
  if (written.empty() || (isVain && !_someFound && !byDevice)) return {};
  if (isVain && _matchedIds.any()) {  // but for the window
    if (!_timesOutside) return {};    // nothing has a time, which is told
    meant = "; the times of the reports go from " + secondsText(_timesOutside->first) + " to " +
            secondsText(_timesOutside->second) + " s";
  } else if (!meant.empty()) {
    meant += '?';
  }
  return "nothing matches " + written + meant;
}

}  // namespace vesk::host
