#include "host/outputs/LayoutPages.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "host/Report.h"
#include "host/outputs/Table.h"
#include "host/writing/Colour.h"
#include "host/writing/JsonWriter.h"
#include "host/writing/Terminal.h"
#include "host/writing/Utf8.h"

namespace vesk::host {

namespace {

std::vector<LayoutField> fieldsFor(const KindLayout& kind, bool elements) {
  auto fields = elements ? kind.map.fields : kind.map.withArrays();
  // Where the lines of a text stand depends on the text, and its ends are no fields.
  if (kind.info->nulTerminated)
    std::erase_if(fields, [](const LayoutField& field) {
      return field.role == FieldRole::Newline || field.role == FieldRole::EndOfText;
    });
  return fields;
}

// -------------------------------------------------------------------------------------- for people

std::string lengthText(const ReportInfo& info) {
  if (info.nulTerminated) return "text from byte 1 to its NUL";
  return (info.exactLength ? "exactly " : "at least ") + countedBytes(info.smallest);
}

std::string lineCell(const LayoutField& field, const LayoutLine& line) {
  std::string cell = line.prefix();
  if (line.count > 1)
    cell += std::to_string(line.count) + " lines";
  else if (line.ofBlock != 0)
    cell += "line " + std::to_string(line.ofBlock) + " of " + std::to_string(line.blockLines);
  else if (line.label.empty())
    cell += "line " + std::to_string(line.first + 1);
  else
    cell += line.label;
  if (line.bits < field.bitCount) cell += ", of the low " + std::to_string(line.bits) + " bits";
  return cell;
}

std::string keyCell(const LayoutValue& value) {
  if (!value.element) return value.key;
  return value.key + "[" + std::to_string(*value.element) + "]";
}

/// What lines and keys can't tell.
std::vector<std::string> remarks(const LayoutField& field) {
  std::vector<std::string> made;
  if (field.role == FieldRole::ReportId) made.emplace_back("report ID");
  if (field.role == FieldRole::Nowhere) made.emplace_back("shown nowhere");
  if (field.reshapes) made.emplace_back("which lines and keys there are depends on it");
  if (field.refuses) made.emplace_back("the decoder refuses other values");
  return made;
}

std::string tableOf(const KindLayout& kind, bool elements, bool colours) {
  Table table({"OFFSET", "SIZE", "KIND", "KEY", "LINE"});
  const auto fields = fieldsFor(kind, elements);
  std::size_t textLine = 0;
  for (const LayoutField& field : fields) {
    std::string place = placeOf(field);
    std::string size = sizeOf(field);
    if (kind.info->nulTerminated && field.role == FieldRole::Shown) {
      place = fields.size() > 2 ? "line " + std::to_string(++textLine) : "1..";
      size = "text";
    }
    std::vector<std::string> lines;
    for (const LayoutLine& line : field.lines) lines.push_back(lineCell(field, line));
    for (std::string& remark : remarks(field)) lines.push_back(std::move(remark));
    for (std::size_t i = 0; i < std::max({field.values.size(), lines.size(), std::size_t{1}});
         ++i) {
      std::vector<std::string> cells(2);
      if (i == 0) cells = {place, size};
      const bool hasValue = i < field.values.size();
      cells.push_back(hasValue ? shortKind(field.values[i]) : "");
      cells.push_back(hasValue ? keyCell(field.values[i]) : "");
      cells.push_back(i < lines.size() ? lines[i] : "");
      table.add(std::move(cells));
    }
  }
  return table.text(colours);
}

// ------------------------------------------------------------------------------------ for programs

std::string_view nameOf(FieldRole role) {
  constexpr auto kNames =
      std::to_array<std::string_view>({"report_id", "shown", "nowhere", "newline", "end_of_text"});
  return kNames[static_cast<std::size_t>(role)];
}

void writeValue(JsonWriter& json, const LayoutValue& value) {
  json.beginObject();
  if (!value.key.empty()) json.member("key", asUtf8(value.key));
  json.member("kind", longKind(value));
  if (value.count != 0) json.member("count", value.count);
  json.member("element", value.element);
  json.endObject();
}

void writeLine(JsonWriter& json, const LayoutField& field, const LayoutLine& line) {
  json.beginObject();
  json.member("line", line.first + 1);
  if (line.count > 1) json.member("count", line.count);
  json.member("label", asUtf8(line.label));
  if (!line.heading.empty()) json.member("heading", asUtf8(line.heading));
  if (line.bits < field.bitCount) json.member("low_bits", line.bits);
  json.endObject();
}

void writeField(JsonWriter& json, const LayoutField& field, const ReportInfo& info) {
  json.beginObject();
  if (!info.nulTerminated || field.role != FieldRole::Shown) {
    json.member("offset", field.firstByte());
    if (field.isWholeBytes()) {
      json.member("size", field.bitCount / 8);
    } else {
      json.member("bit", field.firstBit % 8);
      json.member("bits", field.bitCount);
    }
  }
  json.member("role", nameOf(field.role));
  json.key("values");
  json.beginArray();
  for (const LayoutValue& value : field.values) writeValue(json, value);
  json.endArray();
  json.key("lines");
  json.beginArray();
  for (const LayoutLine& line : field.lines) writeLine(json, field, line);
  json.endArray();
  if (field.reshapes) {
    json.key("reshapes");
    json.boolean(true);
  }
  if (field.refuses) {
    json.key("refuses");
    json.boolean(true);
  }
  json.endObject();
}

std::string recordOf(const KindLayout& kind, bool elements) {
  const ReportInfo& info = *kind.info;
  JsonWriter json;
  json.beginObject();
  json.member("format_version", 1u);
  json.member("report_id", info.id);
  json.member("report_type", nameOf(info.type));
  json.member("decoder", asUtf8(info.decoder));
  json.key("display_name");
  if (info.displayName)
    json.string(asUtf8(*info.displayName));
  else
    json.null();
  json.key("layout");
  json.beginObject();
  json.member("size", info.smallest);
  json.member("length",
              std::string_view(info.nulTerminated ? "text"
                               : info.exactLength ? "exactly"
                                                  : "at_least"));
  json.key("fields");
  if (kind.map.whyNot.empty()) {
    json.beginArray();
    for (const LayoutField& field : fieldsFor(kind, elements)) writeField(json, field, info);
    json.endArray();
  } else {
    json.null();
  }
  json.endObject();
  json.endObject();
  return std::string(json.text());
}

}  // namespace

std::string layoutTables(std::span<const KindLayout> kinds, bool elements, bool colours) {
  std::string text;
  for (const KindLayout& kind : kinds) {
    if (!text.empty()) text += '\n';
    const ReportInfo& info = *kind.info;
    const std::string head = "# " + describe(info.id, info.type) + ", " + printable(info.decoder) +
                             ", " + lengthText(info);
    text += (colours ? coloured(Colour::Cyan, head) : head) + "\n\n";
    text += kind.map.whyNot.empty() ? tableOf(kind, elements, colours)
                                    : "not found out: " + kind.map.whyNot + "\n";
  }
  return text;
}

std::string layoutRecords(std::span<const KindLayout> kinds, bool elements, bool inArray) {
  std::string text = inArray ? "[" : "";
  for (const KindLayout& kind : kinds) {
    if (inArray) text += &kind == &kinds.front() ? "\n" : ",\n";
    text += recordOf(kind, elements);
    if (!inArray) text += '\n';
  }
  return inArray ? text + "\n]\n" : text;
}

}  // namespace vesk::host
