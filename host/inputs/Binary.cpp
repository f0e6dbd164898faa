#include "host/inputs/Binary.h"

#include <algorithm>
#include <utility>

namespace vesk::host {

Item Binary::next() {
  const std::size_t previous = std::exchange(_reportSize, 0);
  _bytes.take(previous);
  const bool atHand = previous != 0 ? passPadding() : !_bytes.peek(1).empty();
  if (_ended || !atHand) return End{};

  const auto id = static_cast<std::uint8_t>(_bytes.window().front());
  const ReportInfo* info = _known.find(id, std::nullopt);
  if (info == nullptr) return unknown(id);

  const std::size_t size = info->nulTerminated ? textReportSize() : info->smallest;
  const std::string_view window = _bytes.peek(size);
  _reportSize = std::min(size, window.size());
  Report report;
  report.bytes = {reinterpret_cast<const std::uint8_t*>(window.data()), _reportSize};
  report.type = info->type;
  report.place = {Place::Unit::Offset, _bytes.position()};
  return report;
}

/// Takes the zeros behind a report; false at the end of the stream.
bool Binary::passPadding() {
  while (!_bytes.peek(1).empty()) {
    const std::string_view window = _bytes.window();
    const std::size_t padding = std::min(window.find_first_not_of('\0'), window.size());
    _bytes.take(padding);
    if (padding < window.size()) return true;
  }
  return false;
}

/// Size of the report at hand, its NUL included. Text without one ends with the stream, or where no
/// report can be longer.
std::size_t Binary::textReportSize() {
  std::size_t searched = 0;
  for (;;) {
    const std::string_view window = _bytes.window().substr(0, kLongestReport);
    const std::size_t nul = window.find('\0', searched);
    if (nul != std::string_view::npos) return nul + 1;
    searched = window.size();
    if (searched == kLongestReport || !_bytes.readMore()) return searched;
  }
}

Item Binary::unknown(std::uint8_t id) {
  _ended = true;
  const std::uint64_t offset = _bytes.position();
  Problem problem = problemAt({Place::Unit::Offset, offset},
                              ProblemCode::UnknownReport,
                              describe(id, std::nullopt) +
                                  ": unknown, so its length is too, and what follows can't be "
                                  "split into reports");
  problem.reportId = id;
  problem.offset = offset;
  return problem;
}

}  // namespace vesk::host
