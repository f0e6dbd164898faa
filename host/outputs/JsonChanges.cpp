#include "host/outputs/JsonChanges.h"

#include "host/outputs/JsonRecord.h"

namespace vesk::host {

namespace {

struct PutDifference {
  JsonRecord& record;

  void operator()(const WholeDifference& difference) const {
    record.raw((difference.negative ? "-" : "") + std::to_string(difference.magnitude));
  }
  void operator()(float difference) const { record.number(difference); }
  void operator()(double difference) const { record.number(difference); }
};

void differenceMember(JsonRecord& record, const std::optional<Difference>& difference) {
  if (!difference) return;
  record.key("difference");
  std::visit(PutDifference{record}, *difference);
}

void numberMember(JsonRecord& record, std::string_view key, const vesk_number& number) {
  record.key(key);
  record.number(number);
}

void bitsMember(JsonRecord& record, std::string_view key, std::uint64_t bits) {
  record.key(key);
  record.beginArray();
  for (unsigned bit = 0; bit < 64; ++bit)
    if ((bits >> bit & 1) != 0) record.number(bit);
  record.endArray();
}

void putElement(JsonRecord& record, const ElementChange& element) {
  record.beginObject();
  record.member("index", element.index);
  numberMember(record, "before", element.before);
  numberMember(record, "after", element.after);
  differenceMember(record, element.difference);
  record.endObject();
}

std::string_view nameOf(Course course) {
  switch (course) {
    case Course::Grew:
      return "grew";
    case Course::Wrapped:
      return "wrapped";
    default:
      return "fell";
  }
}

/// The members of a change behind its key.
struct PutChange {
  JsonRecord& record;
  bool elements;

  void operator()(const NumberChange& change) const {
    numberMember(record, "before", change.before);
    numberMember(record, "after", change.after);
    differenceMember(record, change.difference);
    if (change.course != Course::Unknown) record.member("course", nameOf(change.course));
    record.member("rate", change.rate);
    if (!change.isBits) return;
    bitsMember(record, "bits_set", change.bitsSet());
    bitsMember(record, "bits_cleared", change.bitsCleared());
  }

  void operator()(const ArrayChange& change) const {
    record.member("elements", change.count);
    record.member("changed", change.elements.size());
    if (change.sized != 0) {
      record.member("mean", change.mean);
      record.key("largest");
      putElement(record, change.elements[change.largest]);
    }
    if (!elements) return;
    record.key("changes");
    record.beginArray();
    for (const ElementChange& element : change.elements) putElement(record, element);
    record.endArray();
  }

  void operator()(const ValueChange& change) const {
    valueMember("before", change.before);
    valueMember("after", change.after);
  }

  void valueMember(std::string_view key, const Value& value) const {
    if (std::holds_alternative<std::monostate>(value)) return;
    record.key(key);
    if (const auto* number = std::get_if<vesk_number>(&value))
      record.number(*number);
    else if (const auto* text = std::get_if<std::string>(&value))
      record.string(*text);
    else if (const auto* array = std::get_if<ArrayValue>(&value))
      record.array(array->kind, array->values(), array->count);
  }
};

void putBefore(JsonRecord& record, const Snapshot& before) {
  record.key("before");
  record.beginObject();
  record.sourceMember(
      JsonRecord::fileMembers(before.file), before.place, before.sender, before.device);
  record.timeMember(before.microseconds);
  record.member("report_id", before.info->id);
  record.endObject();
}

}  // namespace

JsonChangesOutput::JsonChangesOutput(const OutputContext& context, Framing framing)
    : JsonOutput(context, framing),
      _tracker(context.changes == nullptr ? ChangeRules() : *context.changes),
      _elements(context.elements) {}

void JsonChangesOutput::beginFile(std::string_view name) {
  JsonOutput::beginFile(name);
  _tracker.beginFile(name);
}

void JsonChangesOutput::finish() {
  JsonOutput::finish();
  _tracker.finish();
}

void JsonChangesOutput::writeChecked(const Report& report, const ReportInfo& info) {
  const auto decoded = [&](Plugin::Mode mode) {
    return mode == Plugin::Mode::Text ? decodeLines(info) : decode(info, mode);
  };
  for (const Comparison& comparison : _tracker.follow(report, info, decoded)) show(comparison);
}

/// With --across, what changed may be an earlier report than the one at hand.
void JsonChangesOutput::show(const Comparison& comparison) {
  const Snapshot& after = comparison.after;
  Report report;
  report.bytes = after.bytes;
  report.type = after.info->type;
  report.place = after.place;
  report.microseconds = after.microseconds;
  report.sender = after.sender;
  report.device = after.device;
  JsonRecord& record = beginReport(report, *after.info);
  record.member("length", after.bytes.size());
  record.key("change");
  record.beginObject();
  putBefore(record, comparison.before);
  record.member("seconds", comparison.seconds);
  if (comparison.restart != Restart::None)
    record.member(
        "restart",
        std::string_view(comparison.restart == Restart::Firmware ? "firmware" : "counters"));
  record.key("fields");
  record.beginArray();
  for (const Change& change : comparison.changes) {
    record.beginObject();
    if (!change.key.empty()) record.member("key", change.key);
    if (change.line != 0) record.member("line", change.line);
    std::visit(PutChange{record, _elements}, change.what);
    record.endObject();
  }
  record.endArray();
  record.endObject();
  endRecord();
}

}  // namespace vesk::host
