/// What a reference is made of. One is added as a file of this folder, which nothing else names:
///
///     namespace reference {
///     namespace {
///
///     Lines text(const char* r, Mode) {
///       return {"Pump:", printed("   Strokes:%u", read<std::uint32_t>(r + 1))};
///     }
///
///     Object object(const char* r, Mode) {
///       Dictionary object;
///       object["Count"] = read<unsigned int>(r + 1);
///       return object;
///     }
///
///     const Registered pump({.name = "pump", .ids = {0xAB}, .text = text, .object = object});
///
///     }  // namespace
///     }  // namespace reference
///
/// Its values are then any bits, and it is measured beside the ordinary ways only: the other members
/// of Reference are for more than that.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "bench/reference.h"

namespace reference {

/// A line as printf would print it.
__attribute__((format(printf, 1, 2))) inline std::string printed(const char* format, ...) {
  char line[256];
  std::va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  return line;
}

/// Appends `count` values, eight to a line.
template <class T>
void addRows(Lines& lines, const char* values, int count, const char* format) {
  std::string line;
  for (int i = 0; i < count; ++i) {
    if (i != 0 && i % 8 == 0) {
      lines.push_back(line);
      line.clear();
    }
    char value[64];
    std::snprintf(value, sizeof value, format, read<T>(values + 4 * i));
    line += value;
  }
  lines.push_back(line);
}

/// The elements of an array.
template <class T>
std::vector<T> elements(const char* values, int count) {
  std::vector<T> elements;
  elements.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) elements.push_back(read<T>(values + 4 * i));
  return elements;
}

// Values of a controller in order.

template <class T>
void put(std::string& bytes, std::size_t offset, T value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

std::uint32_t below(Random& random, std::uint32_t limit);

/// A count of something that seldom happens.
std::uint32_t rareCount(Random& random);

/// Samples of a sensor: noise around a level that drifts from channel to channel.
void putSamples(std::string& bytes, std::size_t offset, Random& random);

}  // namespace reference
