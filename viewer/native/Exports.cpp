/// What JavaScript calls. src/decoder/decoder.ts is the other side, and nothing else calls it.
///
/// A call that can fail gives back 0, or 1 and the reason as a text in the reply. What it takes
/// beside numbers lies in the arguments, what it gives lies in the reply, value by value in the
/// order that is said here. An address in a reply, and the reply itself, stay until the next call.
#include <algorithm>
#include <cmath>
#include <exception>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "host/Value.h"
#include "host/changes/Tracker.h"
#include "host/columns/Table.h"
#include "host/layout/LayoutMap.h"
#include "host/outputs/Changes.h"
#include "host/outputs/Json.h"
#include "host/outputs/Numbers.h"
#include "viewer/native/Arguments.h"
#include "viewer/native/Capture.h"
#include "viewer/native/Imports.h"
#include "viewer/native/Module.h"
#include "viewer/native/Rendering.h"
#include "viewer/native/Reply.h"

#define VESK_CALL(name) [[clang::export_name("vesk_" #name)]]

namespace vesk::viewer {

namespace {

constexpr std::uint32_t kAllKeys = 0xFFFFFFFF;
constexpr std::uint32_t kNoElement = 0xFFFFFFFF;
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// The map of the report of a kind that was looked at last; the next one mostly has its shape.
struct KnownLayout {
  std::string shape;
  host::LayoutMap map;
};

/// A file that is written anew in another form, in steps.
struct Conversion {
  Stream stream;
  Rendering rendering;
};

struct Calls {
  Module module;
  Arguments arguments;
  Reply reply;
  std::map<std::uint32_t, std::unique_ptr<Capture>> captures;
  std::map<std::uint32_t, std::unique_ptr<Conversion>> conversions;
  std::map<std::uint32_t, std::unique_ptr<Rendering>> renderings;
  std::uint32_t handles = 0;

  // What addresses in the reply point at.
  std::vector<std::uint32_t> numbers;
  std::vector<Index::Entry> entries;
  std::map<const host::ReportInfo*, KnownLayout> layouts;
  Tables tables;
  Selected selected;
};

Calls& calls() {
  static Calls only;
  return only;
}

/// Does a call, and says whether it went well.
template <class Call>
std::int32_t answered(Call call) {
  Calls& all = calls();
  all.reply.clear();
  std::string complaint;
  try {
    call(all);
    return 0;
  } catch (const std::bad_alloc&) {
    complaint = "out of memory";
  } catch (const std::exception& fault) {
    complaint = fault.what();
  }
  all.reply.clear();
  all.reply.text(complaint);
  return 1;
}

template <class Handles>
auto& of(Handles& handles, std::uint32_t handle) {
  const auto found = handles.find(handle);
  if (found == handles.end()) throw std::out_of_range("the file was closed");
  return *found->second;
}

/// A time that was given; NaN is none.
std::optional<std::int64_t> timeIn(double microseconds) {
  if (!(std::abs(microseconds) < 1e18)) return std::nullopt;
  return static_cast<std::int64_t>(microseconds);
}

/// The form of a name that was given; null for an empty one.
const host::InputForm* inputForm(std::string_view name) {
  if (name.empty()) return nullptr;
  const host::InputForm* const form = host::inputFormNamed(name);
  if (form == nullptr) throw std::invalid_argument("no form of input is " + std::string(name));
  return form;
}

const host::OutputForm& outputForm(std::string_view name) {
  const host::OutputForm* const form = host::outputFormNamed(name);
  if (form == nullptr || form->needs != host::Needs::Nothing)
    throw std::invalid_argument("no form of output is " + std::string(name));
  return *form;
}

/// A count, and for each a decoder, a count of keys, or kAllKeys, and the keys.
Wanted wantedIn(Arguments& arguments) {
  Wanted wanted;
  for (std::uint32_t decoders = arguments.u32(); decoders != 0; --decoders) {
    auto& keys = wanted[std::string(arguments.text())];
    const std::uint32_t count = arguments.u32();
    if (count == kAllKeys) continue;
    keys.emplace();
    for (std::uint32_t i = 0; i < count; ++i) keys->emplace_back(arguments.text());
  }
  return wanted;
}

/// A count, and so many texts.
std::vector<std::string> textsIn(Arguments& arguments) {
  std::vector<std::string> texts(arguments.u32());
  for (std::string& text : texts) text = arguments.text();
  return texts;
}

/// A count, and so many numbers of entries.
std::vector<std::uint32_t> entriesIn(Arguments& arguments) {
  std::vector<std::uint32_t> entries(arguments.u32());
  for (std::uint32_t& entry : entries) entry = arguments.u32();
  return entries;
}

/// A count, and for each its decoder; its rows' address, their number, the size of one, and the
/// address of as many numbers of entries; its columns, and the texts of those that are texts.
void put(Reply& reply, const Tables& tables, const host::Texts* texts) {
  reply.u32(tables.size());
  for (const auto& [decoder, rows] : tables) {
    const host::Table& table = *rows.table;
    reply.text(decoder);
    reply.address(table.rows() == 0 ? nullptr : table.rowAt(0));
    reply.u32(table.rows());
    reply.u32(table.rowSize());
    reply.address(rows.entries.data());
    reply.u32(table.columns().size());
    for (const host::Column& column : table.columns()) {
      reply.text(column.name);
      reply.u8(static_cast<std::size_t>(column.kind));
      reply.u32(column.count);
      reply.u8(column.isArray);
      reply.u8(column.isText);
      reply.u32(column.offset);
    }
  }
  reply.u32(texts == nullptr ? 0 : texts->count());
  for (std::uint32_t i = 0; texts != nullptr && i < texts->count(); ++i) reply.text(texts->text(i));
}

void put(Reply& reply, const std::vector<double>& numbers) {
  reply.append(numbers.data(), numbers.size() * sizeof(double));
}

/// What a report says. Its lines stay where only its object can't be made.
class Shown final : public host::DecodingOutput {
 public:
  using DecodingOutput::DecodingOutput;

