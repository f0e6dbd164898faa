/// A number that knows with which kind it was made, and arrays of one kind.
///
/// Numbers compare by value, whatever their kinds: Number(1) == Number(1u) == Number(true), also as
/// keys of a table. A NaN equals every NaN, so that a number always equals itself.
///
///     vesk::Number n = std::uint16_t{7};
///     n.kind();                  // Kind::UnsignedShort
///     n == vesk::Number(7.0);    // true
///     n.as<std::uint16_t>();     // 7; another type than the kind's own throws std::bad_cast
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "model/wire.h"

namespace vesk {

/// The order is part of the C interface.
enum class Kind : std::uint8_t {
  Bool,
  UnsignedChar,
  UnsignedShort,
  UnsignedInt,
  Int,
  LongLong,
  UnsignedLongLong,
  Float,
  Double,
};

namespace detail {

template <class T>
consteval Kind kindOf() {
  if constexpr (std::is_same_v<T, bool>)
    return Kind::Bool;
  else if constexpr (std::is_same_v<T, float>)
    return Kind::Float;
  else if constexpr (std::is_same_v<T, double>)
    return Kind::Double;
  else if constexpr (std::is_integral_v<T> && std::is_signed_v<T> && sizeof(T) == 8)
    return Kind::LongLong;
  else if constexpr (std::is_integral_v<T> && sizeof(T) == 8)
    return Kind::UnsignedLongLong;
  else if constexpr (std::is_same_v<T, int>)
    return Kind::Int;
  else if constexpr (std::is_same_v<T, unsigned>)
    return Kind::UnsignedInt;
  else if constexpr (std::is_same_v<T, unsigned short>)
    return Kind::UnsignedShort;
  else {
    static_assert(std::is_same_v<T, unsigned char>, "no kind of number is made from this type");
    return Kind::UnsignedChar;
  }
}

}  // namespace detail

/// The kind that a value of type T makes.
template <class T>
inline constexpr Kind kKindOf = detail::kindOf<T>();

/// Size in bytes of one value of a kind.
constexpr std::size_t sizeOf(Kind kind) {
  constexpr std::size_t sizes[] = {1, 1, 2, 4, 4, 8, 8, 4, 8};
  return sizes[static_cast<std::size_t>(kind)];
}

class Number {
 public:
  template <class T>
  requires std::is_arithmetic_v<T>
  constexpr Number(T value) : _bits(bitsOf(value)), _kind(kKindOf<T>) {}

  /// The value of a kind that lies in memory, aligned or not: in the machine's byte order, or as a
  /// wire field.
  static Number read(Kind kind, const void* bytes);
  static Number readWire(Kind kind, const void* bytes);

  constexpr Kind kind() const { return _kind; }

  /// The value as the type of its own kind. Throws std::bad_cast for any other type.
  template <class T>
  constexpr T as() const {
    if (kKindOf<T> != _kind) throw std::bad_cast();
    if constexpr (std::is_floating_point_v<T>)
      return static_cast<T>(real());
    else
      return static_cast<T>(_bits);
  }

  constexpr bool isReal() const { return _kind >= Kind::Float; }
  constexpr bool isSigned() const { return _kind == Kind::Int || _kind == Kind::LongLong; }

  /// The value of a whole number in 64 bits, widened with its sign; the bits of real() for the
  /// others.
  constexpr std::uint64_t bits() const { return _bits; }

  /// The value of a float or double; meaningless for whole numbers.
  constexpr double real() const { return std::bit_cast<double>(_bits); }

  friend constexpr bool operator==(const Number& a, const Number& b) {
    if (a.isReal() && b.isReal())
      return a.real() == b.real() || (a.real() != a.real() && b.real() != b.real());
    if (a.isReal()) return b.isWhole(a.real());
    if (b.isReal()) return a.isWhole(b.real());
    if (a.isSigned() != b.isSigned() && (a._bits >> 63) != 0) return false;
    return a._bits == b._bits;
  }

