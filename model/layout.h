/// How a decoder gets at a report: its layout is a struct of wire fields, laid over the buffer.
///
///     const auto& record = vesk::view<PumpRecord>(buffer);
///     std::uint32_t strokes = record.strokes;
#pragma once

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "model/wire.h"

namespace vesk {

/// The layout `Record` at the start of `buffer`, in place: a record is bytes and nothing else, so it
/// may be looked at wherever it lies. Valid as long as the buffer.
template <class Record>
const Record& view(const char* buffer) {
  static_assert(std::is_trivially_copyable_v<Record> && alignof(Record) == 1);
  return *reinterpret_cast<const Record*>(buffer);
}

/// memcpy of some hundred bytes, as a call of the C library: where the size is a constant,
/// compilers make a string instruction of it, which takes its time to start.
inline void copyBlock(void* to, const void* from, std::size_t size) {
  asm("" : "+r"(size));
  std::memcpy(to, from, size);
}

}  // namespace vesk
