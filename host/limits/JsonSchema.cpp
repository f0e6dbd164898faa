#include "host/limits/JsonSchema.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>
#include <valijson/adapters/nlohmann_json_adapter.hpp>
#include <valijson/schema.hpp>
#include <valijson/schema_parser.hpp>
#include <valijson/validation_results.hpp>
#include <valijson/validator.hpp>

#include "host/limits/Shown.h"
#include "host/writing/Utf8.h"

namespace vesk::host {

namespace {

using Json = nlohmann::json;
using Adapter = valijson::adapters::NlohmannJsonAdapter;

/// The library compares whole numbers as signed ones of 64 bits, where the largest unsigned ones
/// turn negative. Beyond 2^53 no limit lies, so that their neighbours do.
constexpr std::uint64_t kExact = std::uint64_t{1} << 53;

Json jsonOf(const vesk_number& number) {
  switch (number.kind) {
    case VESK_BOOL:
      return number.value.u != 0;
    case VESK_FLOAT:
      return shown(static_cast<float>(number.value.d));
    case VESK_DOUBLE:
      return number.value.d;
    case VESK_INT:
    case VESK_LONG_LONG:
      if (number.value.i >= 0) break;
      if (number.value.i > -static_cast<std::int64_t>(kExact)) return number.value.i;
      return static_cast<double>(number.value.i);
    default:
      break;
  }
  if (number.value.u < kExact) return number.value.u;
  return static_cast<double>(number.value.u);
}

}  // namespace

struct JsonSchema::Parts {
  valijson::Schema schema;
  valijson::Validator validator{valijson::Validator::kStrongTypes};

  /// What the library has to say, its innermost complaint first.
  std::optional<std::string> complaint(const Json& value) {
    valijson::ValidationResults results;
    if (validator.validate(schema, Adapter(value), &results)) return std::nullopt;
    constexpr std::size_t kMostErrors = 3;
    std::string text;
    valijson::ValidationResults::Error error;
    for (std::size_t i = 0; i < kMostErrors && results.popError(error); ++i)
      text.append(text.empty() ? "" : " ").append(error.description);
    return text;
  }
};

JsonSchema::JsonSchema(std::string json)
    : _json(std::move(json)), _parts(std::make_unique<Parts>()) {
  const Json schema = Json::parse(_json);
  valijson::SchemaParser parser(valijson::SchemaParser::kDraft7);
  parser.populateSchema(Adapter(schema), _parts->schema);
}

JsonSchema::~JsonSchema() = default;
JsonSchema::JsonSchema(JsonSchema&&) noexcept = default;
JsonSchema& JsonSchema::operator=(JsonSchema&&) noexcept = default;

std::optional<std::string> JsonSchema::complaint(const vesk_number& number) {
  return _parts->complaint(jsonOf(number));
}

/// Matching a pattern takes stack for every character, and no version or state is that long.
std::optional<std::string> JsonSchema::complaint(std::string_view text) {
  constexpr std::size_t kLongest = 1024;
  if (text.size() > kLongest)
    return "A text of more than " + std::to_string(kLongest) + " bytes is not tried.";
  return _parts->complaint(asUtf8(text));
}

std::optional<std::string> JsonSchema::complaint(const ArrayValue& array) {
  Json values = Json::array();
  for (std::size_t i = 0; i < array.count; ++i) values.push_back(jsonOf(elementOf(array, i)));
  return _parts->complaint(values);
}

}  // namespace vesk::host
