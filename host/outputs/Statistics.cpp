#include "host/outputs/Statistics.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vesk::host {

namespace {

// No bus has that many devices; memory stays bounded whatever a capture claims.
constexpr std::size_t kMostStreams = 4096;

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

void appendCount(std::string& text, std::uint64_t count, std::string_view what) {
  appendFormatted(text, "%10llu  ", static_cast<unsigned long long>(count));
  text.append(what) += '\n';
}

void appendStream(std::string& text, const Statistics::Stream& stream, std::string_view file) {
  const Sequence& numbers = stream.numbers;
  std::string by = " by " + stream.info->counter->key;
  if (stream.sender) by += ", " + describe(*stream.sender);
  if (stream.device != nullptr) by += ", " + stream.device->node;
  appendCount(text, numbers.lost(), "lost" + by);
  const auto gaps = numbers.gaps(stream.fileOr(file));
  for (const Sequence::Gap& gap : gaps) {
    const std::string missing = gap.first == gap.last
                                    ? std::to_string(gap.first)
                                    : std::to_string(gap.first) + " to " + std::to_string(gap.last);
    text.append(12, ' ').append(missing).append(" missing before ").append(gap.before) += '\n';
  }
  if (numbers.gapCount() > gaps.size())
    appendFormatted(text,
                    "            and %llu more gaps\n",
                    static_cast<unsigned long long>(numbers.gapCount() - gaps.size()));
  if (numbers.late() != 0) appendCount(text, numbers.late(), "late" + by);
  if (numbers.doubled() != 0) appendCount(text, numbers.doubled(), "doubled" + by);
  if (numbers.restarted() != 0) appendCount(text, numbers.restarted(), "restarts" + by);
}

}  // namespace

Statistics::Statistics(const KnownReports& known) : _known(known) {}

void Statistics::beginFile(std::string_view name) {
  for (Stream& stream : _streams) stream.numbers.endStream(stream.fileOr(_file));
  _file = name;
}

void Statistics::count(const Report& report, const ReportInfo* info) {
  ++_reports;
  ++entryFor(report, info).reports;
  if (info == nullptr || !info->counter) return;
  const auto number = numberIn(report.bytes, info->counter->offset);
  if (!number) return;
  if (Stream* const stream = streamOf(report, *info))
    stream->numbers.follow(*number, report.place);
  else
    ++_unfollowed;
}

/// Null if there are too many.
Statistics::Stream* Statistics::streamOf(const Report& report, const ReportInfo& info) {
  const auto matches = [&](const Stream& stream) {
    return stream.info == &info && stream.sender == report.sender && stream.device == report.device;
  };
  if (_latestStream < _streams.size() && matches(_streams[_latestStream]))
    return &_streams[_latestStream];
  const auto found = std::ranges::find_if(_streams, matches);
  if (found == _streams.end() && _streams.size() == kMostStreams) return nullptr;
  _latestStream = static_cast<std::size_t>(found - _streams.begin());
  if (found != _streams.end()) return &*found;
  return &_streams.emplace_back(Stream{&info, report.sender, report.device});
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

std::vector<const Statistics::Stream*> Statistics::streams() const {
  std::vector<const Stream*> streams;
  for (const ReportInfo& info : _known.all())
    for (const Stream& stream : _streams)
      if (stream.info == &info) streams.push_back(&stream);
  return streams;
}

std::string Statistics::table() const {
  std::string text;
  for (const KindCount& entry : _kinds)
    appendFormatted(text,
                    "%10llu  %s %s\n",
                    static_cast<unsigned long long>(entry.reports),
                    describe(entry.id, entry.type).c_str(),
                    entry.info == nullptr ? "unknown" : entry.info->decoder.c_str());
  appendCount(text, _reports, "reports in all");
  if (_unchanged) appendCount(text, *_unchanged, "the same as before, not shown");
  if (_toDevice != 0) appendCount(text, _toDevice, "from the host to the device, not among them");
  if (_untimed != 0) appendCount(text, _untimed, "without a time, left out");
  for (std::size_t i = 0; i < kProblemCodes; ++i) {
    if (_problems[i] != 0) appendCount(text, _problems[i], nameOf(static_cast<ProblemCode>(i)));
  }
  for (const Stream* stream : streams()) appendStream(text, *stream, _file);
  if (_unfollowed != 0)
    appendCount(text, _unfollowed, "whose numbers were not followed: too many senders");
  if (_unread != 0) appendCount(text, _unread, "lost in the queue: the output was too slow");
  return text;
}

}  // namespace vesk::host
