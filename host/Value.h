/// What a report's object says, as values that outlive it and can be compared.
///
///     for (const Field& field : fieldsOf(plugin.decode(bytes, info, Plugin::Mode::Object)))
///       if (const auto* number = std::get_if<vesk_number>(&field.value)) ...
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/Plugin.h"
#include "plugin/vesk_plugin.h"

namespace vesk::host {

/// Numbers of one kind, in the machine's byte order.
struct ArrayValue {
  std::int32_t kind = VESK_BOOL;  // a vesk_kind
  std::size_t count = 0;
  std::vector<std::uint64_t>
      words{};  // the bytes of the numbers, aligned for any kind; zeros behind

  /// The first of `count` numbers of the C type that `kind` names, as withValues() takes them.
  const void* values() const { return words.data(); }

  bool operator==(const ArrayValue&) const = default;
};

/// Element `index` of an array as a number by itself.
vesk_number elementOf(const ArrayValue& array, std::size_t index);

/// Of the same kind and, bit by bit, the same: a NaN is itself.
bool same(const vesk_number& a, const vesk_number& b);

/// Nothing (nil), a number, a string, or an array.
using Value = std::variant<std::monostate, vesk_number, std::string, ArrayValue>;

bool same(const Value& a, const Value& b);

struct Field {
  std::string key;  // empty for a report that is a bare string
  Value value;
};

/// All fields in the report's order; none where the report has no object. Lines are strings without
/// a key each.
std::vector<Field> fieldsOf(const Decoded& decoded);

/// The C name of a vesk_kind: "unsigned int".
std::string_view nameOfKind(std::int32_t kind);

}  // namespace vesk::host
