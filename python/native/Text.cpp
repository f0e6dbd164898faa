#include "python/native/Text.h"

#include <functional>
#include <string>
#include <unordered_map>

namespace py = pybind11;

namespace vesk::python {

namespace {

struct Hash : std::hash<std::string_view> {
  using is_transparent = void;
};
using Names = std::unordered_map<std::string, PyObject*, Hash, std::equal_to<>>;

}  // namespace

py::str asString(std::string_view text) {
  PyObject* const string =
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
  if (string == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(string);
}

py::str asName(std::string_view name) {
  // Never destroyed: at the end of the process the interpreter is gone before it.
  static Names& names = *new Names;
  const auto known = names.find(name);
  if (known != names.end()) return py::reinterpret_borrow<py::str>(known->second);
  PyObject* string = asString(name).release().ptr();
  PyUnicode_InternInPlace(&string);
  names.emplace(name, string);
  return py::reinterpret_borrow<py::str>(string);
}

void raiseValueError(std::string_view message) {
  PyErr_SetObject(PyExc_ValueError, asString(message).ptr());
  throw py::error_already_set();
}

}  // namespace vesk::python
