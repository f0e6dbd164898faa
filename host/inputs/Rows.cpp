#include "host/inputs/Rows.h"

#include <algorithm>
#include <utility>

#include "host/inputs/PlainText.h"

namespace vesk::host {

namespace {

/// No report is of one byte, and no program writes one byte a row.
constexpr std::size_t kNarrowest = 2;

using ByteSpan = std::span<const std::uint8_t>;

/// The bytes that the ID demands; none if they are text whose end does not show.
std::optional<std::size_t> demanded(ByteSpan bytes, const ReportInfo& info) {
  if (!info.nulTerminated) return info.smallest;
  const auto end = std::ranges::find(bytes, 0);
  if (end == bytes.end()) return std::nullopt;
  return static_cast<std::size_t>(end - bytes.begin()) + 1;
}

bool demandsMore(ByteSpan bytes, const ReportInfo& info) {
  const auto size = demanded(bytes, info);
  return !size || *size > bytes.size();
}

/// Whether a row may be a report of its own: whole or too short, but no more than that.
bool isNoMore(ByteSpan bytes, const ReportInfo& info) {
  const auto size = demanded(bytes, info);
  if (!size) return isPlainText(bytes.subspan(1));
  if (*size >= bytes.size()) return true;
  return std::ranges::all_of(bytes.subspan(*size), [](std::uint8_t byte) { return byte == 0; });
}

Problem problemWith(const Row& row, const ReportInfo& info, ProblemCode code,
                    std::string_view complaint) {
  Report report;
  report.bytes = row.bytes;
  report.type = info.type;
  report.place = {Place::Unit::Line, row.line};
  report.microseconds = row.microseconds;
  Problem problem = problemWith(report, code, complaint);
  problem.expected = demanded(row.bytes, info);
  problem.got = row.bytes.size();
  return problem;
}

}  // namespace

Item RowInput::next() {
  if (std::exchange(_passRun, false)) passRun();
  Next next = take();
  if (std::holds_alternative<End>(next)) return End{};
  if (auto* problem = std::get_if<Problem>(&next)) {
    _width = 0;
    return std::move(*problem);
  }
  Row row = std::get<Row>(std::move(next));
  const std::size_t size = row.bytes.size();
  const ReportInfo* info = _known.find(row.bytes.front(), row.type);
  if (row.whole) {
    _width = 0;
    return report(std::move(row));
  }
  if (row.exact) {
    _width = 0;
    if (info == nullptr || isNoMore(row.bytes, *info)) return report(std::move(row));
    return problemWith(row,
                       *info,
                       ProblemCode::LengthMismatch,
                       countedBytes(row.bytes.size()) + ", more than its layout, and no zeros");
  }
  const bool goesOn = !row.apart && _width != 0 && size <= _width;
  if (goesOn && size < _width) {
    _width = 0;  // a shorter row is the last
  } else if (!goesOn) {
    _width = size;
    if (info != nullptr && size >= kNarrowest && demandsMore(row.bytes, *info))
      return inSeveral(std::move(row), *info);
  }
  return single(std::move(row), info, goesOn);
}

std::vector<std::uint8_t> RowInput::spare() {
  std::vector<std::uint8_t> bytes = std::move(_given.bytes);
  bytes.clear();
  return bytes;
}

RowInput::Next RowInput::take() {
  if (!_next) return nextRow();
  Next next = std::move(*_next);
  _next.reset();
  return next;
}

/// The row behind the one at hand, if it goes on with the same run.
const Row* RowInput::following() {
  if (_width == 0) return nullptr;
  if (!_next) _next = nextRow();
  const auto* row = std::get_if<Row>(&*_next);
  return row != nullptr && !row->apart && row->bytes.size() <= _width ? row : nullptr;
}

Item RowInput::report(Row row) {
  _given = std::move(row);
  const Place place = {Place::Unit::Line, _given.line};
  if (auto problem = checkSize(place, _given.bytes.size())) return *problem;
  Report report;
  report.bytes = _given.bytes;
  report.type = _given.type;
  report.place = place;
  report.microseconds = _given.microseconds;
  return report;
}

Item RowInput::single(Row row, const ReportInfo* info, bool inRun) {
  if (info == nullptr || isNoMore(row.bytes, *info)) return report(std::move(row));
  if (row.unnamed)
    return problemWith(row,
                       *info,
                       ProblemCode::LengthMismatch,
                       countedBytes(row.bytes.size()) + ", more than its layout, and no zeros");
  if (!inRun) {
    const Row* const second = following();
    inRun = second != nullptr && second->bytes.size() == _width;
  }
  if (!inRun) return report(std::move(row));
  return problemWith(row,
                     *info,
                     ProblemCode::LengthMismatch,
                     "more than its layout, and no zeros, among other lines of " +
                         countedBytes(row.bytes.size()) +
                         ": this may be a piece of a longer report; write each report in one line");
}

/// A report that begins with `first`, as far as the rows behind it allow.
Item RowInput::inSeveral(Row first, const ReportInfo& info) {
  const Row* second = following();
  if (second == nullptr) return report(std::move(first));

  Row joined = first;
  const auto isWhole = [&] {
    const ByteSpan bytes = joined.bytes;
    if (demanded(bytes, info) != bytes.size()) return false;
    return !info.nulTerminated || isPlainText(bytes.subspan(1, bytes.size() - 2));
  };
  if (second->bytes.size() < _width) {
    joined.bytes.insert(joined.bytes.end(), second->bytes.begin(), second->bytes.end());
    if (!isWhole()) return report(std::move(first));
    take();
    _width = 0;
    return report(std::move(joined));
  }

  std::size_t lines = 1;
  while (const Row* row = following()) {
    const bool sameId = row->bytes.front() == first.bytes.front();
    joined.bytes.insert(joined.bytes.end(), row->bytes.begin(), row->bytes.end());
    ++lines;
    const auto size = demanded(joined.bytes, info);
    const bool tooMany = joined.bytes.size() > size.value_or(kLongestReport);
    if (sameId || tooMany) _passRun = true;
    if (sameId)
      return problemWith(first,
                         info,
                         ProblemCode::ShortReport,
                         countedBytes(first.bytes.size()) +
                             " in a line, fewer than its layout needs, and line " +
                             std::to_string(row->line) +
                             " begins alike: short reports, or pieces of long ones, and none of "
                             "them is decoded; write each report in one line");
    if (tooMany)
      return problemWith(joined,
                         info,
                         ProblemCode::LengthMismatch,
                         "the lines from here on without a gap are more than this report, which "
                         "has " +
                             countedBytes(size.value_or(kLongestReport)) +
                             ", and none of them is decoded; write each report in one line, or "
                             "an empty line between two");
    const bool isLast = row->bytes.size() < _width;
    take();
    if (isLast) _width = 0;
  }
  if (isWhole()) return report(std::move(joined));
  return problemWith(
      joined,
      info,
      ProblemCode::ShortReport,
      countedBytes(joined.bytes.size()) + " in " + std::to_string(lines) + " lines, " +
          (info.nulTerminated ? "and they are no text that ends there"
                              : "its layout needs " + std::to_string(info.smallest)));
}

/// Passes over the rest of the run at hand.
void RowInput::passRun() {
  while (const Row* row = following()) {
    if (row->bytes.size() < _width) _width = 0;
    take();
  }
}

}  // namespace vesk::host
