#include "host/outputs/Json.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>

#include "host/outputs/Numbers.h"
#include "host/outputs/Utf8.h"

namespace vesk::host {

namespace {

/// Whether a character of JSON text must be escaped. Bytes of UTF-8 stand for themselves.
constexpr bool isEscaped(char character) {
  return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\';
}

/// The same for any of the eight characters in a word: one that is below a bound, or is 0 when it
/// has been compared, borrows from its highest bit.
constexpr bool anyEscaped(std::uint64_t word) {
  constexpr std::uint64_t kOnes = 0x0101010101010101;
  const auto anyBelow = [](std::uint64_t bytes, std::uint64_t bound) {
    return (bytes - kOnes * bound) & ~bytes & (kOnes << 7);
  };
  return (anyBelow(word, 0x20) | anyBelow(word ^ kOnes * '"', 1) |
          anyBelow(word ^ kOnes * '\\', 1)) != 0;
}

bool needsEscapes(std::string_view text) {
  for (; text.size() >= sizeof(std::uint64_t); text.remove_prefix(sizeof(std::uint64_t))) {
    std::uint64_t word;
    std::memcpy(&word, text.data(), sizeof word);
    if (anyEscaped(word)) return true;
  }
  return std::ranges::any_of(text, isEscaped);
}

}  // namespace

/// A JSON writer that knows the plug-in's kinds of values. It is a handler for Decoded::visit().
class JsonOutput::Record : public rapidjson::Writer<rapidjson::StringBuffer> {
 public:
  Record() : Writer(_text) {}

  void clear() {
    _text.Clear();
    Reset(_text);
  }

  std::string_view text() const { return {_text.GetString(), _text.GetSize()}; }

  void nil() { Null(); }
  void dictionaryBegin() { StartObject(); }
  void dictionaryEnd() { EndObject(); }

  void key(std::string_view name) { string(name); }

  /// Hardly any text holds what must be escaped: it is copied.
  void string(std::string_view text) {
    if (needsEscapes(text)) {
      String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
      return;
    }
    Prefix(rapidjson::kStringType);
    char* const out = os_->Push(text.size() + 2);
    *out = '"';
    putText(out + 1, text);
    out[text.size() + 1] = '"';
  }

  void number(const vesk_number& number) {
    if (number.kind == VESK_BOOL)
      Bool(number.value.u != 0);
    else
      withValue(number, [this](auto value) { this->value(value); });
  }

  /// Long runs of numbers are what most of the output consists of: they are written straight into
  /// the record, in room that is taken once for all of them.
  void array(std::int32_t kind, const void* values, std::size_t count) {
    withValues(kind, values, count, [this](auto numbers) {
      Prefix(rapidjson::kArrayType);
      const std::size_t room = numbers.size() * (kNumberRoom + 1) + 2;
      char* const begin = os_->Push(room);
      char* out = begin;
      *out++ = '[';
      for (const auto number : numbers) {
        out = put(out, number);
        *out++ = ',';
      }
      if (!numbers.empty()) --out;
      *out++ = ']';
      os_->Pop(room - static_cast<std::size_t>(out - begin));
    });
  }

  template <class T>
  void value(T number) {
    Prefix(rapidjson::kNumberType);
    char* const begin = os_->Push(kNumberRoom);
    os_->Pop(kNumberRoom - static_cast<std::size_t>(put(begin, number) - begin));
  }

  /// Text that is a JSON number already.
  void raw(std::string_view text) { RawValue(text.data(), text.size(), rapidjson::kNumberType); }

  template <class T>
  void member(std::string_view name, const T& content) {
    key(name);
    if constexpr (std::is_arithmetic_v<T>)
      value(content);
    else
      string(content);
  }

  template <class T>
  void member(std::string_view name, const std::optional<T>& content) {
    if (content) member(name, *content);
  }

  void timeMember(std::optional<std::int64_t> microseconds) {
    if (!microseconds) return;
    key("time");
    raw(secondsText(*microseconds));
  }

  /// Members that another record has made.
  void splice(std::string_view members) {
    Prefix(rapidjson::kStringType);
    std::memcpy(os_->Push(members.size()), members.data(), members.size());
    ++level_stack_.Top<Level>()->valueCount;  // as if it had been one key and one value
  }

  /// The members of this record, for splice().
  std::string members() const { return std::string(text().substr(1, text().size() - 2)); }

  /// How every record begins. `file` are the members that tell the file.
  void header(std::string_view file, const Place& place) {
    member("format_version", 1u);
    key("source");
    StartObject();
    splice(file);
    switch (place.unit) {
      case Place::Unit::File:
        break;
      case Place::Unit::Line:
        member("line", place.number);
        break;
      case Place::Unit::Packet:
        member("packet", place.number);
        break;
      case Place::Unit::Offset:
        member("offset", place.number);
        break;
    }
    EndObject();
  }

  void linesMember(const Decoded& lines) {
    key("lines");
    StartArray();
    lines.visit(*this);
    EndArray();
  }

