/// What a decoder returns in object mode: a dictionary in the order in which its report lists the
/// keys, or a bare string.
///
///     const vesk::ReportObject& object = *result.object();  // of an image frame
///     object.size();                                        // 11
///     object.key(0);                                        // "COOKIE"
///     std::get<vesk::Number>(object.at("FLAGS"));           // kind unsigned short
///     std::get<vesk::NumberSpan>(object.at("D_SCAN_I"));    // one view, not 48 numbers
///
/// The keys of a dictionary, the kinds of its values and where they stand are known when the program
/// is compiled: they are a constant, its Shape. An object is a pointer to its shape and one block
/// with the values, so building it (model/dictionary.h) costs one allocation and the copying of the
/// values, and finding a key costs one hash.
#pragma once

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
#include <utility>
#include <variant>

#include "model/Number.h"

namespace vesk {

/// One value of a dictionary. String and span are views into the object.
using Value = std::variant<Number, std::string_view, NumberSpan>;

/// The constant part of a dictionary: its keys, in order, and for each what stands where in the
/// block of values.
struct Shape {
  enum class Category : std::uint8_t { Number, String, Array };

  /// What a dictionary has under one key. The block holds a number as a wire field, an array as
  /// aligned values in the machine's byte order, a string as a StringRef.
  struct Field {
    std::string_view key;
    Category category = Category::Number;
    Kind kind = Kind::Bool;    // Number, Array
    std::uint16_t count = 0;   // Array: number of values
    std::uint32_t offset = 0;  // in the block
  };

  /// Which bytes of the block are the characters of a string.
  struct StringRef {
    std::uint32_t offset;
    std::uint32_t size;
  };

  std::span<const Field> fields;
  /// A hash table: the slot of a key (its hash, modulo the table's size, or the next free slot)
  /// holds the index of its field plus one; 0 is a free slot, and there is at least one.
  std::span<const std::uint16_t> slots;

  /// The field of a key; null if there is none.
  constexpr const Field* find(std::string_view key) const {
    for (std::size_t i = hash(key);; ++i) {
      const std::uint16_t number = slots[i % slots.size()];
      if (number == 0) return nullptr;
      if (fields[number - 1u].key == key) return &fields[number - 1u];
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

  /// Number of keys; 0 for a bare string.
  std::size_t size() const { return isString() ? 0 : _shape->fields.size(); }

  /// A key and its value, by their index: views that are valid as long as the object. They throw
  /// std::out_of_range past the end.
  std::string_view key(std::size_t index) const { return field(index).key; }
  Value value(std::size_t index) const { return read(field(index)); }

  /// The value of a key, or nothing.
  std::optional<Value> find(std::string_view key) const {
    const Shape::Field* const found = isString() ? nullptr : _shape->find(key);
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

  const Shape::Field& field(std::size_t index) const {
    if (index >= size()) throw std::out_of_range("ReportObject: index past the end");
    return _shape->fields[index];
  }

  Value read(const Shape::Field& field) const {
    const char* const at = _block.get() + field.offset;
    switch (field.category) {
      case Shape::Category::Number:
        return Number::readWire(field.kind, at);
      case Shape::Category::Array:
        return NumberSpan(field.kind, at, field.count);
      case Shape::Category::String:
        break;
    }
    Shape::StringRef text;
    std::memcpy(&text, at, sizeof text);
    return std::string_view(_block.get() + text.offset, text.size);
  }

  std::unique_ptr<char, Delete> _block;
  std::size_t _size;
  const Shape* _shape;  // null: a bare string
  std::shared_ptr<const void> _owner;
};

}  // namespace vesk
