#include "host/outputs/Statistics.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vesk::host {

namespace {

constexpr std::size_t kNamedGaps = 10;

/// The number in a report; none where the report ends before it. It is read from the bytes, so that
/// printing text with statistics doesn't decode every frame a second time.
std::optional<std::uint32_t> numberIn(std::span<const std::uint8_t> bytes, std::size_t offset) {
  constexpr std::size_t kSize = 4;
  if (bytes.size() < kSize || offset > bytes.size() - kSize) return std::nullopt;
  std::uint32_t value = 0;
  for (std::size_t i = kSize; i-- > 0;) value = value << 8 | bytes[offset + i];
  return value;
}

template <class... Arguments>
void appendFormatted(std::string& text, const char* format, Arguments... arguments) {
  std::array<char, 256> line;
  std::snprintf(line.data(), line.size(), format, arguments...);
  text += line.data();
}

void appendLosses(std::string& text, const Statistics::Losses& losses) {
  const std::string counter(losses.counter);
  appendFormatted(
      text, "%10llu  lost by %s\n", static_cast<unsigned long long>(losses.lost), counter.c_str());
  for (const Statistics::Gap& gap : losses.gaps) {
    const std::string numbers = gap.first == gap.last
                                    ? std::to_string(gap.first)
                                    : std::to_string(gap.first) + " to " + std::to_string(gap.last);
    text.append(12, ' ').append(numbers).append(" missing before ").append(gap.before) += '\n';
  }
  if (losses.gapCount > losses.gaps.size())
    appendFormatted(text,
                    "            and %llu more gaps\n",
                    static_cast<unsigned long long>(losses.gapCount - losses.gaps.size()));
}

}  // namespace

Statistics::Statistics(const KnownReports& known) {
  for (const ReportInfo& info : known.all()) {
    if (!info.counter) continue;
    Counter& counter = _counters.emplace_back();
    counter.info = &info;
    counter.losses.counter = info.counter->key;
  }
}

void Statistics::beginFile(std::string_view name) {
  _file = name;
  for (Counter& counter : _counters) counter.previous.reset();
}

void Statistics::count(const Report& report, const ReportInfo* info) {
  ++_reports;
  ++entryFor(report, info).reports;
  if (info == nullptr || !info->counter) return;
  const auto number = numberIn(report.bytes, info->counter->offset);
  if (!number) return;
  const auto counter = std::ranges::find(_counters, info, &Counter::info);
  if (counter != _counters.end()) follow(*counter, *number, report.place);
}

Statistics::KindCount& Statistics::entryFor(const Report& report, const ReportInfo* info) {
  const ReportType type = report.type.value_or(ReportType::Input);
  const auto matches = [&](const KindCount& entry) {
    return entry.id == report.id() && entry.type == type;
  };
  if (_latest < _kinds.size() && matches(_kinds[_latest])) return _kinds[_latest];
  const auto found = std::ranges::find_if(_kinds, matches);
  _latest = static_cast<std::size_t>(found - _kinds.begin());
  if (found != _kinds.end()) return *found;
  return _kinds.emplace_back(KindCount{report.id(), type, info, 0});
}

/// A number that jumps ahead tells of lost reports; one that falls back, of a new start.
void Statistics::follow(Counter& counter, std::uint32_t number, const Place& place) {
  counter.occurred = true;
  const auto previous = std::exchange(counter.previous, number);
  if (!previous) return;
  const std::uint32_t step = number - *previous;  // counters wrap around
  if (step < 2 || step >= 0x80000000u) return;
  Losses& losses = counter.losses;
  losses.lost += step - 1;
  ++losses.gapCount;
  if (losses.gaps.size() < kNamedGaps)
    losses.gaps.push_back({describe(_file, place), *previous + 1, number - 1});
}

std::vector<Statistics::Losses> Statistics::losses() const {
  std::vector<Losses> losses;
  for (const Counter& counter : _counters)
    if (counter.occurred) losses.push_back(counter.losses);
  return losses;
}

std::string Statistics::table() const {
  std::string text;
  for (const KindCount& entry : _kinds)
    appendFormatted(text,
                    "%10llu  %s %s\n",
                    static_cast<unsigned long long>(entry.reports),
                    describe(entry.id, entry.type).c_str(),
                    entry.info == nullptr ? "unknown" : entry.info->decoder.c_str());
  appendFormatted(text, "%10llu  reports in all\n", static_cast<unsigned long long>(_reports));
  if (_toDevice != 0)
    appendFormatted(text,
                    "%10llu  from the host to the device, not among them\n",
                    static_cast<unsigned long long>(_toDevice));
  for (std::size_t i = 0; i < kProblemCodes; ++i) {
    if (_problems[i] == 0) continue;
    appendFormatted(text,
                    "%10llu  %s\n",
                    static_cast<unsigned long long>(_problems[i]),
                    std::string(nameOf(static_cast<ProblemCode>(i))).c_str());
  }
  for (const Losses& counted : losses()) appendLosses(text, counted);
  return text;
}

}  // namespace vesk::host
