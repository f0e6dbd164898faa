#include "host/limits/Limits.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <span>
#include <sstream>
#include <utility>

#include "host/limits/Probe.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

using Json = nlohmann::ordered_json;  // tests are told in the order in which they were read
using Names = std::span<const std::string_view>;

constexpr std::size_t kLargestFile = 16'000'000;
constexpr int kDeepest = 64;  // objects and arrays in each other
constexpr std::uint64_t kExactInDouble = std::uint64_t{1} << 53;

// Keywords that say something to people, and nothing of a value.
constexpr auto kNotes =
    std::to_array<std::string_view>({"title", "description", "$comment", "default", "examples"});

// What else may stand where.
constexpr auto kOfFile =
    std::to_array<std::string_view>({"$comment", "title", "serial", "reports"});
constexpr auto kOfReport =
    std::to_array<std::string_view>({"$comment", "schema", "optional", "units"});
constexpr auto kOfSerial = std::to_array<std::string_view>({"$comment", "report", "key"});
constexpr auto kOfObject = std::to_array<std::string_view>(
    {"$schema", "type", "properties", "patternProperties", "required"});
constexpr auto kOfNumber = std::to_array<std::string_view>({"type",
                                                            "minimum",
                                                            "maximum",
                                                            "exclusiveMinimum",
                                                            "exclusiveMaximum",
                                                            "multipleOf",
                                                            "const",
                                                            "enum",
                                                            "allOf",
                                                            "anyOf",
                                                            "oneOf",
                                                            "not",
                                                            "if",
                                                            "then",
                                                            "else"});
constexpr auto kOfString = std::to_array<std::string_view>({"type",
                                                            "pattern",
                                                            "minLength",
                                                            "maxLength",
                                                            "const",
                                                            "enum",
                                                            "allOf",
                                                            "anyOf",
                                                            "oneOf",
                                                            "not",
                                                            "if",
                                                            "then",
                                                            "else"});
constexpr auto kOfArray = std::to_array<std::string_view>(
    {"type", "items", "minItems", "maxItems", "contains", "uniqueItems"});

// The other keywords of draft 7: known, and not understood here.
constexpr auto kOthers = std::to_array<std::string_view>({"$id",
                                                          "$ref",
                                                          "$schema",
                                                          "definitions",
                                                          "additionalItems",
                                                          "additionalProperties",
                                                          "contentEncoding",
                                                          "contentMediaType",
                                                          "dependencies",
                                                          "format",
                                                          "maxProperties",
                                                          "minProperties",
                                                          "propertyNames",
                                                          "readOnly"});

bool contains(Names names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

/// How many characters must be changed, added or removed to make one text of another.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
    }
  }
  return row[b.size()];
}

/// "; did you mean NAME?", if one is much like it.
std::string didYouMean(std::string_view name, const auto& known) {
  constexpr std::size_t kLongestName = 200;
  if (name.size() > kLongestName) return "";
  std::string_view best;
  std::size_t least = name.size() / 3 + 1;
  for (const auto& candidate : known) {
    const std::size_t changes = distance(name, candidate);
    if (changes > least || (changes == least && !best.empty())) continue;
    least = changes;
    best = candidate;
  }
  return best.empty() ? "" : "; did you mean " + std::string(best) + "?";
}

/// The same, or else all keys of a report that has few.
std::string otherKeys(std::string_view key, const std::vector<std::string>& keys) {
  constexpr std::size_t kFew = 16;
  std::string text = didYouMean(key, keys);
  if (!text.empty() || keys.size() > kFew) return text;
  for (const std::string& each : keys) text.append(text.empty() ? "; it has " : ", ").append(each);
  return text;
}

std::string escaped(std::string_view name) {
  std::string text;
  for (const char character : name) {
    if (character == '~' || character == '/')
      text += character == '~' ? "~0" : "~1";
    else
      text += character;
  }
  return text;
}

/// Where in the file: a JSON pointer.
struct Pointer {
  std::string text{};

  Pointer operator/(std::string_view name) const { return {text + "/" + escaped(name)}; }
  Pointer operator/(std::size_t index) const { return {text + "/" + std::to_string(index)}; }
};

/// A schema of the file, and where it stands.
struct Found {
  const Json* schema;
  Pointer pointer;
};

enum class Shape : std::uint8_t { Number, String, Array };

/// What a schema is for.
struct Target {
  Shape shape;
  std::int32_t kind;      // of the number, or of an array's elements
  std::size_t count = 0;  // of an array's elements
  std::string name{};     // for people: "an unsigned int"

  bool isFloating() const { return kind == VESK_FLOAT || kind == VESK_DOUBLE; }
  bool isSigned() const { return kind == VESK_INT || kind == VESK_LONG_LONG; }
  bool isWide() const { return kind == VESK_LONG_LONG || kind == VESK_UNSIGNED_LONG_LONG; }
};