 private:
  template <class T>
  static constexpr std::uint64_t bitsOf(T value) {
    if constexpr (std::is_floating_point_v<T>)
      return std::bit_cast<std::uint64_t>(static_cast<double>(value));
    else
      return static_cast<std::uint64_t>(value);
  }

  /// Whether this whole number is exactly `real`. Compared as whole numbers: this one, made a
  /// double, would be rounded.
  constexpr bool isWhole(double real) const {
    if (isSigned()) {
      if (!(real >= -0x1p63 && real < 0x1p63)) return false;
      const auto whole = static_cast<std::int64_t>(real);
      return static_cast<double>(whole) == real && static_cast<std::uint64_t>(whole) == _bits;
    }
    if (!(real >= 0 && real < 0x1p64)) return false;
    const auto whole = static_cast<std::uint64_t>(real);
    return static_cast<double>(whole) == real && whole == _bits;
  }

  std::uint64_t
      _bits;  // of a whole number, widened with its sign; of a float or double as a double
  Kind _kind;
};

/// A view of `count` values of one kind, contiguous, aligned, in the machine's byte order. It owns
/// nothing.
class NumberSpan {
 public:
  NumberSpan(Kind kind, const void* values, std::size_t count)
      : _values(values), _count(count), _kind(kind) {}

  Kind kind() const { return _kind; }
  std::size_t size() const { return _count; }
  const void* data() const { return _values; }

  /// Throws std::out_of_range past the end.
  Number operator[](std::size_t index) const {
    if (index >= _count) throw std::out_of_range("NumberSpan: index past the end");
    return Number::read(_kind, static_cast<const char*>(_values) + index * sizeOf(_kind));
  }

 private:
  const void* _values;
  std::size_t _count;
  Kind _kind;
};

/// An array of 32-bit numbers of one kind (int, unsigned int or float) that owns its values.
class NumberArray {
 public:
  /// The `count` values of a run of wire fields.
  template <class T>
  requires(sizeof(T) == 4) NumberArray(const wire::Field<T>* fields, std::size_t count)
      : _words(count), _kind(kKindOf<T>) {
    wire::copyValues(fields, count, _words.data());
  }

  Kind kind() const { return _kind; }
  std::size_t size() const { return _words.size(); }

  /// Throws std::out_of_range past the end.
  Number operator[](std::size_t index) const { return span()[index]; }

  /// Valid as long as the array.
  NumberSpan span() const { return {_kind, _words.data(), _words.size()}; }

 private:
  std::vector<std::uint32_t> _words;
  Kind _kind;
};

namespace detail {

/// Calls `make` with a zero of the C++ type that a kind names.
template <class Make>
Number withTypeOf(Kind kind, const Make& make) {
  switch (kind) {
    case Kind::Bool:
      return make(false);
    case Kind::UnsignedChar:
      return make(static_cast<unsigned char>(0));
    case Kind::UnsignedShort:
      return make(static_cast<unsigned short>(0));
    case Kind::UnsignedInt:
      return make(0u);
    case Kind::Int:
      return make(0);
    case Kind::LongLong:
      return make(0LL);
    case Kind::UnsignedLongLong:
      return make(0ULL);
    case Kind::Float:
      return make(0.0f);
    case Kind::Double:
      return make(0.0);
  }
  throw std::invalid_argument("Number: no such kind");
}

}  // namespace detail

inline Number Number::read(Kind kind, const void* bytes) {
  return detail::withTypeOf(kind, [bytes](auto value) {
    std::memcpy(&value, bytes, sizeof value);
    return Number(value);
  });
}

inline Number Number::readWire(Kind kind, const void* bytes) {
  return detail::withTypeOf(kind, [bytes](auto value) {
    wire::Field<decltype(value)> field;
    std::memcpy(&field, bytes, sizeof field);
    return Number(field.value());
  });
}

}  // namespace vesk