  /// A count of fields, and for each its key and its form: 0 for nothing, 1 for a number, 2 for a
  /// text, 3 for an array. A number has its vesk_kind and its bytes, an array its kind, its count
  /// and its bytes. Behind them a count of lines, and the lines.
  void putTo(Reply& reply) const {
    reply.u32(_fields.size());
    for (const host::Field& field : _fields) {
      reply.text(field.key);
      reply.u8(field.value.index());
      if (const auto* const number = std::get_if<vesk_number>(&field.value)) {
        reply.u8(static_cast<std::size_t>(number->kind));
        host::withValue(*number, [&](auto value) { put(reply, number->kind, value); });
      } else if (const auto* const text = std::get_if<std::string>(&field.value)) {
        reply.text(*text);
      } else if (const auto* const array = std::get_if<host::ArrayValue>(&field.value)) {
        reply.u8(static_cast<std::size_t>(array->kind));
        reply.u32(array->count);
        reply.append(array->values(), array->count * host::sizeOfKind(array->kind));
      }
    }
    reply.u32(_lines.size());
    for (const host::Field& line : _lines) reply.text(std::get<std::string>(line.value));
  }

  const std::vector<host::Field>& fields() const { return _fields; }
  std::size_t lineCount() const { return _lines.size(); }

 private:
  void writeChecked(const host::Report& /*report*/, const host::ReportInfo& info) override {
    _lines = fieldsOf(decodeLines(info));
    _fields = fieldsOf(decode(info, host::Plugin::Mode::Object));
  }

  /// `value` as a number of the C type that `kind` names.
  template <class Value>
  static void put(Reply& reply, std::int32_t kind, Value value) {
    host::withValues(kind, nullptr, 0, [&](auto numbers) {
      using Number = std::remove_cvref_t<decltype(*numbers.data())>;
      reply.number(static_cast<Number>(value));
    });
  }

