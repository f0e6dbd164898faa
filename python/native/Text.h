/// Text of the host as Python's strings.
#pragma once

#include <pybind11/pybind11.h>

#include <string_view>

namespace vesk::python {

/// Names of files may hold any bytes: what is no UTF-8 becomes lone surrogates, as in os.fsdecode().
pybind11::str asString(std::string_view text);

/// Raises ValueError.
[[noreturn]] void raiseValueError(std::string_view message);

}  // namespace vesk::python
