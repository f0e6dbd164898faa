#include "host/outputs/Sequence.h"

#include <algorithm>
#include <utility>

namespace vesk::host {

namespace {

constexpr std::uint32_t kWindow = 64;  // numbers that `came` has bits for
constexpr std::uint32_t kNear = 8;     // numbers among which a report can come twice
constexpr std::uint64_t kShortRun = 8;
constexpr std::size_t kNamedGaps = 10;
constexpr std::size_t kMostGaps = 128;       // at least those and all that the window holds
constexpr std::uint32_t kHalf = 0x80000000;  // a step of no less leads back

}  // namespace

void Sequence::follow(std::uint32_t number, const Place& place) {
  if (!_run.newest) return _run.begin(number);

  const std::uint32_t step = number - *_run.newest;
  if (step != 1 && _before.newest && number - *_before.newest == 1) {
    --_restarted;
    _late += _run.reports;
    _run = std::exchange(_before, {});
    return _run.advance(number, place);
  }
  if (step != 0 && step < kHalf)
    _run.advance(number, place);
  else
    fallBack(number);
  if (_before.newest && _run.reports > kShortRun) {
    _ended.append(_before);
    _before = {};
  }
}

/// A number that is not ahead of the newest.
void Sequence::fallBack(std::uint32_t number) {
  const std::uint32_t behind = *_run.newest - number;
  if (behind >= kWindow) return restart(number);
  const std::uint64_t bit = std::uint64_t{1} << behind;
  if ((_run.came & bit) != 0) {
    if (behind >= kNear) return restart(number);
    ++_doubled;
    return;
  }
  if (behind >= _run.reach && behind >= kNear) return restart(number);
  ++_late;
  _run.came |= bit;
  if (behind < _run.reach) _run.fill(number);
}

void Sequence::restart(std::uint32_t number) {
  ++_restarted;
  _ended.append(_before);
  _before = std::exchange(_run, {});
  _run.begin(number);
}

void Sequence::endStream(std::string_view file) {
  _ended.append(_before);
  _ended.append(_run);
  _before = {};
  _run = {};
  const std::size_t known = _gaps.size();
  _gaps = gaps(file);
  _ended.unnamed += _ended.gaps.size() - (_gaps.size() - known);
  _ended.gaps.clear();
}

std::uint64_t Sequence::gapCount() const {
  std::uint64_t count = _gaps.size();
  for (const Run* run : {&_ended, &_before, &_run}) count += run->gaps.size() + run->unnamed;
  return count;
}

std::vector<Sequence::Gap> Sequence::gaps(std::string_view file) const {
  std::vector<Gap> gaps = _gaps;
  for (const Run* run : {&_ended, &_before, &_run})
    for (const OpenGap& gap : run->gaps)
      if (gaps.size() < kNamedGaps)
        gaps.push_back({describe(file, gap.before), gap.first, gap.last});
  return gaps;
}

void Sequence::Run::begin(std::uint32_t number) {
  newest = number;
  came = 1;
  reach = 1;
  reports = 1;
}

/// A number ahead of the newest.
void Sequence::Run::advance(std::uint32_t number, const Place& place) {
  const std::uint32_t step = number - *newest;
  if (step > 1) {
    lost += step - 1;
    gaps.push_back({place, *newest + 1, number - 1});
  }
  newest = number;
  came = step < kWindow ? came << step | 1 : 1;
  reach = step < kWindow ? std::min(reach + step, kWindow) : kWindow;
  ++reports;
  if (gaps.size() > kMostGaps) forget();
}

/// A missing number came: its gap gets smaller, ends, or falls into two.
void Sequence::Run::fill(std::uint32_t number) {
  const auto holds = [&](const OpenGap& gap) { return number - gap.first <= gap.last - gap.first; };
  const auto gap = std::ranges::find_if(gaps, holds);
  if (gap == gaps.end()) return;
  --lost;
  if (gap->first == gap->last) {
    gaps.erase(gap);
  } else if (number == gap->first) {
    ++gap->first;
  } else if (number == gap->last) {
    --gap->last;
  } else {
    OpenGap upper = *gap;
    upper.first = number + 1;
    gap->last = number - 1;
    gaps.insert(gap + 1, upper);
  }
}

/// Drops all but the first gaps and those within the window, which late reports can fill.
void Sequence::Run::forget() {
  const auto isOver = [&](const OpenGap& gap) { return *newest - gap.last >= kWindow; };
  const auto kept = std::remove_if(gaps.begin() + kNamedGaps, gaps.end(), isOver);
  unnamed += static_cast<std::uint64_t>(gaps.end() - kept);
  gaps.erase(kept, gaps.end());
}

/// Adds what was found in a run that is over.
void Sequence::Run::append(const Run& other) {
  lost += other.lost;
  unnamed += other.unnamed;
  gaps.insert(gaps.end(), other.gaps.begin(), other.gaps.end());
  if (gaps.size() <= kNamedGaps) return;
  unnamed += gaps.size() - kNamedGaps;
  gaps.resize(kNamedGaps);
}

}  // namespace vesk::host