  std::vector<host::Field> _fields;
  std::vector<host::Field> _lines;
};

host::LayoutMap noLayout(const char* why) {
  host::LayoutMap map;
  map.whyNot = why;
  return map;
}

/// The map of a report that is shown, which a map of other contents may not fit.
const host::LayoutMap& layoutFor(Calls& all, const host::Report& report,
                                 const host::ReportInfo& info, const Shown& shown) {
  KnownLayout& known = all.layouts[&info];
  std::string shape = shapeOf(report.bytes, info);
  if (known.shape == shape && fits(known.map, shown.lineCount(), shown.fields())) return known.map;
  known.map = layoutOf(all.module.plugin, info, report.bytes);
  known.shape = std::move(shape);
  if (!fits(known.map, shown.lineCount(), shown.fields()))
    known.map = noLayout("its lines and keys change with its contents");
  return known.map;
}

void put(Reply& reply, const host::LayoutMap& map) {
  reply.text(map.whyNot);
  reply.u32(map.fields.size());
  for (const host::LayoutField& field : map.fields) {
    reply.u32(field.firstBit);
    reply.u32(field.bitCount);
    reply.u8(static_cast<std::size_t>(field.role));
    reply.u32(field.values.size());
    for (const host::LayoutValue& value : field.values) {
      reply.u32(value.index);
      reply.u32(value.element.value_or(kNoElement));
    }
    reply.u32(field.lines.size());
    for (const host::LayoutLine& line : field.lines) {
      reply.u32(line.first);
      reply.u32(line.count);
    }
  }
}

/// The lines of a report; empty where it can't be decoded.
class LinesOf final : public host::DecodingOutput {
 public:
  using DecodingOutput::DecodingOutput;

  std::string text;

 private:
  void writeChecked(const host::Report& /*report*/, const host::ReportInfo& info) override {
    text = decodeLines(info).text();
  }
};

/// What differs between each report and the one before it from its sender. With `turns`, only what
/// fell or wrapped, and what is concluded: in a long capture everything else changes all the time.
class NewsOf final : public host::DecodingOutput {
 public:
  NewsOf(const host::OutputContext& context, bool turns)
      : DecodingOutput(context), _tracker(host::ChangeRules()), _turns(turns) {}

  std::uint32_t entry = 0;  // that is written next
  std::uint32_t count = 0;  // of reports that differ
  Reply reply;              // what differs

 private:
  void writeChecked(const host::Report& report, const host::ReportInfo& info) override {
    const auto decoded = [&](host::Plugin::Mode mode) {
      return mode == host::Plugin::Mode::Text ? decodeLines(info) : decode(info, mode);
    };
    for (host::Comparison& comparison : _tracker.follow(report, info, decoded)) {
      if (_turns) std::erase_if(comparison.changes, std::not_fn(isTurn));
      if (_turns && comparison.changes.empty() && comparison.restart == host::Restart::None)
        continue;
      ++count;
      reply.u32(entry);
      reply.text(describe(comparison.restart));
      reply.u32(comparison.changes.size());
      for (const host::Change& change : comparison.changes) put(change);
    }
  }

  static bool isTurn(const host::Change& change) {
    const auto* const number = std::get_if<host::NumberChange>(&change.what);
    return number != nullptr &&
           (number->course == host::Course::Fell || number->course == host::Course::Wrapped);
  }

  void put(const host::Change& change) {
    const auto* const number = std::get_if<host::NumberChange>(&change.what);
    const bool differs = number != nullptr && number->difference.has_value();
    const auto* const whole =
        differs ? std::get_if<host::WholeDifference>(&*number->difference) : nullptr;
    reply.text(change.key);
    reply.u32(change.line);
    reply.u8(number == nullptr ? 0 : static_cast<std::size_t>(number->course));
    reply.text(whole == nullptr ? ""
                                : (whole->negative ? "-" : "+") + std::to_string(whole->magnitude));
    reply.large((number == nullptr ? std::nullopt : number->rate).value_or(kNone));
    reply.u8(number != nullptr && number->isBits);
  }

