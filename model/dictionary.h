/// Building a dictionary, the object of a report:
///
///     vesk::ReportObject object = vesk::dictionary("Count"_key = record.strokes,
///                                                  "Last"_key = static_cast<long long>(last),
///                                                  "SAMPLES"_key = record.samples);
///     object.key(0);                                     // "Count"
///     std::get<vesk::Number>(object.at("Count"));        // kind unsigned int, from the field's type
///     std::get<vesk::NumberSpan>(object.at("SAMPLES"));  // all of them
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "model/Number.h"
#include "model/ReportObject.h"
#include "model/layout.h"
#include "model/wire.h"
#include "text/format.h"

namespace vesk {

/// Size of the hash table of `keys` keys: a power of two, so that the modulo is cheap, with at least
/// one slot free.
constexpr std::size_t slotsFor(std::size_t keys) { return std::bit_ceil(2 * keys + 1); }

/// Enters the keys of fields into an empty (all zero) hash table of slotsFor() slots, as
/// Shape::find() looks for them.
constexpr void enterKeys(std::span<const Shape::Field> fields, std::span<std::uint16_t> slots) {
  for (std::size_t index = 0; index < fields.size(); ++index) {
    std::size_t i = Shape::hash(fields[index].key);
    while (slots[i % slots.size()] != 0) ++i;
    slots[i % slots.size()] = static_cast<std::uint16_t>(index + 1);
  }
}

namespace detail {

/// What a value of type T is in a dictionary, and what it takes in the block.
template <class T>
struct EntryType {  // a C++ number
  static constexpr Shape::Category category = Shape::Category::Number;
  static constexpr Kind kind = kKindOf<T>;
  static constexpr std::size_t count = 1;
  static constexpr std::size_t size = sizeof(T);
  static constexpr std::size_t alignment = 1;
  static void store(char* at, T value) {
    const auto field = wire::Field<T>::of(value);
    std::memcpy(at, &field, sizeof field);
  }
};

template <class T>
struct EntryType<wire::Field<T>> : EntryType<T> {
  static void store(char* at, const wire::Field<T>& field) {
    std::memcpy(at, &field, sizeof field);
  }
};

template <class T, std::size_t n>
struct EntryType<wire::Field<T>[n]> {
  static constexpr Shape::Category category = Shape::Category::Array;
  static constexpr Kind kind = kKindOf<T>;
  static constexpr std::size_t count = n;
  static constexpr std::size_t size = n * sizeof(T);
  static constexpr std::size_t alignment = 8;
  static void store(char* at, const wire::Field<T>(&fields)[n]) {
    if constexpr (wire::kNative<T>)
      copyBlock(at, fields, size);
    else
      wire::copyValues(fields, n, at);
  }
};

template <>
struct EntryType<std::string_view> {
  static constexpr Shape::Category category = Shape::Category::String;
  static constexpr Kind kind = Kind::Bool;
  static constexpr std::size_t count = 1;
  static constexpr std::size_t size = sizeof(Shape::StringRef);
  static constexpr std::size_t alignment = 1;
};

/// A key with the value that stands under it for the time of the call.
template <format::Literal key, class T>
struct Entry {
  using Type = EntryType<T>;
  static constexpr std::string_view name = key.view();
  const T& value;
};

template <class... E>
struct ShapeOf {
  static constexpr std::size_t count = sizeof...(E);

  struct Table {
    std::array<Shape::Field, count> fields;
    std::array<std::uint16_t, slotsFor(count)> slots{};
    std::size_t size = 0;  // of the block, but for the characters of strings
  };

  static constexpr Table make() {
    Table made{{Shape::Field{E::name, E::Type::category, E::Type::kind, E::Type::count, 0}...}};
    const std::size_t sizes[] = {E::Type::size...};
    const std::size_t alignments[] = {E::Type::alignment...};
    for (std::size_t i = 0; i < count; ++i) {
      made.size = (made.size + alignments[i] - 1) / alignments[i] * alignments[i];
      made.fields[i].offset = static_cast<std::uint32_t>(made.size);
      made.size += sizes[i];
    }
    enterKeys(made.fields, made.slots);
    return made;
  }

  static constexpr Table table = make();
  static constexpr Shape shape{table.fields, table.slots};
};

template <class E>
std::size_t charactersOf(const E& entry) {
  if constexpr (E::Type::category == Shape::Category::String)
    return entry.value.size();
  else
    return 0;
}

/// Stores one value; `end` is where the block's strings end so far.
template <class E>
void store(char* block, std::uint32_t offset, std::size_t& end, const E& entry) {
  if constexpr (E::Type::category == Shape::Category::String) {
    const std::string_view text = entry.value;
    const Shape::StringRef ref{static_cast<std::uint32_t>(end),
                               static_cast<std::uint32_t>(text.size())};
    std::memcpy(block + offset, &ref, sizeof ref);
    end += text.copy(block + end, text.size());
  } else {
    E::Type::store(block + offset, entry.value);
  }
}

}  // namespace detail

/// A dictionary of the entries, in their order. An entry is `"KEY"_key = value`, where the value is
/// a number (its kind is its type), a wire field (the kind of its value), an array of wire fields,
/// or a std::string_view, whose characters are copied.
template <class... E>
ReportObject dictionary(const E&... entry) {
  using Of = detail::ShapeOf<E...>;
  std::size_t end = Of::table.size;
  ReportObject object(&Of::shape, (end + ... + detail::charactersOf(entry)));
  std::size_t i = 0;
  (detail::store(object.block(), Of::table.fields[i++].offset, end, entry), ...);
  return object;
}

/// The left side of `"KEY"_key = value`.
template <format::Literal key>
struct Key {
  // An assignment by its looks only: it makes the entry.
  template <class T>  // NOLINTNEXTLINE(misc-unconventional-assign-operator)
  detail::Entry<key, T> operator=(const T& value) const {
    return {value};
  }
};

inline namespace literals {
template <format::Literal key>
consteval Key<key> operator""_key() {
  return {};
}
}  // namespace literals

}  // namespace vesk