std::string withArticle(std::string_view name) {
  const bool vowel = std::string_view("aeiou").find(name.front()) != std::string_view::npos;
  return (vowel ? "an " : "a ") + std::string(name);
}

Target targetFor(const Value& value) {
  if (const auto* number = std::get_if<vesk_number>(&value))
    return {Shape::Number, number->kind, 0, withArticle(nameOfKind(number->kind))};
  if (const auto* array = std::get_if<ArrayValue>(&value))
    return {
        Shape::Array,
        array->kind,
        array->count,
        "an array of " + std::to_string(array->count) + " " + std::string(nameOfKind(array->kind))};
  return {Shape::String, VESK_BOOL, 0, "a string"};
}

Target elementOf(const Target& array) {
  return {Shape::Number, array.kind, 0, withArticle(nameOfKind(array.kind))};
}

/// The least and the greatest whole number of a kind.
std::pair<std::int64_t, std::uint64_t> rangeOf(std::int32_t kind) {
  const auto of = []<class T>(T) {
    return std::pair{static_cast<std::int64_t>(std::numeric_limits<T>::min()),
                     static_cast<std::uint64_t>(std::numeric_limits<T>::max())};
  };
  switch (kind) {
    case VESK_UNSIGNED_CHAR:
      return of(std::uint8_t{});
    case VESK_UNSIGNED_SHORT:
      return of(std::uint16_t{});
    case VESK_UNSIGNED_INT:
      return of(std::uint32_t{});
    case VESK_INT:
      return of(std::int32_t{});
    case VESK_LONG_LONG:
      return of(std::int64_t{});
    case VESK_UNSIGNED_LONG_LONG:
      return of(std::uint64_t{});
    default:
      return {0, 1};
  }
}

std::vector<std::string> keysOf(const std::vector<Field>& fields) {
  std::vector<std::string> keys;
  keys.reserve(fields.size());
  for (const Field& field : fields) keys.push_back(field.key);
  return keys;
}

/// Reads one file.
class Loader {
 public:
  Loader(std::string name, const KnownReports& known, Plugin& plugin)
      : _name(std::move(name)), _known(known), _plugin(plugin) {}

  Limits load(std::string_view text);

 private:
  [[noreturn]] void refuse(const Pointer& pointer, const std::string& message) const {
    throw LimitsFault(_name + (pointer.text.empty() ? "" : ": " + pointer.text), message);
  }

  Json parse(std::string_view text) const;
  [[noreturn]] void refuseText(std::string_view text, std::size_t offset,
                               const std::string& message) const;

  void checkIsObject(const Json& json, const Pointer& pointer) const;
  void checkNames(const Json& object, const Pointer& pointer, Names names) const;
  void checkKeywords(const Json& schema, const Pointer& pointer, Names keywords,
                     const std::string& target) const;
  void checkType(const Json& schema, const Pointer& pointer, Names types,
                 const std::string& target) const;
  std::regex expressionOf(const std::string& pattern, const Pointer& pointer) const;
  void checkDialect(const Json& schema, const Pointer& pointer) const;
  std::string textAt(const Json& object, const std::string& name, const Pointer& pointer) const;

  std::vector<const ReportInfo*> reportsNamed(const std::string& name,
                                              const Pointer& pointer) const;
  const std::vector<Field>& fieldsOf(const ReportInfo& info, const Pointer& pointer);
  SerialKey readSerial(const Json& json, const Pointer& pointer);
  ReportLimits readReport(const ReportInfo& info, const Json& json, const Pointer& pointer);
  std::vector<std::vector<Found>> schemasOfKeys(const ReportInfo& info, const Json& schema,
                                                const Pointer& pointer);
  KeyLimits readKey(const Field& field, const std::vector<Found>& schemas) const;
  void addCheck(KeyLimits& limits, const Target& target, const Found& found) const;

  Json cleaned(const Json& schema, const Pointer& pointer, const Target& target, bool nested) const;
  Json cleanedNumber(const Json& limit, const Pointer& pointer, const Target& target, bool isBound,
                     bool nested) const;
  Json cleanedValue(const Json& value, const Pointer& pointer, const Target& target,
                    bool nested) const;
  Json cleanedMany(const Json& values, const Pointer& pointer, const Target& target,
                   bool nested) const;
  Json cleanedParts(const Json& schemas, const Pointer& pointer, const Target& target) const;
  Json cleanedItems(const Json& items, const Pointer& pointer, const Target& target) const;
  std::uint64_t size(const Json& value, const Pointer& pointer) const;
  NumberCheck numberCheck(Json schema, const Pointer& pointer, const Target& target) const;
  template <class T>
  NumberLimits<T> numberLimits(Json& schema, const Pointer& pointer, const Target& target) const;
  JsonSchema schemaOf(const Json& schema, const Pointer& pointer) const;

  const std::string _name;
  const KnownReports& _known;
  Plugin& _plugin;
  std::vector<std::pair<const ReportInfo*, std::vector<Field>>> _probed;
};

