/// Which byte of a report says what: its fields, in the order of its bytes.
///
/// Nothing here knows a layout: the map is found from the plug-in, through the C interface (see
/// Probe.h), so that it follows another plug-in, or names that a host replaced, by itself.
///
///     const LayoutMap map = layoutOf(plugin, info);
///     for (const LayoutField& field : map.fields)
///       std::cout << placeOf(field) << ' ' << (field.values.empty() ? "" : field.values[0].key);
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/Value.h"

namespace vesk::host {

/// A value of the object that a field says.
struct LayoutValue {
  static constexpr std::int32_t kString = -1;  // beside the vesk_kinds

  std::size_t index;                        // among the object's values, an array being one
  std::string key;                          // empty for a report that is a bare string
  std::int32_t kind;                        // a vesk_kind, or kString
  std::size_t count = 0;                    // of an array's elements; 0: a value by itself
  std::optional<std::size_t> element = {};  // which one of an array's, where it is one of them
};

/// Lines that a field shows up in.
struct LayoutLine {
  std::size_t first;  // of the report's lines, from 0
  std::size_t count;
  std::string label;  // the line, with "…" for what changes: "Feed Count:…"; empty: it all changes
  std::string heading;  // a line above that never changes, where the label alone doesn't tell
  std::size_t bits;     // of the field, from its lowest one, that the line shows

  // Of one element of an array: which line of the array's lines, from 1, and how many they are.
  std::size_t ofBlock = 0;
  std::size_t blockLines = 0;

  /// What stands in front of the line's own text where the label alone doesn't tell: "[D-SCAN I], ",
  /// "Baseline: ", or nothing.
  std::string prefix() const;
};

enum class FieldRole : std::uint8_t {
  ReportId,   // byte 0
  Shown,      // in the text, in the object or in both
  Nowhere,    // whatever stands there, neither text nor object change
  Newline,    // between two lines of a text
  EndOfText,  // its NUL
};

struct LayoutField {
  std::size_t firstBit;  // from the lowest bit of byte 0
  std::size_t bitCount;
  FieldRole role = FieldRole::Shown;
  std::vector<LayoutValue> values = {};
  std::vector<LayoutLine> lines = {};
  bool reshapes = false;  // some values of it add or remove lines or keys
  bool refuses = false;   // the decoder refuses some values of it

  std::size_t firstByte() const { return firstBit / 8; }
  std::size_t lastByte() const { return (firstBit + bitCount - 1) / 8; }
  bool isWholeBytes() const { return firstBit % 8 == 0 && bitCount % 8 == 0; }

  /// Elements of the array that the field is all of; 0 where it is none.
  std::size_t arrayCount() const { return values.empty() ? 0 : values.front().count; }
};

/// A key of the object, whether or not a field says its value.
struct LayoutKey {
  std::string name;
  std::size_t count;  // of an array's elements; 0: a value by itself
};

struct LayoutMap {
  std::string whyNot;    // there are no fields, since ...; empty: there are
  std::size_t size = 0;  // bytes that the fields cover, all of them
  std::size_t lineCount = 0;
  std::vector<LayoutKey> keys;      // of the object, in its order
  std::vector<LayoutField> fields;  // an array's elements each by themselves

  /// The same with each array as one field, where its elements stand one behind the other.
  std::vector<LayoutField> withArrays() const;
};

/// The map of a kind of report. `came` is a report of it that came, if there is one: then the map
/// is as long as that, and of a text it has the lines.
LayoutMap layoutOf(Plugin& plugin, const ReportInfo& info, std::span<const std::uint8_t> came = {});

/// What decides where a report's fields stand: its length, or the places where a text's lines end.
/// Reports of one kind and one shape have one map, if they fit it.
std::string shapeOf(std::span<const std::uint8_t> bytes, const ReportInfo& info);

/// Whether a report has the lines and keys that a map knows; where there is no map, that fits, too.
bool fits(const LayoutMap& map, std::size_t lineCount, std::span<const Field> values);

/// "5..12", "4 bit 0", "393 bits 1..7", "1 bit 4..2 bit 7".
std::string placeOf(const LayoutField& field);

/// "4", "1 bit", "7 bits".
std::string sizeOf(const LayoutField& field);

/// "u32", "i32[48]", "string", as tables show a kind.
std::string shortKind(const LayoutValue& value);

/// "unsigned int", "string", as records tell a kind.
std::string_view longKind(const LayoutValue& value);

}  // namespace vesk::host
