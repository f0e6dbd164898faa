#include "host/limits/SchemaReader.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <type_traits>
#include <utility>

namespace vesk::host {

namespace {

constexpr std::uint64_t kExactInDouble = std::uint64_t{1} << 53;

// Keywords that say something to people, and nothing of a value.
constexpr auto kNotes =
    std::to_array<std::string_view>({"title", "description", "$comment", "default", "examples"});

// What else may stand where.
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

enum class Shape : std::uint8_t { Number, String, Array };

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::vector<std::string> keysOf(const std::vector<Field>& fields) {
  std::vector<std::string> keys;
  keys.reserve(fields.size());
  for (const Field& field : fields) keys.push_back(field.key);
  return keys;
}

std::string withArticle(std::string_view name) {
  const bool vowel = std::string_view("aeiou").find(name.front()) != std::string_view::npos;
  return (vowel ? "an " : "a ") + std::string(name);
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

/// Whole limits of type T; those with a fraction have been told apart by the caller.
template <class T>
T whole(const Json& limit) {
  return limit.is_number_unsigned() ? static_cast<T>(limit.get<std::uint64_t>())
                                    : static_cast<T>(limit.get<std::int64_t>());
}

}  // namespace

/// What a schema is for.
struct SchemaReader::Target {
  Shape shape;
  std::int32_t kind;      // of the number, or of an array's elements
  std::size_t count = 0;  // of an array's elements
  std::string name{};     // for people: "an unsigned int"

  static Target of(const Value& value);

  /// That of an array's elements.
  Target element() const { return {Shape::Number, kind, 0, withArticle(nameOfKind(kind))}; }