// ------------------------------------------------------------------------------------------ JSON

/// Tells line and column, both from 1, of the byte at `offset`.
void Loader::refuseText(std::string_view text, std::size_t offset,
                        const std::string& message) const {
  const std::string_view before = text.substr(0, offset);
  const auto line = std::ranges::count(before, '\n') + 1;
  const std::size_t begin =
      before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
  throw LimitsFault(_name + ":" + std::to_string(line) + ":" + std::to_string(offset - begin + 1),
                    message);
}

/// A key that stands twice in an object would be taken once, without a word.
Json Loader::parse(std::string_view text) const {
  std::vector<std::set<std::string>> keys;
  std::vector<std::string> path;  // the key in each object around
  const auto check = [&](int depth, Json::parse_event_t event, Json& parsed) {
    if (depth > kDeepest)
      throw LimitsFault(_name, "more than " + std::to_string(kDeepest) + " levels deep");
    if (event == Json::parse_event_t::object_start) {
      keys.emplace_back();
      path.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      keys.pop_back();
      path.pop_back();
    } else if (event == Json::parse_event_t::key) {
      path.back() = parsed.get<std::string>();
      Pointer pointer;
      for (const std::string& key : path) pointer = pointer / key;
      if (!keys.back().insert(path.back()).second)
        refuse(pointer, inQuotes(path.back()) + " stands twice in this object");
    }
    return true;
  };
  try {
    return Json::parse(text, check);
  } catch (const Json::parse_error& error) {
    // "[json.exception.parse_error.101] parse error at line 2, column 3: syntax error ..."
    const std::string_view what = error.what();
    const std::size_t colon = what.find(": ");
    const std::size_t offset = error.byte == 0 ? 0 : std::min(error.byte - 1, text.size());
    refuseText(text, offset, "no JSON: " + std::string(what.substr(colon + 2)));
  } catch (const Json::exception& error) {  // a number that no double holds: "... '1e400'"
    const std::string_view what = error.what();
    const std::size_t begin = what.find('\'') + 1;
    const std::string_view number = what.substr(begin, what.rfind('\'') - begin);
    const std::size_t offset = text.find(number);
    refuseText(text,
               offset == std::string_view::npos ? 0 : offset,
               std::string(number) + " is a larger number than can be compared");
  }
}

void Loader::checkIsObject(const Json& json, const Pointer& pointer) const {
  if (!json.is_object()) refuse(pointer, "an object should stand here");
}

/// Refuses an object, not a schema, that has other members.
void Loader::checkNames(const Json& object, const Pointer& pointer, Names names) const {
  checkIsObject(object, pointer);
  for (const auto& [name, value] : object.items())
    if (!contains(names, name)) {
      std::string known;
      for (const std::string_view each : names)
        if (!each.starts_with('$')) known.append(known.empty() ? "" : ", ").append(each);
      refuse(pointer / name, inQuotes(name) + " is unknown here; known are " + known);
    }
}

std::string Loader::textAt(const Json& object, const std::string& name,
                           const Pointer& pointer) const {
  const Json& value = object.at(name);
  if (!value.is_string()) refuse(pointer / name, "a string should stand here");
  return value.get<std::string>();
}

// --------------------------------------------------------------------------------------- reports

/// The reports of a decoder, or those of an ID.
std::vector<const ReportInfo*> Loader::reportsNamed(const std::string& name,
                                                    const Pointer& pointer) const {
  std::vector<const ReportInfo*> reports;
  const auto id = parseDecimalOrHex<std::uint32_t>(name);
  for (const ReportInfo& info : _known.all())
    if (id ? info.id == *id : info.decoder == name) reports.push_back(&info);
  if (!reports.empty()) return reports;
  if (id)
    refuse(pointer, "no decoder knows report " + name + "; --list-reports shows the known ones");
  std::vector<std::string> decoders;
  for (const ReportInfo& info : _known.all()) decoders.push_back(info.decoder);
  refuse(pointer,
         inQuotes(name) + " is no decoder, and no report ID such as 0xE3" +
             didYouMean(name, decoders) + (didYouMean(name, decoders).empty() ? "; " : " ") +
             "--list-reports shows the known ones");
}

const std::vector<Field>& Loader::fieldsOf(const ReportInfo& info, const Pointer& pointer) {
  for (const auto& [probed, fields] : _probed)
    if (probed == &info) return fields;
  try {
    _probed.emplace_back(&info, probe(_plugin, info));
  } catch (const DecoderFault& fault) {
    refuse(pointer, "what the report's keys are can't be learnt: " + std::string(fault.what()));
  }
  return _probed.back().second;
}

