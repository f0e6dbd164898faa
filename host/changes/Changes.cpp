#include "host/changes/Changes.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string_view>
#include <type_traits>
#include <utility>

namespace vesk::host {

namespace {

bool isSigned(const vesk_number& number) {
  return number.kind == VESK_INT || number.kind == VESK_LONG_LONG;
}

bool isFloating(const vesk_number& number) {
  return number.kind == VESK_FLOAT || number.kind == VESK_DOUBLE;
}

/// Unsigned arithmetic wraps, which makes the distance of two signed numbers come out right, too.
WholeDifference wholeDifference(const vesk_number& before, const vesk_number& after) {
  const bool negative =
      isSigned(before) ? after.value.i < before.value.i : after.value.u < before.value.u;
  return {negative, negative ? before.value.u - after.value.u : after.value.u - before.value.u};
}

std::optional<Change> changeOf(const vesk_number& before, const vesk_number& after) {
  if (saysTheSame(before, after)) return std::nullopt;
  return Change{{}, 0, NumberChange{before, after, differenceOf(before, after)}};
}

/// Sums and sizes of what changed.
void summarize(ArrayChange& change) {
  double sum = 0;
  double largest = 0;
  for (std::size_t i = 0; i < change.elements.size(); ++i) {
    const auto& difference = change.elements[i].difference;
    if (!difference) continue;
    const double size = magnitudeOf(*difference);
    sum += size;
    if (change.sized++ != 0 && size <= largest) continue;
    largest = size;
    change.largest = i;
  }
  if (change.sized != 0) change.mean = sum / static_cast<double>(change.sized);
}

std::optional<Change> changeOf(const ArrayValue& before, const ArrayValue& after) {
  if (before == after) return std::nullopt;
  if (before.kind != after.kind || before.count != after.count)
    return Change{{}, 0, ValueChange{before, after}};
  ArrayChange change{after.count, {}};
  for (std::size_t i = 0; i < after.count; ++i) {
    const vesk_number old = elementOf(before, i);
    const vesk_number now = elementOf(after, i);
    if (!saysTheSame(old, now)) change.elements.push_back({i, old, now, differenceOf(old, now)});
  }
  if (change.elements.empty()) return std::nullopt;
  summarize(change);
  return Change{{}, 0, std::move(change)};
}

/// What changed, without its key.
std::optional<Change> changeOf(const Value& before, const Value& after) {
  if (before.index() == after.index()) {
    if (const auto* number = std::get_if<vesk_number>(&before))
      return changeOf(*number, std::get<vesk_number>(after));
    if (const auto* array = std::get_if<ArrayValue>(&before))
      return changeOf(*array, std::get<ArrayValue>(after));
    if (same(before, after)) return std::nullopt;
  }
  return Change{{}, 0, ValueChange{before, after}};
}

bool haveSameKeys(std::span<const Field> before, std::span<const Field> after) {
  return std::ranges::equal(before, after, {}, &Field::key, &Field::key);
}

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

}  // namespace

double magnitudeOf(const Difference& difference) {
  if (const auto* whole = std::get_if<WholeDifference>(&difference))
    return static_cast<double>(whole->magnitude);
  if (const auto* single = std::get_if<float>(&difference)) return std::fabs(double{*single});
  return std::fabs(std::get<double>(difference));
}

bool isNegative(const Difference& difference) {
  if (const auto* whole = std::get_if<WholeDifference>(&difference)) return whole->negative;
  if (const auto* single = std::get_if<float>(&difference)) return *single < 0;
  return std::get<double>(difference) < 0;
}

std::optional<Difference> differenceOf(const vesk_number& before, const vesk_number& after) {
  if (before.kind != after.kind || before.kind == VESK_BOOL) return std::nullopt;
  if (!isFloating(before)) return wholeDifference(before, after);
  if (before.kind == VESK_FLOAT) {
    const float difference = static_cast<float>(after.value.d) - static_cast<float>(before.value.d);
    if (!std::isfinite(difference)) return std::nullopt;
    return difference;
  }
  const double difference = after.value.d - before.value.d;
  if (!std::isfinite(difference)) return std::nullopt;
  return difference;
}

bool saysTheSame(const vesk_number& before, const vesk_number& after) {
  if (before.kind != after.kind || !isFloating(before)) return same(before, after);
  return before.value.d == after.value.d ||
         (std::isnan(before.value.d) && std::isnan(after.value.d));
}

std::vector<Change> changesBetween(std::span<const Field> before, std::span<const Field> after) {
  std::vector<Change> changes;
  const auto add = [&](const std::string& key, const Value& old, const Value& now) {
    if (auto change = changeOf(old, now)) {
      change->key = key;
      changes.push_back(std::move(*change));
    }
  };
  if (haveSameKeys(before, after)) {
    for (std::size_t i = 0; i < after.size(); ++i)
      add(after[i].key, before[i].value, after[i].value);
    return changes;
  }
  std::map<std::string_view, const Field*> gone;
  for (const Field& field : before) gone.emplace(field.key, &field);
  for (const Field& field : after) {
    const auto old = gone.find(field.key);
    add(field.key, old == gone.end() ? Value() : old->second->value, field.value);
    if (old != gone.end()) gone.erase(old);
  }
  for (const Field& field : before)
    if (gone.contains(field.key)) add(field.key, field.value, Value());
  return changes;
}

std::vector<Change> lineChangesBetween(std::string_view before, std::string_view after) {
  const std::vector<std::string_view> old = linesOf(before);
  const std::vector<std::string_view> now = linesOf(after);
  // Where there are more lines than before, or fewer, what follows them is the same still.
  const std::size_t shorter = std::min(old.size(), now.size());
  std::size_t begin = 0;
  while (begin < shorter && old[begin] == now[begin]) ++begin;
  std::size_t tail = 0;
  while (tail < shorter - begin && old[old.size() - 1 - tail] == now[now.size() - 1 - tail]) ++tail;

  std::vector<Change> changes;
  const auto valueAt = [&](const std::vector<std::string_view>& lines, std::size_t i) {
    return i < lines.size() - tail ? Value(std::string(lines[i])) : Value();
  };
  for (std::size_t i = begin; i < std::max(old.size(), now.size()) - tail; ++i) {
    ValueChange change{valueAt(old, i), valueAt(now, i)};
    if (!same(change.before, change.after)) changes.push_back({{}, i + 1, std::move(change)});
  }
  return changes;
}

}  // namespace vesk::host
