/// What a decoder returns in object mode: a dictionary in the order in which its report lists the
/// keys, or a bare string.
///
///     vesk::ReportObject object = vesk::dictionary("Count"_key = record.strokes,
///                                                  "Last"_key = static_cast<long long>(last),
///                                                  "SAMPLES"_key = record.samples);
///     object.size();                                   // 3
///     object.key(0);                                   // "Count"
///     std::get<vesk::Number>(object.at("Count"));      // kind unsigned int, from the field's type
///     std::get<vesk::NumberSpan>(object.at("SAMPLES"));  // one view, not 48 numbers
///
/// The keys of a dictionary, the kinds of its values and their places are known when the program is
/// compiled: they are a constant, its Shape. An object is a pointer to its shape and one block with
/// the values, so building it costs one allocation and the copying of the values, and finding a key
/// costs one hash.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "model/Number.h"
#include "model/wire.h"
#include "text/format.h"

namespace vesk {

/// One value of a dictionary. String and span are views into the object.
using Value = std::variant<Number, std::string_view, NumberSpan>;

/// The constant part of a dictionary: its keys, in order, and for each what stands where in the
/// block of values.
struct Shape {
  enum class Form : std::uint8_t { Number, String, Array };

  struct Entry {
    std::string_view key;
    Form form = Form::Number;
    Kind kind = Kind::Bool;    // Number, Array
    std::uint16_t count = 0;   // Array: number of values
    std::uint32_t offset = 0;  // Number: a wire field. Array: aligned values in the machine's byte
                               // order. String: a StringPlace
  };

  /// Where the characters of a string lie in the block.
  struct StringPlace {
    std::uint32_t offset;
    std::uint32_t size;
  };

  std::span<const Entry> entries;
  /// A hash table: the place of a key (its hash, modulo the table's size, or the next free place)
  /// holds the number of its entry plus one; 0 is a free place.
  std::span<const std::uint16_t> places;

  /// The entry of a key; null if there is none.
  constexpr const Entry* find(std::string_view key) const {
    for (std::size_t i = hash(key);; ++i) {
      const std::uint16_t number = places[i % places.size()];
      if (number == 0) return nullptr;
      if (entries[number - 1u].key == key) return &entries[number - 1u];
    }
  }

  /// Size of the hash table of `entries` keys: a power of two, so that the modulo is cheap, with at
  /// least one place free.
  static constexpr std::size_t placesFor(std::size_t entries) {
    return std::bit_ceil(2 * entries + 1);
  }

  /// Enters keys into an empty (all zero) table of placesFor() places.
  static constexpr void enter(std::span<const Entry> entries, std::span<std::uint16_t> places) {
    for (std::size_t number = 0; number < entries.size(); ++number) {
      std::size_t i = hash(entries[number].key);
      while (places[i % places.size()] != 0) ++i;
      places[i % places.size()] = static_cast<std::uint16_t>(number + 1);
    }
  }

  /// FNV-1a.
  static constexpr std::size_t hash(std::string_view key) {
    std::uint32_t hash = 0x811C9DC5;
    for (const char c : key) hash = (hash ^ static_cast<unsigned char>(c)) * 0x01000193;
    return hash;
  }
};

class ReportObject {
 public:
  /// A bare string.
  explicit ReportObject(std::string_view text) : ReportObject(nullptr, text.size()) {
    if (!text.empty()) std::memcpy(_block.get(), text.data(), text.size());
  }

  /// A dictionary whose values are the caller's to write into block(), `size` bytes. `shape` is a
  /// constant, or what `owner` keeps alive.
  ReportObject(const Shape* shape, std::size_t size, std::shared_ptr<const void> owner = nullptr)
      : _block(static_cast<char*>(::operator new(size))),
        _size(size),
        _shape(shape),
        _owner(std::move(owner)) {}

  ReportObject(ReportObject&&) noexcept = default;
  ReportObject& operator=(ReportObject&&) noexcept = default;
  ReportObject(const ReportObject& other) : ReportObject(other._shape, other._size, other._owner) {
    std::memcpy(_block.get(), other._block.get(), _size);
  }
  ReportObject& operator=(const ReportObject& other) {
    *this = ReportObject(other);
    return *this;
  }
  ~ReportObject() = default;

  bool isString() const { return _shape == nullptr; }

  /// The bare string; valid as long as the object. Throws std::bad_variant_access for a dictionary.
  std::string_view string() const {
    if (!isString()) throw std::bad_variant_access();
    return {_block.get(), _size};
  }

