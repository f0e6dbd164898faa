#include "host/Value.h"

#include <array>
#include <cstring>
#include <span>
#include <type_traits>
#include <utility>

#include "host/Kinds.h"

namespace vesk::host {

namespace {

/// Gathers fields. It is a handler for Decoded::visit().
class Gatherer {
 public:
  void nil() {}
  void dictionaryBegin() {}
  void dictionaryEnd() {}
  void key(std::string_view name) { _key = name; }
  void number(const vesk_number& number) { add(number); }
  void string(std::string_view text) { add(std::string(text)); }

  void array(std::int32_t kind, const void* values, std::size_t count) {
    ArrayValue array{kind, count};
    withValues(kind, values, count, [&](auto numbers) {
      const auto bytes = std::as_bytes(numbers);
      constexpr std::size_t kWord = sizeof array.words.front();
      array.words.resize((bytes.size() + kWord - 1) / kWord);
      if (!bytes.empty()) std::memcpy(array.words.data(), bytes.data(), bytes.size());
    });
    add(std::move(array));
  }

  std::vector<Field> take() { return std::move(_fields); }

 private:
  void add(Value value) { _fields.push_back({std::exchange(_key, {}), std::move(value)}); }

  std::string _key;
  std::vector<Field> _fields;
};

}  // namespace

vesk_number elementOf(const ArrayValue& array, std::size_t index) {
  vesk_number number{array.kind, {}};
  withValues(array.kind, array.values(), array.count, [&](auto numbers) {
    const auto value = numbers[index];
    if constexpr (std::is_floating_point_v<decltype(value + 0)>)
      number.value.d = value;
    else if constexpr (std::is_signed_v<std::remove_const_t<decltype(value)>>)
      number.value.i = value;
    else
      number.value.u = value;
  });
  return number;
}

bool same(const vesk_number& a, const vesk_number& b) {
  return a.kind == b.kind && a.value.u == b.value.u;
}

bool same(const Value& a, const Value& b) {
  if (const auto* number = std::get_if<vesk_number>(&a)) {
    const auto* other = std::get_if<vesk_number>(&b);
    return other != nullptr && same(*number, *other);
  }
  if (a.index() != b.index()) return false;
  if (const auto* text = std::get_if<std::string>(&a)) return *text == std::get<std::string>(b);
  if (const auto* array = std::get_if<ArrayValue>(&a)) return *array == std::get<ArrayValue>(b);
  return true;
}

std::vector<Field> fieldsOf(const Decoded& decoded) {
  Gatherer gatherer;
  decoded.visit(gatherer);
  return gatherer.take();
}

std::string_view nameOfKind(std::int32_t kind) {
  constexpr auto kNames = std::to_array<std::string_view>({"bool",
                                                           "unsigned char",
                                                           "unsigned short",
                                                           "unsigned int",
                                                           "int",
                                                           "long long",
                                                           "unsigned long long",
                                                           "float",
                                                           "double"});
  const auto index = static_cast<std::size_t>(kind);
  return index < kNames.size() ? kNames[index] : "unknown kind";
}

}  // namespace vesk::host