 private:
  /// JSON has no NaN and no infinity, and "-0" is an integer to many readers, who drop its sign.
  template <class T>
  static char* put(char* out, T number) {
    if constexpr (std::is_floating_point_v<T>) {
      if (!std::isfinite(number)) return putText(out, "null");
      if (number == 0 && std::signbit(number)) return putText(out, "-0.0");
    }
    return putNumber(out, number);
  }

  static char* putText(char* out, std::string_view text) {
    std::memcpy(out, text.data(), text.size());
    return out + text.size();
  }

  rapidjson::StringBuffer _text;
};

JsonOutput::JsonOutput(const OutputContext& context, Framing framing)
    : DecodingOutput(context),
      _sink(context.sink),
      _framing(framing),
      _withLines(context.lines),
      _record(std::make_unique<Record>()) {
  if (_framing == Framing::Array) _sink.append('[');
}

JsonOutput::~JsonOutput() = default;

void JsonOutput::beginFile(std::string_view name) {
  Record file;
  file.StartObject();
  file.member("file", asUtf8(name));
  file.EndObject();
  _fileMembers = file.members();
}

const std::string& JsonOutput::membersOf(const ReportInfo& info) {
  const auto [entry, added] = _kindMembers.try_emplace(&info);
  if (!added) return entry->second;
  Record members;
  members.StartObject();
  members.member("report_id", info.id);
  members.member("report_type", nameOf(info.type));
  members.member("decoder", info.decoder);
  members.key("display_name");
  if (info.displayName)
    members.string(*info.displayName);
  else
    members.nil();
  members.EndObject();
  return entry->second = members.members();
}

void JsonOutput::beginRecord(const Place& place, std::optional<std::int64_t> microseconds) {
  _record->clear();
  _record->StartObject();
  _record->header(_fileMembers, place);
  _record->timeMember(microseconds);
}

void JsonOutput::endRecord() {
  _record->EndObject();
  if (_framing == Framing::Array) _sink.append(_first ? "\n" : ",\n");
  _first = false;
  _sink.append(_record->text());
  if (_framing == Framing::Lines) _sink.append('\n');
}

void JsonOutput::writeChecked(const Report& report, const ReportInfo& info) {
  const Decoded object = decode(info, Plugin::Mode::Object);
  std::optional<Decoded> lines;
  if (_withLines || object.form() == VESK_NIL) lines = decodeLines(info);

  beginRecord(report.place, report.microseconds);
  _record->splice(membersOf(info));
  _record->member("length", report.bytes.size());
  _record->key("value");
  object.visit(*_record);
  if (lines) _record->linesMember(*lines);
  endRecord();
}

void JsonOutput::write(const Problem& problem) {
  beginRecord(problem.place, problem.microseconds);
  _record->member("report_id", problem.reportId);
  if (problem.reportType) _record->member("report_type", nameOf(*problem.reportType));
  _record->key("error");
  _record->StartObject();
  _record->member("code", nameOf(problem.code));
  _record->member("message", asUtf8(problem.message));
  _record->member("expected", problem.expected);
  _record->member("got", problem.got);
  _record->member("offset", problem.offset);
  _record->EndObject();
  endRecord();
}

bool JsonOutput::writeStatistics(const Statistics& statistics) {
  _record->clear();
  _record->StartObject();
  _record->member("format_version", 1u);
  _record->key("statistics");
  _record->StartObject();
  _record->member("reports", statistics.reports());
  _record->key("kinds");
  _record->StartArray();
  for (const Statistics::KindCount& kind : statistics.kinds()) {
    _record->StartObject();
    _record->member("report_id", kind.id);
    _record->member("report_type", nameOf(kind.type));
    _record->member("reports", kind.reports);
    _record->EndObject();
  }
  _record->EndArray();
  _record->key("errors");
  _record->StartObject();
  for (std::size_t i = 0; i < kProblemCodes; ++i) {
    const auto code = static_cast<ProblemCode>(i);
    if (statistics.problems(code) != 0) _record->member(nameOf(code), statistics.problems(code));
  }
  _record->EndObject();
  _record->key("lost");
  _record->StartArray();
  for (const Statistics::Losses& losses : statistics.losses()) {
    _record->StartObject();
    _record->member("counter", losses.counter);
    _record->member("reports", losses.lost);
    _record->member("gap_count", losses.gapCount);
    _record->key("gaps");
    _record->StartArray();
    for (const Statistics::Gap& gap : losses.gaps) {
      _record->StartObject();
      _record->member("before", asUtf8(gap.before));
      _record->member("first", gap.first);
      _record->member("last", gap.last);
      _record->EndObject();
    }
    _record->EndArray();
    _record->EndObject();
  }
  _record->EndArray();
  _record->EndObject();
  endRecord();
  return true;
}

void JsonOutput::finish() {
  if (_framing == Framing::Array) _sink.append("\n]\n");
}

}  // namespace vesk::host
