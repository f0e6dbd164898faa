/// The limits of one key of a report's object, and what they find in a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/Value.h"
#include "host/limits/JsonSchema.h"
#include "host/limits/NumberLimits.h"
#include "plugin/vesk_plugin.h"

namespace vesk::host {

/// What a value has that its limits don't allow.
struct Finding {
  std::string complaint;  // "is 62.5, above the maximum 60"
  std::string value;      // "62.5"; of an array, what is outside: "17=8200 30=8146"
  std::vector<std::size_t> channels{};
};

/// One schema's limits of a number, or of an array's elements.
struct NumberCheck {
  std::variant<NumberLimits<std::int64_t>, NumberLimits<std::uint64_t>, NumberLimits<double>>
      limits;
  std::optional<JsonSchema> rest{};

  /// What is wrong with a finite number: "above the maximum 60"; empty if nothing is.
  std::string complaint(const vesk_number& number);
};

/// One schema's limits of an array.
struct ArrayCheck {
  std::vector<NumberCheck> items{};  // none, one for all elements, or one for each
  std::optional<JsonSchema> rest{};
};

class KeyLimits {
 public:
  using Check = std::variant<NumberCheck, ArrayCheck, JsonSchema>;  // the last one is a string's

  std::string key;              // empty for a report that is one string
  Value like{};                 // a value of this kind; of an array, with as many elements
  std::vector<Check> checks{};  // all of them must hold
  std::string unit{};
  std::string low{}, high{};  // as LimitResult has them
  std::string json{};         // as LimitResult's `limits`

  /// What is outside the limits, or of another kind than `like`; none if nothing is. `inDetail`
  /// says whether somebody wants to know: an array that fails in every frame fails faster without.
  std::optional<Finding> find(const vesk_number& number);
  std::optional<Finding> find(std::string_view text);
  std::optional<Finding> find(std::int32_t kind, const void* values, std::size_t count,
                              bool inDetail);

  /// A value of this kind as text: "62.5"; of an array, its range: "-9..306".
  std::string textOf(const Value& value) const;

 private:
  bool isMask() const;
  std::optional<Finding> findOther(std::string_view kind) const;
};

/// "62.5", "NaN", "true"
std::string textOf(const vesk_number& number);

}  // namespace vesk::host