SerialKey Loader::readSerial(const Json& json, const Pointer& pointer) {
  checkNames(json, pointer, kOfSerial);
  if (!json.contains("report")) refuse(pointer, "\"report\" is missing: a decoder or a report ID");
  SerialKey serial;
  serial.reports = reportsNamed(textAt(json, "report", pointer), pointer / "report");
  if (json.contains("key")) serial.key = textAt(json, "key", pointer);
  for (const ReportInfo* info : serial.reports) {
    const auto& fields = fieldsOf(*info, pointer / "report");
    if (fields.empty()) refuse(pointer / "report", "this report is only known as lines");
    const auto field = std::ranges::find(fields, serial.key, &Field::key);
    if (field == fields.end()) {
      const auto keys = keysOf(fields);
      if (keys.size() == 1 && keys.front().empty())
        refuse(pointer / "key", "this report is one string, and has no keys: leave it away");
      if (!json.contains("key")) refuse(pointer, "\"key\" is missing: this report has several");
      refuse(pointer / "key",
             info->decoder + " has no key " + inQuotes(serial.key) + otherKeys(serial.key, keys));
    }
    const Target target = targetFor(field->value);
    if (target.shape == Shape::Array || target.isFloating())
      refuse(pointer / "key",
             "a serial number is a string or a whole number, and this is " + target.name);
  }
  return serial;
}

Limits Loader::load(std::string_view text) {
  const Json file = parse(text);
  const Pointer root;
  checkNames(file, root, kOfFile);
  Limits limits;
  if (file.contains("title")) limits.title = textAt(file, "title", root);
  if (file.contains("serial")) limits.serial = readSerial(file["serial"], root / "serial");
  if (!file.contains("reports")) refuse(root, "\"reports\" is missing, which has the limits");
  const Pointer reports = root / "reports";
  checkIsObject(file["reports"], reports);
  if (file["reports"].empty()) refuse(reports, "there are no limits in it");
  for (const auto& [name, entry] : file["reports"].items()) {
    for (const ReportInfo* info : reportsNamed(name, reports / name)) {
      if (std::ranges::find(limits.reports, info, &ReportLimits::info) != limits.reports.end())
        refuse(reports / name, describe(info->id, info->type) + " has limits already");
      limits.reports.push_back(readReport(*info, entry, reports / name));
    }
  }
  return limits;
}

ReportLimits Loader::readReport(const ReportInfo& info, const Json& json, const Pointer& pointer) {
  checkNames(json, pointer, kOfReport);
  ReportLimits limits{&info, false, {}};
  if (json.contains("optional")) {
    if (!json["optional"].is_boolean())
      refuse(pointer / "optional", "true or false should stand here");
    limits.optional = json["optional"].get<bool>();
  }
  const auto& fields = fieldsOf(info, pointer);
  if (fields.empty())
    refuse(pointer, info.decoder + " has no object that limits could be for: it gives lines only");
  if (!json.contains("schema")) refuse(pointer, "\"schema\" is missing, which has the limits");

  const auto schemas = schemasOfKeys(info, json["schema"], pointer / "schema");
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (!schemas[i].empty()) limits.keys.push_back(readKey(fields[i], schemas[i]));
  if (limits.keys.empty()) refuse(pointer / "schema", "it limits nothing");

  if (!json.contains("units")) return limits;
  const Pointer units = pointer / "units";
  checkIsObject(json["units"], units);
  for (const auto& [key, unit] : json["units"].items()) {
    const auto limited = std::ranges::find(limits.keys, key, &KeyLimits::key);
    if (limited == limits.keys.end())
      refuse(units / key, "there are no limits for a key " + inQuotes(key));
    if (std::holds_alternative<std::string>(limited->like))
      refuse(units / key, "this is a string, which has no unit");
    limited->unit = textAt(json["units"], key, units);
  }
  return limits;
}

// --------------------------------------------------------------------------------------- schemas

/// Refuses keywords that aren't those that mean something here.
void Loader::checkKeywords(const Json& schema, const Pointer& pointer, Names keywords,
                           const std::string& target) const {
  if (!schema.is_object()) refuse(pointer, "a schema that is an object should stand here");
  for (const auto& [name, value] : schema.items()) {
    if (contains(keywords, name) || contains(kNotes, name)) continue;
    if (contains(kOfNumber, name) || contains(kOfString, name) || contains(kOfArray, name) ||
        contains(kOfObject, name) || contains(kOthers, name))
      refuse(pointer / name, std::string(name).append(" can't be used for ").append(target));
    refuse(pointer / name, inQuotes(name) + " is no keyword" + didYouMean(name, keywords));
  }
}

/// A type that isn't the value's own would let everything else in its schema pass.
void Loader::checkType(const Json& schema, const Pointer& pointer, Names types,
                       const std::string& target) const {
  if (!schema.contains("type")) return;
  const Json& type = schema["type"];
  const Json list = type.is_array() ? type : Json::array({type});
  if (list.empty()) refuse(pointer / "type", "it is empty");
  for (const Json& each : list) {
    if (!each.is_string()) refuse(pointer / "type", "a type's name should stand here");
    if (!contains(types, each.get<std::string>()))
      refuse(pointer / "type",
             "this is " + target + ", and never " + inQuotes(each.get<std::string>()));
  }
}