  host::Tracker _tracker;
  bool _turns;
};

}  // namespace

VESK_CALL(room) void* room(std::uint32_t size) { return calls().arguments.room(size); }
VESK_CALL(reply) const void* reply() { return calls().reply.bytes().data(); }
VESK_CALL(replySize) std::uint32_t replySize() {
  return static_cast<std::uint32_t>(calls().reply.bytes().size());
}

/// The plug-in's version; known reports: a count, and for each its ID, type, decoder, name,
/// smallest length, whether that is the only one, and the key of its counter; the forms of input,
/// and those of output: a count, and for each its name and description; the codes of problems: a
/// count, and each.
VESK_CALL(about) std::int32_t about() {
  return answered([](Calls& all) {
    Reply& reply = all.reply;
    reply.text(all.module.library.api().plugin_version);
    reply.u32(all.module.known.all().size());
    for (const host::ReportInfo& info : all.module.known.all()) {
      reply.u8(info.id);
      reply.u8(static_cast<std::size_t>(info.type));
      reply.text(info.decoder);
      reply.text(info.displayName.value_or(""));
      reply.u32(info.smallest);
      reply.u8(info.exactLength);
      reply.text(info.counter ? info.counter->key : "");
    }
    reply.u32(host::inputForms().size());
    for (const host::InputForm& form : host::inputForms()) {
      reply.text(form.name);
      reply.text(form.description);
    }
    const auto shown = [](const host::OutputForm& form) {
      return form.needs == host::Needs::Nothing;
    };
    reply.u32(static_cast<std::size_t>(std::ranges::count_if(host::outputForms(), shown)));
    for (const host::OutputForm& form : host::outputForms()) {
      if (!shown(form)) continue;
      reply.text(form.name);
      reply.text(form.description);
    }
    reply.u32(host::kProblemCodes);
    for (std::size_t i = 0; i < host::kProblemCodes; ++i)
      reply.text(nameOf(static_cast<host::ProblemCode>(i)));
  });
}

/// Takes the file's name, the name of its form, or an empty one, what is to be followed
/// (wantedIn()), and a count of decoders to reduce, and their names. Gives a handle.
VESK_CALL(open) std::int32_t open(std::int32_t source) {
  return answered([=](Calls& all) {
    std::string name(all.arguments.text());
    const host::InputForm* const form = inputForm(all.arguments.text());
    auto capture = std::make_unique<Capture>(all.module, source, std::move(name), form);
    capture->follow(wantedIn(all.arguments));
    capture->reduce(textsIn(all.arguments));
    all.captures[++all.handles] = std::move(capture);
    all.reply.u32(all.handles);
  });
}

/// The same without a form, for reports that come by append().
VESK_CALL(openLive) std::int32_t openLive(std::int32_t source) {
  return answered([=](Calls& all) {
    auto capture = std::make_unique<Capture>(all.module, source, std::string(all.arguments.text()));
    capture->follow(wantedIn(all.arguments));
    capture->reduce(textsIn(all.arguments));
    all.captures[++all.handles] = std::move(capture);
    all.reply.u32(all.handles);
  });
}

/// Takes a report's bytes: a count, and the bytes. `type` is -1 where it isn't known, and
/// `microseconds` NaN.
VESK_CALL(append)
std::int32_t append(std::uint32_t handle, std::int32_t type, double microseconds) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    host::Report report;
    report.bytes = all.arguments.bytes(all.arguments.u32());
    if (host::checkSize({}, report.bytes.size()))
      throw std::invalid_argument("no report is that long");
    if (type >= 0 && static_cast<std::size_t>(type) < host::kReportTypes)
      report.type = static_cast<host::ReportType>(type);
    report.microseconds = timeIn(microseconds);
    report.place = {host::Place::Unit::Report, capture.index().reports() + 1};
    capture.add(report);
  });
}

/// Takes what is to be told where reports are missing: `lost` of them, or 0 where that isn't known.
/// `microseconds` are as for append().
VESK_CALL(appendGap)
std::int32_t appendGap(std::uint32_t handle, std::uint32_t lost, double microseconds) {
  return answered([=](Calls& all) {
    host::Problem problem =
        host::problemAt({}, host::ProblemCode::LostReports, std::string(all.arguments.text()));
    problem.microseconds = timeIn(microseconds);
    if (lost != 0) problem.lost = lost;
    of(all.captures, handle).add(problem);
  });
}

/// Closes a file, or ends a conversion or a rendering.
VESK_CALL(close) std::int32_t close(std::uint32_t handle) {
  return answered([=](Calls& all) {
    all.captures.erase(handle);
    all.conversions.erase(handle);
    all.renderings.erase(handle);
  });
}

/// Gives whether the file is read to its end, how much of it is, the number of entries, of those
/// that are reports, and of messages so far, the memory of the index, the form's name, or an empty
/// one as long as it isn't known, and what was followed (put()).
VESK_CALL(read)
std::int32_t read(std::uint32_t handle, double bytes, std::uint32_t entries) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    capture.read(static_cast<std::uint64_t>(bytes), entries);
    Reply& reply = all.reply;
    reply.u8(capture.ended());
    reply.large(capture.position());
    reply.u32(capture.index().size());
    reply.u32(capture.index().reports());
    reply.u32(capture.index().messages().size());
    reply.large(capture.index().memory());
    reply.text(capture.form() != nullptr ? capture.form()->name : "");
    all.tables = capture.takeFollowed();
    put(reply, all.tables, nullptr);
  });
}

