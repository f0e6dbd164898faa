/// A JSON Schema of draft 7 for what one key says: all keywords but those that NumberLimits compares
/// by itself.
///
///     JsonSchema schema(R"({"pattern":"^4\\."})");
///     schema.complaint("5.0");  // "Failed to match regex ..."
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/Value.h"
#include "plugin/vesk_plugin.h"

namespace vesk::host {

class JsonSchema {
 public:
  /// `json` is a schema of which only keywords are left that can be answered for the values to
  /// come: the library that answers passes over what it doesn't know, and lets pass what has
  /// another type. Throws std::exception if it can't use the schema.
  explicit JsonSchema(std::string json);
  ~JsonSchema();
  JsonSchema(JsonSchema&&) noexcept;
  JsonSchema& operator=(JsonSchema&&) noexcept;

  /// What is wrong with a value; none if it is valid. Numbers must be finite. Integers of 2^53 and
  /// more are compared as the nearest floating-point number, so no limit may be that large.
  std::optional<std::string> complaint(const vesk_number& number);
  std::optional<std::string> complaint(std::string_view text);
  std::optional<std::string> complaint(const ArrayValue& array);

  const std::string& json() const { return _json; }

 private:
  struct Parts;

  std::string _json;
  std::unique_ptr<Parts> _parts;
};

}  // namespace vesk::host
