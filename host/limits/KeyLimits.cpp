#include "host/limits/KeyLimits.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>

#include "host/Kinds.h"
#include "host/limits/Shown.h"
#include "host/writing/Numbers.h"

namespace vesk::host {

namespace {

constexpr std::size_t kChannels = 48;  // of the sensor: an array of so many has one for each

bool isFinite(const vesk_number& number) {
  return (number.kind != VESK_FLOAT && number.kind != VESK_DOUBLE) || std::isfinite(number.value.d);
}

/// The type that NumberLimits compares a value in.
template <class T>
auto comparable(T value) {
  if constexpr (std::is_same_v<T, float>)
    return shown(value);
  else if constexpr (std::is_same_v<T, double>)
    return value;
  else if constexpr (std::is_signed_v<T>)
    return std::int64_t{value};
  else
    return std::uint64_t{value};
}

/// Whether all of them hold. Most arrays do: that is found out without a look at each by itself.
template <class T, class Limit>
bool allHold(std::span<const T> values, const NumberLimits<Limit>& limits) {
  return std::ranges::all_of(values, [&](T value) {
    if constexpr (std::is_floating_point_v<T>)
      if (!std::isfinite(value)) return false;
    const auto number = comparable(value);
    if constexpr (std::is_same_v<decltype(number), const Limit>)
      return limits.holds(number);
    else
      return false;
  });
}

std::string complaintOfRest(std::optional<JsonSchema>& rest, const auto& value) {
  if (!rest) return {};
  const auto complaint = rest->complaint(value);
  return complaint ? "not as " + rest->json() + " wants it: " + *complaint : "";
}

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

std::string joined(const std::vector<std::size_t>& numbers) {
  std::string text;
  for (const std::size_t number : numbers)
    text.append(text.empty() ? "" : ", ").append(std::to_string(number));
  return text;
}

/// The numbers of the bits that are set.
std::vector<std::size_t> bitsOf(std::uint64_t mask) {
  std::vector<std::size_t> bits;
  for (std::size_t bit = 0; bit < 64; ++bit)
    if ((mask >> bit & 1) != 0) bits.push_back(bit);
  return bits;
}

/// The elements of an array that are outside, by what is wrong with them.
class Outside {
 public:
  void add(std::size_t index, const std::string& value, const std::string& complaint) {
    _finding.channels.push_back(index);
    const std::string number = std::to_string(index);
    _finding.value.append(_finding.value.empty() ? "" : " ").append(number + "=" + value);
    auto group = std::ranges::find(_groups, complaint, &Group::complaint);
    if (group == _groups.end()) group = _groups.insert(group, {complaint, ""});
    group->elements.append(group->elements.empty() ? "" : ", ").append(number + " (" + value + ")");
  }

  /// "channels 17 (8200), 30 (8146) below the minimum 10000"
  std::optional<Finding> finding(std::size_t count) {
    if (_groups.empty()) return std::nullopt;
    std::string_view name = count == kChannels ? "channels " : "elements ";
    for (const Group& group : _groups)
      _finding.complaint.append(_finding.complaint.empty() ? "" : "; ")
          .append(name)
          .append(group.elements)
          .append(" ")
          .append(group.complaint);
    return std::move(_finding);
  }