/// Gives the kinds of entries from `first` on: a count, and for each its ID (65535 for none), type
/// (255 for none), row of the known reports (from 1, 0 for none), code of a problem (the same),
/// unit of the place, flags (see Index::Kind), number of entries, and whether a sender is known,
/// with its bus, device and endpoint.
VESK_CALL(kinds) std::int32_t kinds(std::uint32_t handle, std::uint32_t first) {
  return answered([=](Calls& all) {
    const Index& index = of(all.captures, handle).index();
    Reply& reply = all.reply;
    reply.u32(index.kinds().size() - std::min<std::size_t>(first, index.kinds().size()));
    for (std::size_t i = first; i < index.kinds().size(); ++i) {
      const Index::Kind& kind = index.kinds()[i];
      reply.number(kind.id);
      for (const std::uint8_t byte : {kind.type, kind.info, kind.problem, kind.unit, kind.flags})
        reply.u8(byte);
      reply.u32(index.countOf(i));
      reply.u8(kind.sender != 0);
      const auto sender = kind.sender != 0 ? index.senders()[kind.sender - 1] : host::UsbSender{};
      reply.number(sender.bus);
      reply.number(sender.device);
      reply.u8(sender.endpointNumber());
    }
  });
}

/// Gives some entries: a count, and for each its offset, its time in microseconds, or NaN, its
/// place, its length, its kind and the number of its message, from 1 or 0.
VESK_CALL(entries)
std::int32_t entries(std::uint32_t handle, std::uint32_t first, std::uint32_t count) {
  return answered([=](Calls& all) {
    Index& index = of(all.captures, handle).index();
    const auto found = index.range(first, count);
    Reply& reply = all.reply;
    reply.u32(found.size());
    for (const Index::Entry& entry : found) {
      const bool hasTime = index.kinds()[entry.kind].has(Index::Kind::kHasTime);
      reply.large(entry.offset);
      reply.large(hasTime ? static_cast<double>(entry.microseconds)
                          : std::numeric_limits<double>::quiet_NaN());
      reply.large(entry.place);
      reply.u32(entry.length);
      reply.u32(entry.kind);
      reply.u32(entry.message);
    }
  });
}

/// Gives a message, of a number from 1.
VESK_CALL(message) std::int32_t message(std::uint32_t handle, std::uint32_t number) {
  return answered([=](Calls& all) {
    all.reply.text(of(all.captures, handle).index().messages().at(number - std::size_t{1}));
  });
}

/// Takes a count of kinds, and a byte for each, which is 0 if it isn't wanted. Gives the entries of
/// those that are, between `first` and `end`: a count, and the address of their numbers.
VESK_CALL(select)
std::int32_t select(std::uint32_t handle, std::uint32_t first, std::uint32_t end) {
  return answered([=](Calls& all) {
    const auto wanted = all.arguments.bytes(all.arguments.u32());
    all.numbers = of(all.captures, handle).index().select(wanted, first, end);
    all.reply.u32(all.numbers.size());
    all.reply.address(all.numbers.data());
  });
}

/// Takes a text. Gives those between `first` and `end` whose lines, or whose problem, have it in
/// them, as select() does.
VESK_CALL(search)
std::int32_t search(std::uint32_t handle, std::uint32_t first, std::uint32_t end) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    const std::string text(all.arguments.text());
    host::Collector nowhere;
    LinesOf lines({all.module.plugin, all.module.known, nowhere});
    host::Output& output = lines;
    all.numbers.clear();
    const auto last = std::min<std::size_t>(end, capture.index().size());
    for (std::uint32_t number = first; number < last; ++number) {
      const auto found = capture.at(number);
      std::string said;
      if (const auto* const report = std::get_if<host::Report>(&found)) {
        const auto problem = output.write(*report, capture.infoOf(*report));
        said = problem ? problem->message : std::exchange(lines.text, {});
      } else {
        said = std::get<host::Problem>(found).message;
      }
      if (said.find(text) != std::string::npos) all.numbers.push_back(number);
    }
    all.reply.u32(all.numbers.size());
    all.reply.address(all.numbers.data());
  });
}