void Loader::checkDialect(const Json& schema, const Pointer& pointer) const {
  if (!schema.contains("$schema")) return;
  const std::string dialect = textAt(schema, "$schema", pointer);
  if (dialect != "http://json-schema.org/draft-07/schema#" &&
      dialect != "http://json-schema.org/draft-07/schema")
    refuse(pointer / "$schema",
           "only draft 7 is understood: http://json-schema.org/draft-07/schema#");
}

/// What reads a pattern takes stack for each of its parts.
std::regex Loader::expressionOf(const std::string& pattern, const Pointer& pointer) const {
  constexpr std::size_t kLongest = 1000;
  if (pattern.size() > kLongest)
    refuse(pointer, "a pattern of more than " + std::to_string(kLongest) + " bytes");
  try {
    return std::regex(pattern);
  } catch (const std::regex_error& error) {
    refuse(pointer, "no pattern: " + std::string(error.what()));
  }
}

/// The schemas of each of a report's fields.
std::vector<std::vector<Found>> Loader::schemasOfKeys(const ReportInfo& info, const Json& schema,
                                                      const Pointer& pointer) {
  const auto& fields = fieldsOf(info, pointer);
  std::vector<std::vector<Found>> schemas(fields.size());
  if (fields.size() == 1 && fields.front().key.empty()) {  // the value is the field
    schemas.front().push_back({&schema, pointer});
    return schemas;
  }
  checkKeywords(schema, pointer, kOfObject, "a report's object");
  checkType(schema, pointer, std::to_array<std::string_view>({"object"}), "a report's object");
  checkDialect(schema, pointer);
  const auto keys = keysOf(fields);
  if (schema.contains("properties")) {
    const Pointer properties = pointer / "properties";
    checkIsObject(schema["properties"], properties);
    for (const auto& [key, limits] : schema["properties"].items()) {
      const auto found = std::ranges::find(keys, key);
      if (found == keys.end())
        refuse(properties / key,
               info.decoder + " has no key " + inQuotes(key) + otherKeys(key, keys));
      schemas[static_cast<std::size_t>(found - keys.begin())].push_back(
          {&limits, properties / key});
    }
  }
  if (schema.contains("patternProperties")) {
    const Pointer patterns = pointer / "patternProperties";
    checkIsObject(schema["patternProperties"], patterns);
    for (const auto& [pattern, limits] : schema["patternProperties"].items()) {
      bool matched = false;
      const std::regex expression = expressionOf(pattern, patterns / pattern);
      for (std::size_t i = 0; i < keys.size(); ++i) {
        if (!std::regex_search(keys[i], expression)) continue;
        matched = true;
        schemas[i].push_back({&limits, patterns / pattern});
      }
      if (!matched) refuse(patterns / pattern, "no key of " + info.decoder + " is like this");
    }
  }
  if (schema.contains("required")) {
    const Pointer required = pointer / "required";
    if (!schema["required"].is_array()) refuse(required, "an array of keys should stand here");
    for (const Json& key : schema["required"]) {
      const auto found =
          key.is_string() ? std::ranges::find(keys, key.get<std::string>()) : keys.end();
      if (found == keys.end()) refuse(required, info.decoder + " has no key " + key.dump());
      if (schemas[static_cast<std::size_t>(found - keys.begin())].empty())
        refuse(required, "every report has " + *found + ", and there are no limits for it");
    }
  }
  return schemas;
}

KeyLimits Loader::readKey(const Field& field, const std::vector<Found>& schemas) const {
  KeyLimits limits;
  limits.key = field.key;
  limits.like = field.value;
  for (const Found& found : schemas) addCheck(limits, targetFor(field.value), found);
  if (schemas.size() > 1) limits.low = limits.high = "";  // of several ranges none is the one
  return limits;
}

/// The ends of a range as a results table has them.
void setRange(KeyLimits& limits, const NumberCheck& check) {
  if (check.rest) return;
  std::visit(
      [&](const auto& range) {
        const auto numberIn = [](const std::string& text) {
          return text.substr(text.find(' ') + 1);  // "minimum 3"
        };
        if (range.allowed.size() == 1) limits.low = limits.high = range.allowedText;
        if (!range.allowed.empty() || !range.divisors.empty()) return;
        if (!range.lowText.empty()) limits.low = numberIn(range.lowText);
        if (!range.highText.empty()) limits.high = numberIn(range.highText);
      },
      check.limits);
}