 private:
  struct Group {
    std::string complaint;
    std::string elements;
  };
  Finding _finding;
  std::vector<Group> _groups;
};

constexpr const char* kNotFinite = "within no limits";

}  // namespace

std::string textOf(const vesk_number& number) {
  if (number.kind == VESK_BOOL) return number.value.u != 0 ? "true" : "false";
  if (!isFinite(number)) {
    if (std::isnan(number.value.d)) return "NaN";
    return number.value.d < 0 ? "-Infinity" : "Infinity";
  }
  std::array<char, kNumberRoom> digits;
  std::string text;
  withValue(number,
            [&](auto value) { text.assign(digits.data(), putNumber(digits.data(), value)); });
  return text;
}

std::string NumberCheck::complaint(const vesk_number& number) {
  std::string text;
  withValue(number, [&](auto value) {
    const auto compared = comparable(value);
    using Limit = std::remove_const_t<decltype(compared)>;
    if (const auto* these = std::get_if<NumberLimits<Limit>>(&limits))
      text = these->holds(compared) ? "" : these->complaint(compared);
    else
      text = "of another kind";  // than the limits were made for
  });
  return text.empty() ? complaintOfRest(rest, number) : text;
}

/// A number of 64 bits without a sign is a mask of channels, unless it has a unit.
bool KeyLimits::isMask() const {
  const auto* number = std::get_if<vesk_number>(&like);
  return number != nullptr && number->kind == VESK_UNSIGNED_LONG_LONG && unit.empty();
}

std::optional<Finding> KeyLimits::findOther(std::string_view kind) const {
  return Finding{"is now " + std::string(kind) + ", which its limits are not for", ""};
}

std::optional<Finding> KeyLimits::find(const vesk_number& number) {
  const auto* expected = std::get_if<vesk_number>(&like);
  if (expected == nullptr || expected->kind != number.kind)
    return findOther(nameOfKind(number.kind));
  const auto finding = [&](const std::string& complaint) {
    Finding found{"is " + vesk::host::textOf(number), vesk::host::textOf(number)};
    if (!unit.empty()) found.complaint += " " + unit;
    if (isMask()) {
      // What should be set and isn't is as wrong as what is set and shouldn't be.
      const auto* check = std::get_if<NumberCheck>(&checks.front());
      const auto* limits =
          check == nullptr ? nullptr : std::get_if<NumberLimits<std::uint64_t>>(&check->limits);
      const bool isOne = limits != nullptr && limits->allowed.size() == 1;
      found.channels = bitsOf(number.value.u ^ (isOne ? limits->allowed.front() : 0));
      if (!found.channels.empty())
        found.complaint +=
            std::string(" (") + (isOne && limits->allowed.front() != 0 ? "other in " : "") +
            (found.channels.size() == 1 ? "channel " : "channels ") + joined(found.channels) + ")";
    }
    found.complaint += ", " + complaint;
    return found;
  };
  if (!isFinite(number)) return finding(kNotFinite);
  for (Check& check : checks)
    if (const std::string complaint = std::get<NumberCheck>(check).complaint(number);
        !complaint.empty())
      return finding(complaint);
  return std::nullopt;
}

std::optional<Finding> KeyLimits::find(std::string_view text) {
  if (!std::holds_alternative<std::string>(like)) return findOther("a string");
  for (Check& check : checks) {
    auto& schema = std::get<JsonSchema>(check);
    if (const auto complaint = schema.complaint(text))
      return Finding{
          "is " + inQuotes(text) + ", not as " + schema.json() + " wants it: " + *complaint,
          std::string(text)};
  }
  return std::nullopt;
}

std::optional<Finding> KeyLimits::find(std::int32_t kind, const void* values, std::size_t count,
                                       bool inDetail) {
  const auto* expected = std::get_if<ArrayValue>(&like);
  if (expected == nullptr || expected->kind != kind || expected->count != count)
    return findOther("an array of " + std::to_string(count) + " " + std::string(nameOfKind(kind)));

  // The usual answer first: one range for all, and all in it.
  bool allFine = true;
  bool allSimple = true;
  for (const Check& check : checks) {
    const auto& array = std::get<ArrayCheck>(check);
    allSimple = array.items.size() == 1 && !array.items.front().rest && !array.rest;
    if (!allFine || !allSimple) break;
    std::visit(
        [&](const auto& limits) {
          withValues(
              kind, values, count, [&](auto numbers) { allFine = allHold(numbers, limits); });
        },
        array.items.front().limits);
  }
  if (allFine && allSimple) return std::nullopt;
  if (!allFine && !inDetail) return Finding{};

  ArrayValue array{kind, count};
  withValues(kind, values, count, [&](auto numbers) {
    const auto bytes = std::as_bytes(numbers);
    array.words.resize((bytes.size() + 7) / 8);
    if (!bytes.empty()) std::memcpy(array.words.data(), bytes.data(), bytes.size());
  });
  Outside outside;
  bool isWhole = true;  // numbers, all of them
  for (std::size_t i = 0; i < count; ++i) {
    const vesk_number number = elementOf(array, i);
    std::string complaint;
    if (!isFinite(number)) {
      complaint = kNotFinite;
      isWhole = false;
    }
    for (Check& check : checks) {
      auto& items = std::get<ArrayCheck>(check).items;
      if (!complaint.empty()) break;
      if (items.empty()) continue;
      complaint = items[items.size() == 1 ? 0 : i].complaint(number);
    }
    if (!complaint.empty()) outside.add(i, vesk::host::textOf(number), complaint);
  }
  if (auto finding = outside.finding(count)) return finding;
  if (isWhole)
    for (Check& check : checks)
      if (const std::string complaint = complaintOfRest(std::get<ArrayCheck>(check).rest, array);
          !complaint.empty())
        return Finding{"is " + complaint, textOf(Value(array))};
  return std::nullopt;
}

std::string KeyLimits::textOf(const Value& value) const {
  if (const auto* number = std::get_if<vesk_number>(&value)) return vesk::host::textOf(*number);
  if (const auto* text = std::get_if<std::string>(&value)) return *text;
  const auto* array = std::get_if<ArrayValue>(&value);
  if (array == nullptr || array->count == 0) return "";
  std::string range;
  withValues(array->kind, array->values(), array->count, [&](auto numbers) {
    const auto ends = std::ranges::minmax_element(numbers);
    const auto indexOf = [&](auto place) {
      return static_cast<std::size_t>(place - numbers.begin());
    };
    range = vesk::host::textOf(elementOf(*array, indexOf(ends.min))) + ".." +
            vesk::host::textOf(elementOf(*array, indexOf(ends.max)));
  });
  return range;
}

}  // namespace vesk::host