/// Gives all of an entry: its bytes' number and address; the code of a problem, from 1, or 0, and
/// its message; and fields and lines (Shown::putTo()).
VESK_CALL(decode) std::int32_t decode(std::uint32_t handle, std::uint32_t entry) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    Reply& reply = all.reply;
    const auto found = capture.at(entry);
    std::optional<host::Problem> problem;
    host::Collector nowhere;
    Shown shown({all.module.plugin, all.module.known, nowhere});
    if (const auto* const report = std::get_if<host::Report>(&found)) {
      reply.u32(report->bytes.size());
      reply.address(report->bytes.data());
      host::Output& output = shown;
      problem = output.write(*report, capture.infoOf(*report));
    } else {
      reply.u32(0);
      reply.address(nullptr);
      problem = std::get<host::Problem>(found);
    }
    reply.u8(problem ? static_cast<std::size_t>(problem->code) + 1 : 0);
    reply.text(problem ? problem->message : "");
    shown.putTo(reply);
  });
}

/// Gives which bytes of an entry say what: why that isn't known, or an empty text; a count of
/// layout fields, and for each its first bit, its bits and its role; a count of values, and for
/// each the number of its field, as decode() has them, and of its element, or kNoElement; a count
/// of lines, and for each the first one's number and how many they are.
VESK_CALL(layout) std::int32_t layout(std::uint32_t handle, std::uint32_t entry) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    const auto found = capture.at(entry);
    const auto* const report = std::get_if<host::Report>(&found);
    const host::ReportInfo* const info = report == nullptr ? nullptr : capture.infoOf(*report);
    host::Collector nowhere;
    Shown shown({all.module.plugin, all.module.known, nowhere});
    host::Output& output = shown;
    if (info == nullptr || output.write(*report, info))
      put(all.reply, noLayout("it can't be decoded"));
    else
      put(all.reply, layoutFor(all, *report, *info, shown));
  });
}

/// Takes a decoder. Gives whether it is reduced, and if so what its reports so far come to: their
/// number; a count of columns, and for each its name, its count, whether it is an array, and the
/// number of its first channel; a count of channels, and as many numbers of the first report, the
/// least, the most, means and noises; a count of jumps, and for each its row and the numbers before
/// and behind; how many jumps aren't among them; and the first time and the last one, or NaN.
VESK_CALL(summary) std::int32_t summary(std::uint32_t handle) {
  return answered([=](Calls& all) {
    Reply& reply = all.reply;
    const Series* const series = of(all.captures, handle).series(all.arguments.text());
    reply.u8(series != nullptr);
    if (series == nullptr) return;
    reply.u32(series->rows());
    reply.u32(series->columns().size());
    for (const Series::Channels& column : series->columns()) {
      reply.text(column.name);
      reply.u32(column.count);
      reply.u8(column.isArray);
      reply.u32(column.first);
    }
    reply.u32(series->start().size());
    put(reply, series->start());
    put(reply, series->least());
    put(reply, series->most());
    put(reply, series->mean());
    put(reply, series->noise());
    reply.u32(series->jumps().size());
    for (const Series::Jump& jump : series->jumps()) {
      reply.u32(jump.row);
      reply.u32(jump.from);
      reply.u32(jump.to);
    }
    reply.u32(series->moreJumps());
    reply.number(series->firstTime());
    reply.number(series->lastTime());
  });
}

/// Takes a decoder that is reduced and a column. Gives an element of it over the capture: how many
/// rows make a part, the number of rows, a count of parts, and as many times (of the first row, or
/// NaN), least and most numbers.
VESK_CALL(course) std::int32_t course(std::uint32_t handle, std::uint32_t element) {
  return answered([=](Calls& all) {
    const std::string_view decoder = all.arguments.text();
    const Series* const series = of(all.captures, handle).series(decoder);
    if (series == nullptr) throw std::out_of_range(std::string(decoder) + " is not reduced");
    const std::size_t channel = series->channel(all.arguments.text(), element);
    all.reply.u32(series->rowsInPart());
    all.reply.u32(series->rows());
    all.reply.u32(series->times().size());
    put(all.reply, series->times());
    put(all.reply, series->least(channel));
    put(all.reply, series->most(channel));
  });
}

