#include "host/columns/Columns.h"

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <utility>
#include <variant>

#include "host/Kinds.h"
#include "host/Value.h"

namespace vesk::host {

/// A value of an object, in its order, and the column that it goes to.
struct Columns::Entry {
  std::string key;
  Column column;
  bool isKept = true;
};

struct Columns::Shape {
  std::vector<Entry> entries;  // the offsets of those that are kept are those in the table
  bool hasObject = true;
  std::unique_ptr<Table> table;
};

namespace {

[[noreturn]] void refuseOtherShape(std::string_view what) {
  throw DecoderFault("its object is not as that of the first such report: " + std::string(what));
}

/// The column of a field, without its place in a row.
Column columnOf(const Field& field) {
  Column column;
  column.name = field.key;
  if (const auto* number = std::get_if<vesk_number>(&field.value)) {
    column.kind = number->kind;
  } else if (const auto* array = std::get_if<ArrayValue>(&field.value)) {
    column.kind = array->kind;
    column.count = array->count;
    column.isArray = true;
  } else {
    column.kind = VESK_UNSIGNED_INT;
    column.isText = true;
  }
  if (sizeOfKind(column.kind) == 0)
    throw DecoderFault("\"" + field.key + "\" is of a kind that is not known here");
  return column;
}

}  // namespace

/// Writes an object's values into a row. It is a handler for Decoded::visit().
class Columns::Filler {
 public:
  Filler(const Shape& shape, Texts& texts, std::byte* row)
      : _entries(shape.entries), _texts(texts), _row(row) {}

  void nil() {}
  void dictionaryBegin() {}
  void dictionaryEnd() {}
  void key(std::string_view name) { _key = name; }

  void string(std::string_view text) {
    const Column* const column = next(VESK_UNSIGNED_INT, 1, false, true);
    if (column == nullptr) return;
    const std::uint32_t number = _texts.numberOf(text);
    std::memcpy(_row + column->offset, &number, sizeof number);
  }

  void number(const vesk_number& number) {
    const Column* const column = next(number.kind, 1, false, false);
    if (column == nullptr) return;
    withValues(number.kind, nullptr, 0, [&](auto numbers) {
      using Number = std::remove_cvref_t<decltype(*numbers.data())>;
      Number value;
      if constexpr (std::is_floating_point_v<Number>)
        value = static_cast<Number>(number.value.d);
      else if constexpr (std::is_signed_v<Number>)
        value = static_cast<Number>(number.value.i);
      else
        value = static_cast<Number>(number.value.u);
      std::memcpy(_row + column->offset, &value, sizeof value);
    });
  }

  void array(std::int32_t kind, const void* values, std::size_t count) {
    const Column* const column = next(kind, count, true, false);
    if (column != nullptr && count != 0) std::memcpy(_row + column->offset, values, column->size());
  }

  /// All entries must have come.
  void finish() const {
    if (_next != _entries.size()) refuseOtherShape("it has no \"" + _entries[_next].key + "\"");
  }

 private:
  /// The column that the next value goes to; null if it isn't kept.
  const Column* next(std::int32_t kind, std::size_t count, bool isArray, bool isText) {
    if (_next == _entries.size()) refuseOtherShape("it has more keys");
    const Entry& entry = _entries[_next++];
    const Column& column = entry.column;
    if (_key != entry.key)
      refuseOtherShape(std::string("\"").append(_key) + "\" where \"" + entry.key + "\" was");
    if (column.kind != kind || column.count != count || column.isArray != isArray ||
        column.isText != isText)
      refuseOtherShape("\"" + entry.key + "\" has another kind or length");
    return entry.isKept ? &column : nullptr;
  }

