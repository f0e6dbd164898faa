#include "python/native/Text.h"

namespace py = pybind11;

namespace vesk::python {

py::str asString(std::string_view text) {
  PyObject* const string =
      PyUnicode_DecodeUTF8(text.data(), static_cast<Py_ssize_t>(text.size()), "surrogateescape");
  if (string == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(string);
}

void raiseValueError(std::string_view message) {
  PyErr_SetObject(PyExc_ValueError, asString(message).ptr());
  throw py::error_already_set();
}

}  // namespace vesk::python
