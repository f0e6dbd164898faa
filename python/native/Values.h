/// Objects of reports as Python's values: a dict of numpy's scalars and arrays, and of strings.
///
///     bool                bool_      int                 int32
///     unsigned char       uint8      long long           int64
///     unsigned short      uint16     unsigned long long  uint64
///     unsigned int        uint32     float, double       float32, float64
#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "plugin/vesk_plugin.h"

namespace vesk::python {

/// Makes numpy usable here. Once, before anything else. Throws ImportError.
void importNumpy();

/// Gathers an object. It is a handler for Decoded::visit(), to be used with the interpreter's lock.
class ValueBuilder {
 public:
  void nil() {}
  void dictionaryBegin() { _value = pybind11::dict(); }
  void dictionaryEnd() {}
  void key(std::string_view name);
  void number(const vesk_number& number);
  void string(std::string_view text);
  void array(std::int32_t kind, const void* values, std::size_t count);

  /// A dict, a string, or None.
  pybind11::object take() { return std::move(_value); }

 private:
  void put(pybind11::object value);

  pybind11::object _value = pybind11::none();
  pybind11::object _key;
};

/// Gathers lines. It is a handler for Decoded::visit(), to be used with the interpreter's lock.
class LineBuilder {
 public:
  void nil() {}
  void dictionaryBegin() {}
  void dictionaryEnd() {}
  void key(std::string_view) {}
  void number(const vesk_number&) {}
  void string(std::string_view text);
  void array(std::int32_t, const void*, std::size_t) {}

  pybind11::list take() { return std::move(_lines); }

 private:
  pybind11::list _lines;
};

}  // namespace vesk::python
