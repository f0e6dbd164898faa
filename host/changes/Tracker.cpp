#include "host/changes/Tracker.h"

#include <algorithm>
#include <utility>

namespace vesk::host {

namespace {

// Memory stays bounded whatever a capture claims: no bus has so many devices that send so many kinds.
constexpr std::size_t kMostSnapshots = 512;
constexpr std::size_t kMostSources = 64;

constexpr double kMicroseconds = 1e6;  // in a second

std::optional<double> secondsBetween(const Snapshot& before, const Snapshot& after) {
  if (!before.microseconds || !after.microseconds) return std::nullopt;
  return (static_cast<double>(*after.microseconds) - static_cast<double>(*before.microseconds)) /
         kMicroseconds;
}

bool areIdentical(const std::vector<Field>& before, const std::vector<Field>& after) {
  return std::ranges::equal(before, after, [](const Field& old, const Field& now) {
    return old.key == now.key && same(old.value, now.value);
  });
}

/// What the text alone says is looked at where the object is the same, or is none. Where a NaN became
/// another one, which is no change, its text may differ.
std::vector<Change> differencesOf(const Snapshot& before, const Snapshot& after) {
  if (areIdentical(before.fields, after.fields))
    return lineChangesBetween(before.lines, after.lines);
  return changesBetween(before.fields, after.fields);
}

}  // namespace

Snapshot snapshotOf(const Report& report, const ReportInfo& info, std::string_view file,
                    const DecodeReport& decode) {
  return {&info,
          std::string(file),
          report.place,
          report.microseconds,
          report.sender,
          report.device,
          {report.bytes.begin(), report.bytes.end()},
          fieldsOf(decode(Plugin::Mode::Object)),
          std::string(decode(Plugin::Mode::Text).text())};
}

void Tracker::beginFile(std::string_view name) {
  const auto found = std::ranges::find(_sources, name, &Source::name);
  _source = static_cast<std::size_t>(found - _sources.begin());
  if (found == _sources.end()) _sources.push_back({std::string(name)});
  _sources[_source].begun = ++_begun;
  if (_sources.size() > kMostSources) forgetOldest();
}

/// Forgets the file that was begun longest ago.
void Tracker::forgetOldest() {
  const auto oldest = std::ranges::min_element(_sources, {}, &Source::begun);
  const auto index = static_cast<std::size_t>(oldest - _sources.begin());
  tellAlone(*oldest);
  _sources.erase(oldest);
  if (index < _source) --_source;
}

/// Makes room for one report more. False if the file at hand has taken all the room by itself.
bool Tracker::hasRoom() {
  for (;;) {
    std::size_t kept = 0;
    for (const Source& source : _sources) kept += source.latest.size();
    if (kept < kMostSnapshots) return true;
    if (_sources.size() == 1) return false;
    forgetOldest();
  }
}

std::vector<Comparison> Tracker::follow(const Report& report, const ReportInfo& info,
                                        const DecodeReport& decode) {
  std::vector<Comparison> news;
  if (_sources.empty()) beginFile({});
  const Sender sender =
      report.sender ? Sender(report.sender->bus, report.sender->device, report.sender->endpoint)
                    : Sender(-1, -1, -1);
  const std::pair key(sender, &info);
  auto found = _sources[_source].latest.find(key);
  const bool first = found == _sources[_source].latest.end();
  if (!first && std::ranges::equal(found->second.bytes, report.bytes)) {
    found->second.place = report.place;
    found->second.microseconds = report.microseconds;
    ++_compared;
    ++_unchanged;
    return news;
  }
  Snapshot now = snapshotOf(report, info, _sources[_source].name, decode);
  ++_reports;
  if (first) {
    if (!hasRoom()) {
      ++_untracked;
      return news;
    }
    found = _sources[_source].latest.emplace(key, Snapshot()).first;
  }
  _previous = std::exchange(found->second, std::move(now));
  std::vector<Change> sincePrevious;
  if (!first) sincePrevious = differencesOf(_previous, found->second);
  if (!first && sincePrevious.empty()) {
    ++_compared;
    ++_unchanged;
    return news;
  }
  if (isAcross(info))
    compareAcross(sender, found->second, first, news);
  else if (const Snapshot* const baseline = baselineOf(report, info))
    compare(*baseline, found->second, first, news);
  else if (!first)
    news.push_back(followed(_previous, found->second, std::move(sincePrevious)));
  return news;
}

bool Tracker::isAcross(const ReportInfo& info) const {
  return std::ranges::find(_rules.across, &info) != _rules.across.end();
}

const Snapshot* Tracker::baselineOf(const Report& report, const ReportInfo& info) {
  if (_rules.baseline == nullptr) return nullptr;
  const bool isNew = _kinds.insert(&info).second;
  const auto found = _rules.baseline->find(&info);
  if (found != _rules.baseline->end()) return &found->second;
  if (isNew && _rules.lacksBaseline) _rules.lacksBaseline(report, info);
  return nullptr;
}

/// Of the first ID, or with it.
void Tracker::compareAcross(const Sender& sender, const Snapshot& now, bool first,
                            std::vector<Comparison>& news) {
  const auto& latest = _sources[_source].latest;
  const auto base = latest.find({sender, _rules.across.front()});
  if (base == latest.end()) return;
  for (const ReportInfo* const info : _rules.across) {
    if (info == _rules.across.front()) continue;
    const auto other = latest.find({sender, info});
    if (other == latest.end()) continue;
    if (&base->second == &now || &other->second == &now)
      compare(base->second, other->second, first, news);
  }
}

/// A report and the one before it, which differ.
Comparison Tracker::followed(const Snapshot& before, const Snapshot& after,
                             std::vector<Change> changes) {
  ++_compared;
  Comparison comparison{before, after, true, std::move(changes)};
  noteBits(*after.info, comparison.changes);
  comparison.seconds = secondsBetween(before, after);
  comparison.restart = noteCourses(*after.info, comparison.seconds, comparison.changes);
  return comparison;
}

/// A report and what it is compared with instead. A first report that is the same is no news, and a
/// later one is: it was not.
void Tracker::compare(const Snapshot& before, const Snapshot& after, bool first,
                      std::vector<Comparison>& news) {
  ++_compared;
  Comparison comparison{before, after, false, differencesOf(before, after)};
  if (comparison.changes.empty() && first) {
    ++_unchanged;
    return;
  }
  noteBits(*after.info, comparison.changes);
  news.push_back(std::move(comparison));
}

/// Tells of senders in a file that sent some of the IDs to compare across, and not what they are to
/// be compared with.
void Tracker::tellAlone(const Source& source) {
  if (_rules.across.empty() || !_rules.tell) return;
  const ReportInfo* const base = _rules.across.front();
  std::map<Sender, std::pair<const ReportInfo*, bool>> senders;  // what came of others; the base
  for (const auto& [key, snapshot] : source.latest) {
    if (!isAcross(*key.second)) continue;
    auto& [other, hasBase] = senders[key.first];
    if (key.second == base)
      hasBase = true;
    else
      other = key.second;
  }
  for (const auto& [sender, came] : senders) {
    const auto& [other, hasBase] = came;
    if (hasBase && other != nullptr) continue;
    const ReportInfo* const alone = hasBase ? base : other;
    const std::string missing = hasBase ? "the others of --across" : describe(base->id, base->type);
    _rules.tell(source.name,
                describe(alone->id, alone->type) + " is compared with nothing: of " + missing +
                    " none came" + (hasBase ? "" : " from the same sender"));
  }
}

/// Tells what the baseline has, and never came.
void Tracker::tellAbsent() {
  std::string absent;
  if (_rules.baseline != nullptr)
    for (const auto& [info, snapshot] : *_rules.baseline)
      if (!_kinds.contains(info))
        absent.append(absent.empty() ? "" : ", ").append(describe(info->id, info->type));
  if (!absent.empty())
    _rules.tell("vesk-decode", "the baseline has reports of which none came: " + absent);
}

void Tracker::finish() {
  if (!_rules.tell) return;
  for (const Source& source : _sources) tellAlone(source);
  tellAbsent();
  if (_untracked != 0)
    _rules.tell(
        "vesk-decode",
        std::to_string(_untracked) + " reports were compared with nothing: too many senders");
  if (_reports != 0 && _compared == 0 && _rules.across.empty() && _rules.baseline == nullptr)
    _rules.tell(
        "vesk-decode",
        "nothing was compared, since each report is the first of its kind from its sender; "
        "--baseline FILE compares with another capture, --across ID,ID with another report");
}

}  // namespace vesk::host
