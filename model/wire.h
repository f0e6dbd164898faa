/// Fields of a report as they lie on the wire: little-endian, at any offset.
///
/// A layout is a struct of these types in wire order. They are arrays of bytes, so the struct has
/// alignment 1 and no padding, its size is the sum of its fields, and it reads the same on a
/// big-endian machine. A field converts to its value where it is used:
///
///     struct PumpRecord {
///       u8 id;
///       u32 strokes;  // since power-up
///     };
///     static_assert(sizeof(PumpRecord) == 5);
///
///     const auto& record = vesk::view<PumpRecord>(buffer);
///     std::uint32_t strokes = record.strokes;
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace vesk {

/// memcpy of some hundred bytes, as a call of the C library: where the size is a constant,
/// compilers make a string instruction of it, which takes its time to start.
inline void copyBlock(void* to, const void* from, std::size_t size) {
  asm("" : "+r"(size));
  std::memcpy(to, from, size);
}

namespace wire {

/// A field of type T.
template <class T>
struct Field {
  unsigned char bytes[sizeof(T)];

  /// The field that holds a value.
  static Field of(T value) { return std::bit_cast<Field>(value).inWireOrder(); }

  T value() const { return std::bit_cast<T>(inWireOrder()); }
  operator T() const { return value(); }

 private:
  /// From the machine's byte order to the wire's or back.
  Field inWireOrder() const {
    Field field = *this;
    if constexpr (std::endian::native == std::endian::big) std::ranges::reverse(field.bytes);
    return field;
  }
};

/// Copies the values of `count` fields to `values`, which has room for `count` times sizeof(T)
/// bytes.
template <class T>
void copyValues(const Field<T>* fields, std::size_t count, void* values) {
  if constexpr (std::endian::native == std::endian::little || sizeof(T) == 1) {
    if (count != 0) copyBlock(values, fields, count * sizeof(T));
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

/// The layout `Record` at the start of `buffer`, in place: a record is bytes and nothing else, so it
/// may be looked at wherever it lies. Valid as long as the buffer.
template <class Record>
const Record& view(const char* buffer) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  return *reinterpret_cast<const Record*>(buffer);
}

}  // namespace vesk