/// Takes some entries, in order. Gives those that differ from the one of their kind and sender
/// before them among these: a count, and for each its number, what is concluded of the firmware, or
/// an empty text, and a count of changes. A change has its key, and its line, from 1, if the text
/// alone changed; what became of a number that counts (host::Course); the difference of whole
/// numbers, or an empty text; a rate a second, or NaN; and whether the number is a row of bits. With
/// `turns`, only what NewsOf has then.
VESK_CALL(changes) std::int32_t changes(std::uint32_t handle, std::uint32_t turns) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    host::Collector nowhere;
    NewsOf news({all.module.plugin, all.module.known, nowhere}, turns != 0);
    host::Output& output = news;
    for (const std::uint32_t entry : entriesIn(all.arguments)) {
      const auto found = capture.at(entry);
      const auto* const report = std::get_if<host::Report>(&found);
      if (report == nullptr || report->direction != host::Direction::FromDevice) continue;
      news.entry = entry;
      output.write(*report, capture.infoOf(*report));
    }
    all.reply.u32(news.count);
    all.reply.append(news.reply.bytes().data(), news.reply.bytes().size());
  });
}

/// Takes what is wanted (wantedIn()), and of which entries (entriesIn()). Gives tables (put()).
VESK_CALL(columns) std::int32_t columns(std::uint32_t handle) {
  return answered([=](Calls& all) {
    const Wanted wanted = wantedIn(all.arguments);
    const auto entries = entriesIn(all.arguments);
    all.selected = of(all.captures, handle).columns(wanted, entries);
    put(all.reply, all.selected.tables, all.selected.texts.get());
  });
}

/// Gives what the file's reports come to, as the record `statistics` of the program's NDJSON.
VESK_CALL(statistics) std::int32_t statistics(std::uint32_t handle) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    host::Collector collector;
    host::JsonOutput output({all.module.plugin, all.module.known, collector},
                            host::JsonOutput::Framing::Lines);
    output.beginFile(capture.name());
    output.writeStatistics(capture.statistics());
    all.reply.text(collector.text);
  });
}

/// Takes the name of a form of output, and whether lines are wanted, too. Gives a handle, to render
/// a file's entries in this form.
VESK_CALL(render) std::int32_t render(std::uint32_t handle) {
  return answered([=](Calls& all) {
    const std::string& file = of(all.captures, handle).name();
    const host::OutputForm& form = outputForm(all.arguments.text());
    const bool lines = all.arguments.u32() != 0;
    all.renderings[++all.handles] = std::make_unique<Rendering>(all.module, form, file, lines);
    all.reply.u32(all.handles);
  });
}

/// Takes some more entries of the file, the last ones if `isLast`. Gives what was written: a count
/// of bytes, and their address; and what was left out.
VESK_CALL(renderOn)
std::int32_t renderOn(std::uint32_t handle, std::uint32_t rendering, std::int32_t isLast) {
  return answered([=](Calls& all) {
    Capture& capture = of(all.captures, handle);
    Rendering& going = of(all.renderings, rendering);
    for (const std::uint32_t entry : entriesIn(all.arguments)) going.add(capture, entry);
    if (isLast != 0) going.finish();
    const std::string_view text = going.take();
    all.reply.u32(text.size());
    all.reply.address(text.data());
    all.reply.text(going.leftOut());
  });
}

/// Takes the file's name, the name of its form, or an empty one, that of a form of output, and
/// whether lines are wanted, too. Gives a handle.
VESK_CALL(convert) std::int32_t convert(std::int32_t source) {
  return answered([=](Calls& all) {
    Arguments& arguments = all.arguments;
    const std::string_view name = arguments.text();
    const host::InputForm* const from = inputForm(arguments.text());
    const host::OutputForm& to = outputForm(arguments.text());
    const bool lines = arguments.u32() != 0;
    all.conversions[++all.handles] = std::unique_ptr<Conversion>(new Conversion{
        Stream(source, from, all.module.known), Rendering(all.module, to, name, lines)});
    all.reply.u32(all.handles);
  });
}

/// Goes on with a conversion by up to so many items. Gives whether it is at its end; what was
/// written, a count of bytes and their address; and what was left out.
VESK_CALL(convertOn)
std::int32_t convertOn(std::uint32_t handle, std::uint32_t items) {
  return answered([=](Calls& all) {
    Conversion& conversion = of(all.conversions, handle);
    bool ended = false;
    for (std::uint32_t i = 0; i < items && !ended; ++i)
      ended = !conversion.rendering.add(conversion.stream);
    if (ended) conversion.rendering.finish();
    const std::string_view text = conversion.rendering.take();
    all.reply.u8(ended);
    all.reply.u32(text.size());
    all.reply.address(text.data());
    all.reply.text(conversion.rendering.leftOut());
  });
}

}  // namespace vesk::viewer
