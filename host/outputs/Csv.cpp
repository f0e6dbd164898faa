#include "host/outputs/Csv.h"

#include <array>
#include <utility>

#include "host/Kinds.h"
#include "host/writing/CsvField.h"
#include "host/writing/Numbers.h"

namespace vesk::host {

/// A row and the names of its columns. It is a handler for Decoded::visit().
class CsvOutput::Row {
 public:
  /// `named` says whether names are wanted: a table needs them once.
  explicit Row(bool named) : _named(named) {}

  const std::string& names() const { return _names; }
  const std::string& fields() const { return _fields; }

  void nil() {}
  void dictionaryBegin() {}
  void dictionaryEnd() {}
  void key(std::string_view name) { _key = name; }
  void string(std::string_view text) {
    column(_line ? "LINE_" + std::to_string((*_line)++) : _key, text);
  }

  /// The strings that follow are lines, which have numbers for keys.
  void numberLines() { _line = 0; }

  void number(const vesk_number& number) {
    withValue(number, [this](auto value) { numberColumn(_key, value); });
  }

  void array(std::int32_t kind, const void* values, std::size_t count) {
    withValues(kind, values, count, [this](auto numbers) {
      for (std::size_t i = 0; i < numbers.size(); ++i) {
        numberColumn(_named ? _key + "_" + std::to_string(i) : _key, numbers[i]);
      }
    });
  }

  void column(std::string_view name, std::string_view field) {
    separate();
    if (_named) appendCsvField(_names, name);
    appendCsvField(_fields, field);
  }

  /// Empty where the sender isn't known: every table has the same columns.
  void senderColumns(const std::optional<UsbSender>& sender) {
    column("bus", sender ? std::to_string(sender->bus) : "");
    column("device", sender ? std::to_string(sender->device) : "");
    column("endpoint", sender ? std::to_string(sender->endpointNumber()) : "");
  }

  template <class T>
  void numberColumn(std::string_view name, T value) {
    separate();
    if (_named) appendCsvField(_names, name);
    std::array<char, kNumberRoom> text;
    _fields.append(text.data(), putNumber(text.data(), value));
  }

 private:
  void separate() {
    if (_named && !_names.empty()) _names += ',';
    if (!std::exchange(_first, false)) _fields += ',';
  }

  bool _named;
  bool _first = true;
  std::optional<std::size_t> _line;
  std::string _key = "VALUE";  // a report that is a bare string has no key of its own
  std::string _names;
  std::string _fields;
};

void CsvOutput::writeChecked(const Report& report, const ReportInfo& info) {
  if (!_decoder.empty() && info.decoder != _decoder) {
    ++_leftOut[info.id];
    return;
  }
  const Decoded object = decode(info, Plugin::Mode::Object);
  Row row(_decoder.empty());
  row.column("source", describe(_file, report.place));
  row.column("time", report.microseconds ? secondsText(*report.microseconds) : "");
  row.numberColumn("report_id", info.id);
  row.senderColumns(report.sender);
  if (object.form() == VESK_NIL) {
    row.numberLines();
    decodeLines(info).visit(row);
  } else {
    object.visit(row);
  }

  if (_decoder.empty()) _sink.append(row.names() + '\n');
  _decoder = info.decoder;
  _sink.append(row.fields());
  _sink.append('\n');
}

std::string CsvOutput::leftOut() const {
  std::string text;
  for (const auto& [id, reports] : _leftOut)
    text +=
        (text.empty() ? "" : ", ") + std::to_string(reports) + " of " + describe(id, std::nullopt);
  if (text.empty()) return text;
  return "left out of the table: " + text + "; a table holds what " + _decoder +
         " decodes, --report ID chooses";
}

}  // namespace vesk::host