  const std::vector<Entry>& _entries;
  Texts& _texts;
  std::byte* _row;
  std::size_t _next = 0;
  std::string_view _key;
};

Columns::Columns(const OutputContext& context, ColumnChoice choice)
    : DecodingOutput(context), _choice(std::move(choice)), _texts(std::make_unique<Texts>()) {}

Columns::~Columns() = default;

void Columns::beginFile(std::string_view name) {
  _file = name;
  _source = _texts->numberOf(name);
}

const Table* Columns::table(std::string_view decoder) const {
  const auto found = _shapes.find(decoder);
  return found == _shapes.end() ? nullptr : found->second->table.get();
}

Tables Columns::take() {
  Tables taken;
  for (const auto& [decoder, shape] : _shapes) {
    if (shape->table->rows() == 0) continue;
    const auto& columns = shape->table->columns();
    auto next =
        std::make_unique<Table>(std::vector(columns.begin() + kCommonColumns, columns.end()));
    shape->table->fit();
    taken.byDecoder.emplace(decoder, std::exchange(shape->table, std::move(next)));
  }
  taken.texts = std::exchange(_texts, std::make_unique<Texts>());
  _rows = 0;
  _source = _texts->numberOf(_file);
  _sender.reset();
  _device = 0;
  return taken;
}

Columns::Shape& Columns::shapeOf(const ReportInfo& info, const Decoded& object) {
  if (const auto known = _byInfo.find(&info); known != _byInfo.end()) return *known->second;
  auto shape = _shapes.find(info.decoder);
  if (shape == _shapes.end()) shape = _shapes.emplace(info.decoder, learn(info, object)).first;
  _byInfo.emplace(&info, shape->second.get());
  return *shape->second;
}

std::unique_ptr<Columns::Shape> Columns::learn(const ReportInfo& info,
                                               const Decoded& object) const {
  auto shape = std::make_unique<Shape>();
  shape->hasObject = object.form() != VESK_NIL;
  std::vector<Field> fields = fieldsOf(object);
  if (!shape->hasObject) fields.push_back({"", std::string()});
  const auto chosen = _choice.find(info.decoder);
  const auto isChosen = [&](const std::string& name) {
    return chosen == _choice.end() ||
           std::ranges::find(chosen->second, name) != chosen->second.end();
  };
  std::vector<Column> kept;
  for (Field& field : fields) {
    Column column = columnOf(field);
    if (field.key.empty()) column.name = shape->hasObject ? "value" : "lines";
    const bool isKept = isChosen(column.name);
    if (isKept) kept.push_back(column);
    shape->entries.push_back({std::move(field.key), std::move(column), isKept});
  }
  shape->table = std::make_unique<Table>(std::move(kept));
  std::size_t index = kCommonColumns;
  for (Entry& entry : shape->entries)
    if (entry.isKept) entry.column = shape->table->columns()[index++];
  return shape;
}

void Columns::writeChecked(const Report& report, const ReportInfo& info) {
  const Decoded object = decode(info, Plugin::Mode::Object);
  std::optional<Decoded> lines;  // which may be refused where the object is just missing
  if (object.form() == VESK_NIL) lines = decodeLines(info);
  Shape& shape = shapeOf(info, object);
  if (shape.hasObject == lines.has_value())
    refuseOtherShape(shape.hasObject ? "there is none" : "there is one");
  std::byte* const row = shape.table->nextRow();
  Filler filler(shape, *_texts, row);
  if (lines) {
    std::string_view text = lines->text();
    if (text.ends_with('\n')) text.remove_suffix(1);
    filler.string(text);
  } else {
    object.visit(filler);
  }
  filler.finish();
  writeCommon(report, *shape.table, row);
  shape.table->commitRow();
  ++_rows;
}

/// The number of the text that says who sent a report. A live device may have come back as another
/// one in the same place, so that it is asked each time.
std::uint32_t Columns::deviceOf(const Report& report) {
  if (report.device != nullptr) return _texts->numberOf(describe(*report.device));
  if (report.sender != _sender) {
    _sender = report.sender;
    _device = _texts->numberOf(_sender ? describe(*_sender) : "");
  }
  return _device;
}

void Columns::writeCommon(const Report& report, const Table& table, std::byte* row) {
  const auto put = [&](std::size_t column, const auto& value) {
    std::memcpy(row + table.columns()[column].offset, &value, sizeof value);
  };
  put(kTimeColumn, report.microseconds.value_or(kNoTime));
  put(kReportIdColumn, static_cast<std::uint8_t>(report.id()));
  put(kSourceColumn, _source);
  put(kDeviceColumn, deviceOf(report));
  put(kPlaceColumn, report.place.number);
}

}  // namespace vesk::host