void Loader::addCheck(KeyLimits& limits, const Target& target, const Found& found) const {
  Json schema = cleaned(*found.schema, found.pointer, target, false);
  limits.json += (limits.json.empty() ? "" : " ") + schema.dump();
  if (target.shape == Shape::Number) {
    NumberCheck check = numberCheck(std::move(schema), found.pointer, target);
    setRange(limits, check);
    limits.checks.emplace_back(std::move(check));
  } else if (target.shape == Shape::String) {
    if (schema.size() == 1 && schema.contains("const"))
      limits.low = limits.high = schema["const"].get<std::string>();
    limits.checks.emplace_back(schemaOf(schema, found.pointer));
  } else {
    ArrayCheck check;
    if (schema.contains("items")) {
      const Json items = schema["items"];
      schema.erase("items");
      const Pointer pointer = found.pointer / "items";
      if (items.is_object()) {
        check.items.push_back(numberCheck(items, pointer, elementOf(target)));
        if (schema.empty()) setRange(limits, check.items.front());
      } else {
        for (std::size_t i = 0; i < items.size(); ++i)
          check.items.push_back(numberCheck(items[i], pointer / i, elementOf(target)));
      }
    }
    if (!schema.empty()) check.rest = schemaOf(schema, found.pointer);
    limits.checks.emplace_back(std::move(check));
  }
}

JsonSchema Loader::schemaOf(const Json& schema, const Pointer& pointer) const {
  try {
    return JsonSchema(schema.dump());
  } catch (const std::exception& error) {
    refuse(pointer, std::string("it can't be used: ") + error.what());
  }
}

/// A number of characters or elements.
std::uint64_t Loader::size(const Json& value, const Pointer& pointer) const {
  if (!value.is_number_unsigned()) refuse(pointer, "a whole number from 0 on should stand here");
  return value.get<std::uint64_t>();
}

/// A limit as a number of the target's kind. A bound of a whole number may have a fraction.
Json Loader::cleanedNumber(const Json& limit, const Pointer& pointer, const Target& target,
                           bool isBound, bool nested) const {
  if (target.kind == VESK_BOOL) {
    if (isBound || !limit.is_boolean())
      refuse(pointer, "true or false should stand here, as const");
    return limit;
  }
  if (!limit.is_number()) refuse(pointer, "a number should stand here, not " + limit.dump());
  const auto doesNotFit = [&](const std::string& range) {
    refuse(pointer, limit.dump() + " doesn't fit: this is " + target.name + ", " + range);
  };
  if (target.isFloating()) {
    const auto number = limit.get<double>();
    const double most = target.kind == VESK_FLOAT ? double{std::numeric_limits<float>::max()}
                                                  : std::numeric_limits<double>::max();
    if (std::abs(number) > most) doesNotFit("whose largest is " + Json(most).dump());
    return limit;
  }

  const auto [least, most] = rangeOf(target.kind);
  const std::string range = std::to_string(least) + " to " + std::to_string(most);
  Json whole = limit;
  if (limit.is_number_float()) {
    const auto number = limit.get<double>();
    if (std::abs(number) >= static_cast<double>(kExactInDouble)) {
      if (number < static_cast<double>(least) || number >= static_cast<double>(most))
        doesNotFit(range);
      refuse(pointer,
             "from 2^53 on, a limit is exact only as a whole number: write all its digits");
    }
    if (number == std::trunc(number)) {
      whole = static_cast<std::int64_t>(number);
    } else {
      if (!isBound) refuse(pointer, limit.dump() + " has a fraction, and this is " + target.name);
      if (number < static_cast<double>(least) || number > static_cast<double>(most))
        doesNotFit(range);
      return number;
    }
  }
  const bool negative = !whole.is_number_unsigned() && whole.get<std::int64_t>() < 0;
  if (negative ? whole.get<std::int64_t>() < least : whole.get<std::uint64_t>() > most)
    doesNotFit(range);
  const std::uint64_t magnitude =
      negative ? 0 - whole.get<std::uint64_t>() : whole.get<std::uint64_t>();
  if (nested && magnitude >= kExactInDouble)
    refuse(pointer,
           "in a schema within a schema, a limit is less than 2^53: larger ones aren't exact");
  if (negative) return whole.get<std::int64_t>();
  return whole.get<std::uint64_t>();
}

/// The value of a const.
Json Loader::cleanedValue(const Json& value, const Pointer& pointer, const Target& target,
                          bool nested) const {
  if (target.shape == Shape::Number) return cleanedNumber(value, pointer, target, false, nested);
  if (!value.is_string()) refuse(pointer, "a string should stand here, not " + value.dump());
  return value;
}

/// The values of an enum.
Json Loader::cleanedMany(const Json& values, const Pointer& pointer, const Target& target,
                         bool nested) const {
  if (!values.is_array() || values.empty()) refuse(pointer, "an array of values should stand here");
  Json result = Json::array();
  for (std::size_t i = 0; i < values.size(); ++i)
    result.push_back(cleanedValue(values[i], pointer / i, target, nested));
  return result;
}

/// The schemas of anyOf and its like.
Json Loader::cleanedParts(const Json& schemas, const Pointer& pointer, const Target& target) const {
  if (!schemas.is_array() || schemas.empty())
    refuse(pointer, "an array of schemas should stand here");
  Json result = Json::array();
  for (std::size_t i = 0; i < schemas.size(); ++i)
    result.push_back(cleaned(schemas[i], pointer / i, target, true));
  return result;
}

