#include "python/native/Values.h"

#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#include <numpy/arrayobject.h>

#include <cstring>
#include <type_traits>
#include <utility>

#include "host/outputs/Numbers.h"
#include "python/native/Text.h"

namespace py = pybind11;

namespace vesk::python {

namespace {

/// numpy's number of the type that a vesk_kind is.
int numpyType(std::int32_t kind) {
  switch (kind) {
    case VESK_BOOL:
      return NPY_BOOL;
    case VESK_UNSIGNED_CHAR:
      return NPY_UINT8;
    case VESK_UNSIGNED_SHORT:
      return NPY_UINT16;
    case VESK_UNSIGNED_INT:
      return NPY_UINT32;
    case VESK_INT:
      return NPY_INT32;
    case VESK_LONG_LONG:
      return NPY_INT64;
    case VESK_UNSIGNED_LONG_LONG:
      return NPY_UINT64;
    case VESK_FLOAT:
      return NPY_FLOAT32;
    case VESK_DOUBLE:
      return NPY_FLOAT64;
    default:
      throw py::value_error("the plug-in gave a number of an unknown kind");
  }
}

py::object stolen(PyObject* object) {
  if (object == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(object);
}

}  // namespace

void importNumpy() {
  if (_import_array() < 0) throw py::error_already_set();
}

void ValueBuilder::key(std::string_view name) {
  PyObject* key = asString(name).release().ptr();
  PyUnicode_InternInPlace(&key);
  _key = py::reinterpret_steal<py::object>(key);
}

void ValueBuilder::put(py::object value) {
  if (!_key) {
    _value = std::move(value);
  } else if (PyDict_SetItem(_value.ptr(), _key.ptr(), value.ptr()) != 0) {
    throw py::error_already_set();
  }
}

void ValueBuilder::number(const vesk_number& number) {
  const int type = numpyType(number.kind);
  host::withValues(number.kind, nullptr, 0, [&](auto numbers) {
    using Number = std::remove_cvref_t<decltype(*numbers.data())>;
    Number value;
    if constexpr (std::is_floating_point_v<Number>)
      value = static_cast<Number>(number.value.d);
    else if constexpr (std::is_signed_v<Number>)
      value = static_cast<Number>(number.value.i);
    else
      value = static_cast<Number>(number.value.u);
    PyArray_Descr* const descr = PyArray_DescrFromType(type);
    PyObject* const scalar = PyArray_Scalar(&value, descr, nullptr);
    Py_DECREF(descr);
    put(stolen(scalar));
  });
}

void ValueBuilder::string(std::string_view text) { put(asString(text)); }

void ValueBuilder::array(std::int32_t kind, const void* values, std::size_t count) {
  npy_intp length = static_cast<npy_intp>(count);
  py::object array = stolen(PyArray_SimpleNew(1, &length, numpyType(kind)));
  auto* const raw = reinterpret_cast<PyArrayObject*>(array.ptr());
  if (count != 0)
    std::memcpy(PyArray_DATA(raw), values, static_cast<std::size_t>(PyArray_NBYTES(raw)));
  put(std::move(array));
}

void LineBuilder::string(std::string_view text) { _lines.append(asString(text)); }

}  // namespace vesk::python
