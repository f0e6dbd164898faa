/// JSON Schemas of draft 7, read for what a report's keys are: each keyword is understood or refused.
#pragma once

#include <cstdint>
#include <regex>
#include <string>
#include <vector>

#include "host/KnownReports.h"
#include "host/Value.h"
#include "host/limits/JsonFile.h"
#include "host/limits/KeyLimits.h"

namespace vesk::host {

class SchemaReader {
 public:
  /// `file` refuses, and must outlive it.
  explicit SchemaReader(const JsonFile& file) : _file(file) {}

  /// The limits of those of a report's fields that have some, in the fields' order. `schema` is that of
  /// the report's value, and stands at `pointer`.
  std::vector<KeyLimits> read(const ReportInfo& info, const std::vector<Field>& fields,
                              const Json& schema, const Pointer& pointer) const;

  /// "an unsigned int", "an array of 48 int", "a string"
  static std::string nameOf(const Value& value);

 private:
  struct Target;

  /// A schema of the file, and where it stands.
  struct Found {
    const Json* schema;
    Pointer pointer;
  };

  void checkKeywords(const Json& schema, const Pointer& pointer, Names keywords,
                     const std::string& target) const;
  void checkType(const Json& schema, const Pointer& pointer, Names types,
                 const std::string& target) const;
  void checkDialect(const Json& schema, const Pointer& pointer) const;
  std::regex expressionOf(const std::string& pattern, const Pointer& pointer) const;
  std::vector<std::vector<Found>> schemasOfKeys(const ReportInfo& info,
                                                const std::vector<Field>& fields,
                                                const Json& schema, const Pointer& pointer) const;
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

  const JsonFile& _file;
};

/// "; did you mean KEY?", or else all keys of a report that has few.
std::string otherKeys(std::string_view key, const std::vector<Field>& fields);

}  // namespace vesk::host