  bool isFloating() const { return kind == VESK_FLOAT || kind == VESK_DOUBLE; }
  bool isSigned() const { return kind == VESK_INT || kind == VESK_LONG_LONG; }
  bool isWide() const { return kind == VESK_LONG_LONG || kind == VESK_UNSIGNED_LONG_LONG; }
};

SchemaReader::Target SchemaReader::Target::of(const Value& value) {
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

std::string SchemaReader::nameOf(const Value& value) { return Target::of(value).name; }

std::string otherKeys(std::string_view key, const std::vector<Field>& fields) {
  constexpr std::size_t kFew = 16;
  std::vector<std::string_view> keys;
  keys.reserve(fields.size());
  for (const Field& field : fields) keys.push_back(field.key);
  std::string text = didYouMean(key, keys);
  if (!text.empty() || keys.size() > kFew) return text;
  for (const std::string_view each : keys)
    text.append(text.empty() ? "; it has " : ", ").append(each);
  return text;
}

std::vector<KeyLimits> SchemaReader::read(const ReportInfo& info, const std::vector<Field>& fields,
                                          const Json& schema, const Pointer& pointer) const {
  const auto schemas = schemasOfKeys(info, fields, schema, pointer);
  std::vector<KeyLimits> limits;
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (!schemas[i].empty()) limits.push_back(readKey(fields[i], schemas[i]));
  if (limits.empty()) _file.refuse(pointer, "it limits nothing");
  return limits;
}

/// Refuses keywords that aren't those that mean something here.
void SchemaReader::checkKeywords(const Json& schema, const Pointer& pointer, Names keywords,
                                 const std::string& target) const {
  if (!schema.is_object()) _file.refuse(pointer, "a schema that is an object should stand here");
  for (const auto& [name, value] : schema.items()) {
    if (contains(keywords, name) || contains(kNotes, name)) continue;
    if (contains(kOfNumber, name) || contains(kOfString, name) || contains(kOfArray, name) ||
        contains(kOfObject, name) || contains(kOthers, name))
      _file.refuse(pointer / name, std::string(name).append(" can't be used for ").append(target));
    _file.refuse(pointer / name, inQuotes(name) + " is no keyword" + didYouMean(name, keywords));
  }
}

/// A type that isn't the value's own would let everything else in its schema pass.
void SchemaReader::checkType(const Json& schema, const Pointer& pointer, Names types,
                             const std::string& target) const {
  if (!schema.contains("type")) return;
  const Json& type = schema["type"];
  const Json list = type.is_array() ? type : Json::array({type});
  if (list.empty()) _file.refuse(pointer / "type", "it is empty");
  for (const Json& each : list) {
    if (!each.is_string()) _file.refuse(pointer / "type", "a type's name should stand here");
    if (!contains(types, each.get<std::string>()))
      _file.refuse(pointer / "type",
                   "this is " + target + ", and never " + inQuotes(each.get<std::string>()));
  }
}

void SchemaReader::checkDialect(const Json& schema, const Pointer& pointer) const {
  if (!schema.contains("$schema")) return;
  const std::string dialect = _file.textAt(schema, "$schema", pointer);
  if (dialect != "http://json-schema.org/draft-07/schema#" &&
      dialect != "http://json-schema.org/draft-07/schema")
    _file.refuse(pointer / "$schema",
                 "only draft 7 is understood: http://json-schema.org/draft-07/schema#");
}

/// What reads a pattern takes stack for each of its parts.
std::regex SchemaReader::expressionOf(const std::string& pattern, const Pointer& pointer) const {
  constexpr std::size_t kLongest = 1000;
  if (pattern.size() > kLongest)
    _file.refuse(pointer, "a pattern of more than " + std::to_string(kLongest) + " bytes");
  try {
    return std::regex(pattern);
  } catch (const std::regex_error& error) {
    _file.refuse(pointer, "no pattern: " + std::string(error.what()));
  }
}

/// The schemas of each of a report's fields.
std::vector<std::vector<SchemaReader::Found>> SchemaReader::schemasOfKeys(
    const ReportInfo& info, const std::vector<Field>& fields, const Json& schema,
    const Pointer& pointer) const {
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
    _file.checkIsObject(schema["properties"], properties);
    for (const auto& [key, limits] : schema["properties"].items()) {
      const auto found = std::ranges::find(keys, key);
      if (found == keys.end())
        _file.refuse(properties / key,
                     info.decoder + " has no key " + inQuotes(key) + otherKeys(key, fields));
      schemas[static_cast<std::size_t>(found - keys.begin())].push_back(
          {&limits, properties / key});
    }
  }
  if (schema.contains("patternProperties")) {
    const Pointer patterns = pointer / "patternProperties";
    _file.checkIsObject(schema["patternProperties"], patterns);
    for (const auto& [pattern, limits] : schema["patternProperties"].items()) {
      bool matched = false;
      const std::regex expression = expressionOf(pattern, patterns / pattern);
      for (std::size_t i = 0; i < keys.size(); ++i) {
        if (!std::regex_search(keys[i], expression)) continue;
        matched = true;
        schemas[i].push_back({&limits, patterns / pattern});
      }
      if (!matched) _file.refuse(patterns / pattern, "no key of " + info.decoder + " is like this");
    }
  }
  if (schema.contains("required")) {
    const Pointer required = pointer / "required";
    if (!schema["required"].is_array())
      _file.refuse(required, "an array of keys should stand here");
    for (const Json& key : schema["required"]) {
      const auto found =
          key.is_string() ? std::ranges::find(keys, key.get<std::string>()) : keys.end();
      if (found == keys.end()) _file.refuse(required, info.decoder + " has no key " + key.dump());
      if (schemas[static_cast<std::size_t>(found - keys.begin())].empty())
        _file.refuse(required, "every report has " + *found + ", and there are no limits for it");
    }
  }
  return schemas;
}

KeyLimits SchemaReader::readKey(const Field& field, const std::vector<Found>& schemas) const {
  KeyLimits limits;
  limits.key = field.key;
  limits.like = field.value;
  for (const Found& found : schemas) addCheck(limits, Target::of(field.value), found);
  if (schemas.size() > 1) limits.low = limits.high = "";  // of several ranges none is the one
  return limits;
}

void SchemaReader::addCheck(KeyLimits& limits, const Target& target, const Found& found) const {
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
        check.items.push_back(numberCheck(items, pointer, target.element()));
        if (schema.empty()) setRange(limits, check.items.front());
      } else {
        for (std::size_t i = 0; i < items.size(); ++i)
          check.items.push_back(numberCheck(items[i], pointer / i, target.element()));
      }
    }
    if (!schema.empty()) check.rest = schemaOf(schema, found.pointer);
    limits.checks.emplace_back(std::move(check));
  }
}