  /// Number of entries; 0 for a bare string.
  std::size_t size() const { return isString() ? 0 : _shape->entries.size(); }

  /// Key and value of an entry, views that are valid as long as the object. They throw
  /// std::out_of_range past the end.
  std::string_view key(std::size_t index) const { return entry(index).key; }
  Value value(std::size_t index) const { return read(entry(index)); }

  /// The value of a key, or nothing.
  std::optional<Value> find(std::string_view key) const {
    const Shape::Entry* const found = isString() ? nullptr : _shape->find(key);
    if (found == nullptr) return std::nullopt;
    return read(*found);
  }

  /// The value of a key. Throws std::out_of_range if there is none.
  Value at(std::string_view key) const {
    if (auto value = find(key)) return *value;
    throw std::out_of_range("ReportObject: no key " + std::string(key));
  }

  /// The block of values, for what builds the object.
  char* block() { return _block.get(); }

 private:
  struct Delete {
    void operator()(char* block) const { ::operator delete(block); }
  };

  const Shape::Entry& entry(std::size_t index) const {
    if (index >= size()) throw std::out_of_range("ReportObject: index past the end");
    return _shape->entries[index];
  }

  Value read(const Shape::Entry& entry) const {
    const char* const at = _block.get() + entry.offset;
    switch (entry.form) {
      case Shape::Form::Number:
        return Number::readWire(entry.kind, at);
      case Shape::Form::Array:
        return NumberSpan(entry.kind, at, entry.count);
      case Shape::Form::String:
        break;
    }
    Shape::StringPlace place;
    std::memcpy(&place, at, sizeof place);
    return std::string_view(_block.get() + place.offset, place.size);
  }

  std::unique_ptr<char, Delete> _block;
  std::size_t _size;
  const Shape* _shape;  // null: a bare string
  std::shared_ptr<const void> _owner;
};

// ------------------------------------------------------------------------- building a dictionary

namespace detail {

/// What a value of type T is in a dictionary, and what it takes in the block.
template <class T>
struct EntryType {  // a C++ number
  static constexpr Shape::Form form = Shape::Form::Number;
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
  static constexpr Shape::Form form = Shape::Form::Array;
  static constexpr Kind kind = kKindOf<T>;
  static constexpr std::size_t count = n;
  static constexpr std::size_t size = n * sizeof(T);
  static constexpr std::size_t alignment = 8;
  static void store(char* at, const wire::Field<T>(&fields)[n]) { wire::copyValues(fields, n, at); }
};

template <>
struct EntryType<std::string_view> {
  static constexpr Shape::Form form = Shape::Form::String;
  static constexpr Kind kind = Kind::Bool;
  static constexpr std::size_t count = 1;
  static constexpr std::size_t size = sizeof(Shape::StringPlace);
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
    std::array<Shape::Entry, count> entries;
    std::array<std::uint16_t, Shape::placesFor(count)> places{};
    std::size_t size = 0;  // of the block, but for the characters of strings
  };

  static constexpr Table make() {
    Table made{{Shape::Entry{E::name, E::Type::form, E::Type::kind, E::Type::count, 0}...}};
    const std::size_t sizes[] = {E::Type::size...};
    const std::size_t alignments[] = {E::Type::alignment...};
    for (std::size_t i = 0; i < count; ++i) {
      made.size = (made.size + alignments[i] - 1) / alignments[i] * alignments[i];
      made.entries[i].offset = static_cast<std::uint32_t>(made.size);
      made.size += sizes[i];
    }
    Shape::enter(made.entries, made.places);
    return made;
  }

  static constexpr Table table = make();
  static constexpr Shape shape{table.entries, table.places};
};

template <class E>
std::size_t charactersOf(const E& entry) {
  if constexpr (E::Type::form == Shape::Form::String)
    return entry.value.size();
  else
    return 0;
}

/// Stores one value; `end` is where the block's strings end so far.
template <class E>
void store(char* block, std::uint32_t offset, std::size_t& end, const E& entry) {
  if constexpr (E::Type::form == Shape::Form::String) {
    const std::string_view text = entry.value;
    const Shape::StringPlace place{static_cast<std::uint32_t>(end),
                                   static_cast<std::uint32_t>(text.size())};
    std::memcpy(block + offset, &place, sizeof place);
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
  (detail::store(object.block(), Of::table.entries[i++].offset, end, entry), ...);
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
