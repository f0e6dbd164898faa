#include "host/outputs/Explain.h"

#include <algorithm>
#include <array>
#include <bit>
#include <span>
#include <string_view>
#include <utility>

#include "host/Kinds.h"
#include "host/outputs/Origin.h"
#include "host/outputs/Table.h"
#include "host/writing/Colour.h"
#include "host/writing/Numbers.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::size_t kShownBytes = 8;        // of a longer field
constexpr std::size_t kShownCharacters = 24;  // of an array's values, the last one whole

/// Gathers lines. It is a handler for Decoded::visit().
struct LineGatherer {
  std::vector<std::string> lines{};

  void nil() {}
  void dictionaryBegin() {}
  void dictionaryEnd() {}
  void key(std::string_view) {}
  void number(const vesk_number&) {}
  void string(std::string_view line) { lines.emplace_back(line); }
  void array(std::int32_t, const void*, std::size_t) {}
};

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

// --------------------------------------------------------------------------------------- the cells

/// "ee 8f 00 00"; of bits in a byte, that byte and its bits, the field's: "62 ......1.".
std::string bytesCell(const LayoutField& field, std::span<const std::uint8_t> bytes) {
  std::string cell;
  const std::size_t count = field.lastByte() + 1 - field.firstByte();
  for (std::size_t i = 0; i < std::min(count, kShownBytes); ++i) {
    std::array<char, 2> digits;
    writeHexByte(digits.data(), bytes[field.firstByte() + i]);
    cell.append(i == 0 ? "" : " ").append(digits.data(), digits.size());
  }
  if (count > kShownBytes) cell += " …";
  if (field.isWholeBytes() || count > 1) return cell;
  cell += ' ';
  for (std::size_t bit = 8; bit-- > 0;) {
    const std::size_t at = 8 * field.firstByte() + bit;
    const bool isField = at >= field.firstBit && at < field.firstBit + field.bitCount;
    const bool isSet = (bytes[field.firstByte()] >> bit & 1) != 0;
    cell += !isField ? '.' : isSet ? '1' : '0';
  }
  return cell;
}

std::string numberText(const vesk_number& number) {
  if (number.kind == VESK_BOOL) return number.value.u != 0 ? "true" : "false";
  std::array<char, kNumberRoom> text;
  char* end = text.data();
  withValue(number, [&](auto value) { end = putNumber(text.data(), value); });
  return {text.data(), end};
}

std::string valueText(const Value& value, std::optional<std::size_t> element) {
  if (const auto* text = std::get_if<std::string>(&value)) return '"' + *text + '"';
  if (const auto* number = std::get_if<vesk_number>(&value)) return numberText(*number);
  const auto* array = std::get_if<ArrayValue>(&value);
  if (array == nullptr) return {};
  if (element) return numberText(elementOf(*array, *element));
  std::string text;
  for (std::size_t i = 0; i < array->count; ++i) {
    if (text.size() >= kShownCharacters) return text + ", …";
    text += (i == 0 ? "" : ", ") + numberText(elementOf(*array, i));
  }
  return text;
}

/// "Count = 36846", "D_SCAN_I[3] = -4"; the value alone of a report that is one.
std::string valueCell(const LayoutValue& value, const std::vector<Field>& values) {
  std::string cell = value.key;
  if (value.element) cell += "[" + std::to_string(*value.element) + "]";
  if (!cell.empty()) cell += " = ";
  return cell + valueText(values[value.index].value, value.element);
}

/// The line as it is; of an array, how many there are; of one of its elements, which of them.
std::string lineCell(const LayoutLine& line, const std::vector<std::string>& lines) {
  std::string cell = line.prefix();
  if (line.count > 1) return cell + std::to_string(line.count) + " lines";
  if (line.ofBlock != 0)
    return cell + "line " + std::to_string(line.ofBlock) + " of " + std::to_string(line.blockLines);
  cell += trimmed(lines[line.first]);
  return cell.empty() ? "an empty line" : cell;
}

std::vector<std::string> lineCells(const LayoutField& field,
                                   const std::vector<std::string>& lines) {
  std::vector<std::string> cells;
  for (const LayoutLine& line : field.lines) {
    cells.push_back(lineCell(line, lines));
    if (line.bits < field.bitCount)
      cells.push_back("(of the low " + std::to_string(line.bits) + " bits)");
  }
  switch (field.role) {
    case FieldRole::ReportId:
      cells.emplace_back("report ID");
      break;
    case FieldRole::Nowhere:
      cells.emplace_back("shown nowhere");
      break;
    case FieldRole::Newline:
      cells.emplace_back("end of a line");
      break;
    case FieldRole::EndOfText:
      cells.emplace_back("end of the text");
      break;
    case FieldRole::Shown:
      break;
  }
  if (field.reshapes) cells.emplace_back("which lines and keys there are depends on it");
  if (field.refuses) cells.emplace_back("the decoder refuses other values");
  return cells;
}

std::string tableOf(const std::vector<LayoutField>& fields, std::span<const std::uint8_t> bytes,
                    const std::vector<std::string>& lines, const std::vector<Field>& values,
                    bool colours) {
  Table table({"OFFSET", "BYTES", "LINE", "KIND", "KEY = VALUE"});
  for (const LayoutField& field : fields) {
    const std::vector<std::string> shown = lineCells(field, lines);
    const std::size_t rows = std::max({shown.size(), field.values.size(), std::size_t{1}});
    for (std::size_t i = 0; i < rows; ++i) {
      std::vector<std::string> cells(2);
      if (i == 0) cells = {placeOf(field), bytesCell(field, bytes)};
      cells.push_back(i < shown.size() ? shown[i] : "");
      if (i < field.values.size()) {
        cells.push_back(shortKind(field.values[i]));
        cells.push_back(valueCell(field.values[i], values));
      }
      table.add(std::move(cells));
    }
  }
  return table.text(colours);
}

}  // namespace

/// Maps are made of the layout's bytes and of what follows them, so the report's copy with a NUL
/// behind it is not needed.
const ExplainOutput::Known& ExplainOutput::knownOf(const Report& report, const ReportInfo& info,
                                                   const std::vector<std::string>& lines,
                                                   const std::vector<Field>& values) {
  std::string shape = shapeOf(report.bytes, info);
  Known& known = _known[&info];
  if (known.shape != shape || !fits(known.map, lines.size(), values)) {
    known.map = layoutOf(_plugin, info, report.bytes);
    known.shape = std::move(shape);
    if (!fits(known.map, lines.size(), values))
      known.map.whyNot = "its lines and keys change with its contents";
    known.fields = _elements ? known.map.fields : known.map.withArrays();
  }
  return known;
}

void ExplainOutput::writeChecked(const Report& report, const ReportInfo& info) {
  const std::vector<Field> values = fieldsOf(decode(info, Plugin::Mode::Object));
  LineGatherer gatherer;
  decodeLines(info).visit(gatherer);
  const Known& known = knownOf(report, info, gatherer.lines, values);

  const std::string origin = originLine(_file, report, info);
  _sink.appendControls(_colours ? coloured(Colour::Cyan, origin) : origin);
  _sink.append('\n');
  if (known.map.whyNot.empty())
    _sink.appendControls(tableOf(known.fields, report.bytes, gatherer.lines, values, _colours));
  else
    _sink.append("not found out: " + known.map.whyNot + "\n");
  _sink.append('\n');
}

}  // namespace vesk::host