JsonSchema SchemaReader::schemaOf(const Json& schema, const Pointer& pointer) const {
  try {
    return JsonSchema(schema.dump());
  } catch (const std::exception& error) {
    _file.refuse(pointer, std::string("it can't be used: ") + error.what());
  }
}

/// A number of characters or elements.
std::uint64_t SchemaReader::size(const Json& value, const Pointer& pointer) const {
  if (!value.is_number_unsigned())
    _file.refuse(pointer, "a whole number from 0 on should stand here");
  return value.get<std::uint64_t>();
}

/// A limit as a number of the target's kind. A bound of a whole number may have a fraction.
Json SchemaReader::cleanedNumber(const Json& limit, const Pointer& pointer, const Target& target,
                                 bool isBound, bool nested) const {
  if (target.kind == VESK_BOOL) {
    if (isBound || !limit.is_boolean())
      _file.refuse(pointer, "true or false should stand here, as const");
    return limit;
  }
  if (!limit.is_number()) _file.refuse(pointer, "a number should stand here, not " + limit.dump());
  const auto doesNotFit = [&](const std::string& range) {
    _file.refuse(pointer, limit.dump() + " doesn't fit: this is " + target.name + ", " + range);
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
      _file.refuse(pointer,
                   "from 2^53 on, a limit is exact only as a whole number: write all its digits");
    }
    if (number == std::trunc(number)) {
      whole = static_cast<std::int64_t>(number);
    } else {
      if (!isBound)
        _file.refuse(pointer, limit.dump() + " has a fraction, and this is " + target.name);
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
    _file.refuse(
        pointer,
        "in a schema within a schema, a limit is less than 2^53: larger ones aren't exact");
  if (negative) return whole.get<std::int64_t>();
  return whole.get<std::uint64_t>();
}

/// The value of a const.
Json SchemaReader::cleanedValue(const Json& value, const Pointer& pointer, const Target& target,
                                bool nested) const {
  if (target.shape == Shape::Number) return cleanedNumber(value, pointer, target, false, nested);
  if (!value.is_string()) _file.refuse(pointer, "a string should stand here, not " + value.dump());
  return value;
}

/// The values of an enum.
Json SchemaReader::cleanedMany(const Json& values, const Pointer& pointer, const Target& target,
                               bool nested) const {
  if (!values.is_array() || values.empty())
    _file.refuse(pointer, "an array of values should stand here");
  Json result = Json::array();
  for (std::size_t i = 0; i < values.size(); ++i)
    result.push_back(cleanedValue(values[i], pointer / i, target, nested));
  return result;
}

/// The schemas of anyOf and its like.
Json SchemaReader::cleanedParts(const Json& schemas, const Pointer& pointer,
                                const Target& target) const {
  if (!schemas.is_array() || schemas.empty())
    _file.refuse(pointer, "an array of schemas should stand here");
  Json result = Json::array();
  for (std::size_t i = 0; i < schemas.size(); ++i)
    result.push_back(cleaned(schemas[i], pointer / i, target, true));
  return result;
}

Json SchemaReader::cleanedItems(const Json& items, const Pointer& pointer,
                                const Target& target) const {
  if (!items.is_array()) return cleaned(items, pointer, target.element(), false);
  if (items.size() != target.count)
    _file.refuse(pointer,
                 std::to_string(items.size()) + " schemas, and this is " + target.name +
                     ": write one for each, or one for all");
  Json result = Json::array();
  for (std::size_t i = 0; i < items.size(); ++i)
    result.push_back(cleaned(items[i], pointer / i, target.element(), false));
  return result;
}

/// What a schema demands, and nothing else: keywords that can fail, each checked, and numbers of the
/// target's kind. `nested` says that JsonSchema will answer all of it.
Json SchemaReader::cleaned(const Json& schema, const Pointer& pointer, const Target& target,
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
        _file.refuse(
            here, "only whole numbers have multiples that can be told, and this is " + target.name);
      result[name] = cleanedNumber(value, here, target, false, nested);
      if (result[name] <= 0) _file.refuse(here, "a number above 0 should stand here");
      if (nested && target.isWide())
        _file.refuse(here, "in a schema within a schema, this can't be told of " + target.name);
    } else if (name == "const") {
      result[name] = cleanedValue(value, here, target, nested);
    } else if (name == "enum") {
      result[name] = cleanedMany(value, here, target, nested);
    } else if (name == "allOf" || name == "anyOf" || name == "oneOf") {
      result[name] = cleanedParts(value, here, target);
    } else if (name == "not" || name == "if" || name == "then" || name == "else") {
      result[name] = cleaned(value, here, target, true);
    } else if (name == "pattern") {
      if (!value.is_string()) _file.refuse(here, "a string should stand here");
      expressionOf(value.get<std::string>(), here);
      result[name] = value;
    } else if (name == "minLength" || name == "maxLength") {
      result[name] = size(value, here);
    } else if (name == "minItems" || name == "maxItems") {
      const std::uint64_t limit = size(value, here);
      if (name == "minItems" ? limit > target.count : limit < target.count)
        _file.refuse(here, "this is always " + target.name);
    } else if (name == "items") {
      result[name] = cleanedItems(value, here, target);
    } else if (name == "contains") {
      result[name] = cleaned(value, here, target.element(), true);
    } else if (name == "uniqueItems") {
      if (!value.is_boolean()) _file.refuse(here, "true or false should stand here");
      if (value.get<bool>()) result[name] = true;
    }
  }
  if (result.contains("if") != (result.contains("then") || result.contains("else")))
    _file.refuse(pointer, "if needs then or else, and these need if");
  if (result.contains("minLength")) {
    if (result.contains("maxLength") && result["minLength"] > result["maxLength"])
      _file.refuse(pointer, "no string can be so long and so short");
    if (result["minLength"] == 0) result.erase("minLength");
  }
  if (result.empty()) _file.refuse(pointer, "it limits nothing");
  if (nested && isNumber) numberCheck(result, pointer, target);  // a part that always holds, too
  return result;
}

/// Takes what NumberLimits compares by itself out of a schema.
template <class T>
NumberLimits<T> SchemaReader::numberLimits(Json& schema, const Pointer& pointer,
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
  if (isEmpty || limits.low > limits.high)
    _file.refuse(pointer, "no number can be within these limits");

  // What every number of the kind keeps is no limit.
  bool holdsAll = schema.empty() && limits.allowed.empty();
  if (holdsAll && limits.divisors == std::vector<std::uint64_t>{1}) limits.divisors.clear();
  holdsAll = holdsAll && limits.divisors.empty();
  if constexpr (!kFloating) {
    const auto [least, most] = rangeOf(target.kind);
    const bool lowHoldsAll = limits.low <= 0 && static_cast<std::int64_t>(limits.low) <= least;
    const bool highHoldsAll = limits.high >= 0 && static_cast<std::uint64_t>(limits.high) >= most;
    if (holdsAll && lowHoldsAll && highHoldsAll)
      _file.refuse(pointer, "it can't fail: " + target.name + " is always within it");
  }
  return limits;
}

NumberCheck SchemaReader::numberCheck(Json schema, const Pointer& pointer,
                                      const Target& target) const {
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

}  // namespace vesk::host