Json Loader::cleanedItems(const Json& items, const Pointer& pointer, const Target& target) const {
  if (!items.is_array()) return cleaned(items, pointer, elementOf(target), false);
  if (items.size() != target.count)
    refuse(pointer,
           std::to_string(items.size()) + " schemas, and this is " + target.name +
               ": write one for each, or one for all");
  Json result = Json::array();
  for (std::size_t i = 0; i < items.size(); ++i)
    result.push_back(cleaned(items[i], pointer / i, elementOf(target), false));
  return result;
}

/// What a schema demands, and nothing else: keywords that can fail, each checked, and numbers of the
/// target's kind. `nested` says that JsonSchema will answer all of it.
Json Loader::cleaned(const Json& schema, const Pointer& pointer, const Target& target,
                     bool nested) const {
  const bool isNumber = target.shape == Shape::Number;
  const bool isArray = target.shape == Shape::Array;
  checkKeywords(schema,
                pointer,
                isNumber  ? Names(kOfNumber)
                : isArray ? Names(kOfArray)
                          : Names(kOfString),
                target.name);
  constexpr auto kWhole = std::to_array<std::string_view>({"integer", "number"});
  constexpr auto kBool = std::to_array<std::string_view>({"boolean"});
  constexpr auto kString = std::to_array<std::string_view>({"string"});
  constexpr auto kArray = std::to_array<std::string_view>({"array"});
  checkType(schema,
            pointer,
            isArray                    ? Names(kArray)
            : !isNumber                ? Names(kString)
            : target.kind == VESK_BOOL ? Names(kBool)
            : target.isFloating()      ? Names(kWhole).last(1)
                                       : Names(kWhole),
            target.name);

  Json result = Json::object();
  for (const auto& [name, value] : schema.items()) {
    const Pointer here = pointer / name;
    if (name == "type" || contains(kNotes, name)) continue;
    if (name == "minimum" || name == "maximum" || name == "exclusiveMinimum" ||
        name == "exclusiveMaximum") {
      result[name] = cleanedNumber(value, here, target, true, nested);
    } else if (name == "multipleOf") {
      if (target.isFloating() || target.kind == VESK_BOOL)
        refuse(here,
               "only whole numbers have multiples that can be told, and this is " + target.name);
      result[name] = cleanedNumber(value, here, target, false, nested);
      if (result[name] <= 0) refuse(here, "a number above 0 should stand here");
      if (nested && target.isWide())
        refuse(here, "in a schema within a schema, this can't be told of " + target.name);
    } else if (name == "const") {
      result[name] = cleanedValue(value, here, target, nested);
    } else if (name == "enum") {
      result[name] = cleanedMany(value, here, target, nested);
    } else if (name == "allOf" || name == "anyOf" || name == "oneOf") {
      result[name] = cleanedParts(value, here, target);
    } else if (name == "not" || name == "if" || name == "then" || name == "else") {
      result[name] = cleaned(value, here, target, true);
    } else if (name == "pattern") {
      if (!value.is_string()) refuse(here, "a string should stand here");
      expressionOf(value.get<std::string>(), here);
      result[name] = value;
    } else if (name == "minLength" || name == "maxLength") {
      result[name] = size(value, here);
    } else if (name == "minItems" || name == "maxItems") {
      const std::uint64_t limit = size(value, here);
      if (name == "minItems" ? limit > target.count : limit < target.count)
        refuse(here, "this is always " + target.name);
    } else if (name == "items") {
      result[name] = cleanedItems(value, here, target);
    } else if (name == "contains") {
      result[name] = cleaned(value, here, elementOf(target), true);
    } else if (name == "uniqueItems") {
      if (!value.is_boolean()) refuse(here, "true or false should stand here");
      if (value.get<bool>()) result[name] = true;
    }
  }
  if (result.contains("if") != (result.contains("then") || result.contains("else")))
    refuse(pointer, "if needs then or else, and these need if");
  if (result.contains("minLength")) {
    if (result.contains("maxLength") && result["minLength"] > result["maxLength"])
      refuse(pointer, "no string can be so long and so short");
    if (result["minLength"] == 0) result.erase("minLength");
  }
  if (result.empty()) refuse(pointer, "it limits nothing");
  if (nested && isNumber) numberCheck(result, pointer, target);  // a part that always holds, too
  return result;
}

// --------------------------------------------------------------------------------------- numbers

/// Whole limits of type T; those with a fraction have been told apart by the caller.
template <class T>
T whole(const Json& limit) {
  return limit.is_number_unsigned() ? static_cast<T>(limit.get<std::uint64_t>())
                                    : static_cast<T>(limit.get<std::int64_t>());
}

