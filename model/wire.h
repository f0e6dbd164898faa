/// Fields of a report as they lie on the wire: little-endian, at any offset.
///
/// They are arrays of bytes, so that a struct of them has alignment 1 and no padding, its size is
/// the sum of its fields, and it reads the same on a big-endian machine. A field converts to its
/// value where it is used:
///
///     struct PumpRecord {
///       u8 id;
///       u32 strokes;  // since power-up
///     };
///     static_assert(sizeof(PumpRecord) == 5);
///
///     std::uint32_t strokesOf(const PumpRecord& record) { return record.strokes; }
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vesk {

namespace wire {

/// Whether the bytes of a field of type T are those of its value in this machine's memory.
template <class T>
inline constexpr bool kNative = std::endian::native == std::endian::little || sizeof(T) == 1;

/// A field of type T.
template <class T>
struct Field {
  unsigned char bytes[sizeof(T)];

  /// The field that holds a value.
  static constexpr Field of(T value) { return std::bit_cast<Field>(value).inWireOrder(); }

  constexpr T value() const { return std::bit_cast<T>(inWireOrder()); }
  constexpr operator T() const { return value(); }

 private:
  /// From the machine's byte order to the wire's or back.
  constexpr Field inWireOrder() const {
    Field field = *this;
    if constexpr (!kNative<T>)
      for (std::size_t i = 0; i < sizeof(T); ++i) field.bytes[i] = bytes[sizeof(T) - 1 - i];
    return field;
  }
};

/// Copies the values of `count` fields to `values`, which has room for `count` times sizeof(T)
/// bytes.
template <class T>
void copyValues(const Field<T>* fields, std::size_t count, void* values) {
  if constexpr (kNative<T>) {
    if (count != 0) std::memcpy(values, fields, count * sizeof(T));
  } else {
    for (std::size_t i = 0; i < count; ++i) {
      const T value = fields[i];
      std::memcpy(static_cast<unsigned char*>(values) + i * sizeof(T), &value, sizeof value);
    }
  }
}

}  // namespace wire

using u8 = wire::Field<std::uint8_t>;
using u16 = wire::Field<std::uint16_t>;
using u32 = wire::Field<std::uint32_t>;
using u64 = wire::Field<std::uint64_t>;
using i32 = wire::Field<std::int32_t>;
using f32 = wire::Field<float>;

static_assert(sizeof(u64) == 8 && alignof(u64) == 1 && sizeof(f32) == 4 && alignof(f32) == 1);

}  // namespace vesk
