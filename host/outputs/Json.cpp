#include "host/outputs/Json.h"

#include "host/outputs/JsonRecord.h"
#include "host/writing/Utf8.h"

namespace vesk::host {

JsonOutput::JsonOutput(const OutputContext& context, Framing framing)
    : DecodingOutput(context),
      _sink(context.sink),
      _framing(framing),
      _withLines(context.lines),
      _record(std::make_unique<JsonRecord>()) {
  if (_framing == Framing::Array) _sink.append('[');
}

JsonOutput::~JsonOutput() = default;

void JsonOutput::beginFile(std::string_view name) { _fileMembers = JsonRecord::fileMembers(name); }

JsonRecord& JsonOutput::beginReport(const Report& report, const ReportInfo& info) {
  beginRecord(report);
  _record->raw(membersOf(info));
  return *_record;
}

const std::string& JsonOutput::membersOf(const ReportInfo& info) {
  const auto [entry, added] = _kindMembers.try_emplace(&info);
  if (!added) return entry->second;
  JsonRecord members;
  members.beginObject();
  members.member("report_id", info.id);
  members.member("report_type", nameOf(info.type));
  members.member("decoder", info.decoder);
  members.key("display_name");
  if (info.displayName)
    members.string(*info.displayName);
  else
    members.null();
  members.endObject();
  return entry->second = members.members();
}

/// What a report and a problem have in common.
template <class Found>
void JsonOutput::beginRecord(const Found& found) {
  _record->clear();
  _record->beginObject();
  _record->header(_fileMembers, found);
  _record->timeMember(found.microseconds);
}

void JsonOutput::endRecord() {
  _record->endObject();
  if (_framing == Framing::Array) _sink.append(_first ? "\n" : ",\n");
  _first = false;
  _sink.append(_record->text());
  if (_framing == Framing::Lines) _sink.append('\n');
}

void JsonOutput::writeChecked(const Report& report, const ReportInfo& info) {
  const Decoded object = decode(info, Plugin::Mode::Object);
  std::optional<Decoded> lines;
  if (_withLines || object.form() == VESK_NIL) lines = decodeLines(info);

  beginReport(report, info);
  if (report.direction == Direction::ToDevice) _record->member("direction", "to_device");
  _record->member("length", report.bytes.size());
  _record->key("value");
  object.visit(*_record);
  if (lines) _record->linesMember(*lines);
  endRecord();
}

void JsonOutput::write(const Problem& problem) {
  beginRecord(problem);
  _record->member("report_id", problem.reportId);
  if (problem.reportType) _record->member("report_type", nameOf(*problem.reportType));
  _record->key("error");
  _record->beginObject();
  _record->member("code", nameOf(problem.code));
  _record->member("message", asUtf8(problem.message));
  _record->member("expected", problem.expected);
  _record->member("got", problem.got);
  _record->member("offset", problem.offset);
  _record->member("lost", problem.lost);
  _record->endObject();
  endRecord();
}

bool JsonOutput::writeStatistics(const Statistics& statistics) {
  _record->clear();
  _record->beginObject();
  _record->member("format_version", 1u);
  _record->key("statistics");
  _record->beginObject();
  _record->member("reports", statistics.reports());
  if (statistics.toDevice() != 0) _record->member("to_device", statistics.toDevice());
  _record->member("unchanged", unchanged());
  if (statistics.untimed() != 0) _record->member("untimed", statistics.untimed());
  _record->key("kinds");
  _record->beginArray();
  for (const Statistics::KindCount& kind : statistics.kinds()) {
    _record->beginObject();
    _record->member("report_id", kind.id);
    _record->member("report_type", nameOf(kind.type));
    _record->member("reports", kind.reports);
    _record->endObject();
  }
  _record->endArray();
  _record->key("errors");
  _record->beginObject();
  for (std::size_t i = 0; i < kProblemCodes; ++i) {
    const auto code = static_cast<ProblemCode>(i);
    if (statistics.problems(code) != 0) _record->member(nameOf(code), statistics.problems(code));
  }
  _record->endObject();
  _record->key("lost");
  _record->beginArray();
  for (const Statistics::Stream* stream : statistics.streams()) {
    const Sequence& numbers = stream->numbers;
    _record->beginObject();
    _record->member("counter", stream->info->counter->key);
    _record->senderMembers(stream->sender);
    if (stream->device != nullptr) _record->member("file", asUtf8(stream->device->node));
    _record->member("reports", numbers.lost());
    _record->member("late", numbers.late());
    _record->member("doubled", numbers.doubled());
    _record->member("restarts", numbers.restarted());
    _record->member("gap_count", numbers.gapCount());
    _record->key("gaps");
    _record->beginArray();
    for (const Sequence::Gap& gap : numbers.gaps(stream->fileOr(statistics.file()))) {
      _record->beginObject();
      _record->member("before", asUtf8(gap.before));
      _record->member("first", gap.first);
      _record->member("last", gap.last);
      _record->endObject();
    }
    _record->endArray();
    _record->endObject();
  }
  _record->endArray();
  if (statistics.unfollowed() != 0) _record->member("unfollowed", statistics.unfollowed());
  if (statistics.unread() != 0) _record->member("unread", statistics.unread());
  _record->endObject();
  endRecord();
  return true;
}

void JsonOutput::finish() {
  if (_framing == Framing::Array) _sink.append("\n]\n");
}

}  // namespace vesk::host