/// Takes what NumberLimits compares by itself out of a schema.
template <class T>
NumberLimits<T> Loader::numberLimits(Json& schema, const Pointer& pointer,
                                     const Target& target) const {
  constexpr bool kFloating = std::is_floating_point_v<T>;
  NumberLimits<T> limits;
  // A range of T's own ends has nothing outside; one that ends beyond them has nothing inside.
  bool isEmpty = false;
  const auto number = [](const Json& limit) -> T {
    if constexpr (kFloating)
      return limit.get<double>();
    else
      return limit.is_boolean() ? static_cast<T>(limit.get<bool>()) : whole<T>(limit);
  };
  const auto bound = [&](const char* name, bool isLow, bool isExclusive) {
    if (!schema.contains(name)) return;
    const Json limit = schema[name];
    schema.erase(name);
    T end;
    const bool hasFraction = !kFloating && limit.is_number_float();
    if (hasFraction) {
      const auto exact = limit.get<double>();
      end = static_cast<T>(isLow ? std::ceil(exact) : std::floor(exact));
    } else {
      end = number(limit);
      if (isExclusive) {
        const T last = isLow ? std::numeric_limits<T>::max() : std::numeric_limits<T>::lowest();
        if (end == last)
          isEmpty = true;
        else if constexpr (kFloating)
          end = std::nextafter(end, last);
        else
          end = static_cast<T>(isLow ? end + 1 : end - 1);
      }
    }
    if (isLow ? end < limits.low : end > limits.high) return;
    (isLow ? limits.low : limits.high) = end;
    (isLow ? limits.lowText : limits.highText) = std::string(name) + " " + limit.dump();
  };
  bound("minimum", true, false);
  bound("exclusiveMinimum", true, true);
  bound("maximum", false, false);
  bound("exclusiveMaximum", false, true);

  const auto allow = [&](const Json& values) {
    std::vector<T> allowed;
    for (const Json& value : values) {
      const T each = number(value);
      const bool alsoBefore =
          limits.allowed.empty() || std::ranges::find(limits.allowed, each) != limits.allowed.end();
      if (alsoBefore && each >= limits.low && each <= limits.high) allowed.push_back(each);
    }
    if (allowed.empty()) isEmpty = true;
    limits.allowed = std::move(allowed);
    std::ranges::sort(limits.allowed);
    std::string text;
    for (const Json& value : values) text.append(text.empty() ? "" : ", ").append(value.dump());
    if (values.size() > 1) text.insert(0, "one of ");
    limits.allowedText = text;
  };
  if (schema.contains("enum")) allow(schema["enum"]);
  if (schema.contains("const")) allow(Json::array({schema["const"]}));
  schema.erase("enum");
  schema.erase("const");

  if (schema.contains("multipleOf")) {
    limits.divisors.push_back(whole<std::uint64_t>(schema["multipleOf"]));
    limits.divisorText = "a multiple of " + schema["multipleOf"].dump();
    schema.erase("multipleOf");
  }
  if (isEmpty || limits.low > limits.high) refuse(pointer, "no number can be within these limits");

  // What every number of the kind keeps is no limit.
  bool holdsAll = schema.empty() && limits.allowed.empty();
  if (holdsAll && limits.divisors == std::vector<std::uint64_t>{1}) limits.divisors.clear();
  holdsAll = holdsAll && limits.divisors.empty();
  if constexpr (!kFloating) {
    const auto [least, most] = rangeOf(target.kind);
    const bool lowHoldsAll = limits.low <= 0 && static_cast<std::int64_t>(limits.low) <= least;
    const bool highHoldsAll = limits.high >= 0 && static_cast<std::uint64_t>(limits.high) >= most;
    if (holdsAll && lowHoldsAll && highHoldsAll)
      refuse(pointer, "it can't fail: " + target.name + " is always within it");
  }
  return limits;
}

NumberCheck Loader::numberCheck(Json schema, const Pointer& pointer, const Target& target) const {
  NumberCheck check;
  if (target.isFloating())
    check.limits = numberLimits<double>(schema, pointer, target);
  else if (target.isSigned())
    check.limits = numberLimits<std::int64_t>(schema, pointer, target);
  else
    check.limits = numberLimits<std::uint64_t>(schema, pointer, target);
  if (!schema.empty()) check.rest = schemaOf(schema, pointer);
  return check;
}

}  // namespace

Limits parseLimits(std::string_view text, const std::string& name, const KnownReports& known,
                   Plugin& plugin) {
  return Loader(name, known, plugin).load(text);
}

Limits loadLimits(const std::string& path, const KnownReports& known, Plugin& plugin) {
  std::ifstream file(path, std::ios::binary);
  std::string text;
  std::array<char, 65536> piece;
  while (file && text.size() <= kLargestFile) {
    file.read(piece.data(), piece.size());
    text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (!file.eof() && text.size() <= kLargestFile) throw LimitsFault(path, "cannot be read");
  if (text.size() > kLargestFile) throw LimitsFault(path, "too large for a file of limits");
  return parseLimits(text, path, known, plugin);
}

}  // namespace vesk::host
