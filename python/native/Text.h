/// Text of the host as Python's strings.
#pragma once

#include <pybind11/pybind11.h>

#include <string_view>

namespace vesk::python {

/// Names of files may hold any bytes: what is no UTF-8 becomes lone surrogates, as in os.fsdecode().
pybind11::str asString(std::string_view text);

/// The same of a name that comes with every report, which is made once and kept: keys, decoders and the
/// like, of which there are no more than the plug-in has.
pybind11::str asName(std::string_view name);

/// Raises ValueError.
[[noreturn]] void raiseValueError(std::string_view message);

}  // namespace vesk::python
