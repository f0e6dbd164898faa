#include "python/native/Values.h"

#define NPY_NO_DEPRECATED_API NPY_1_7_API_VERSION
#include <numpy/arrayobject.h>
#include <numpy/arrayscalars.h>

#include <cstring>
#include <type_traits>
#include <utility>

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

/// One of numpy's scalars, made as numpy itself makes it, without the detour over its descriptions.
template <class Scalar, class Value>
py::object scalar(PyTypeObject& type, Value value) {
  py::object made = stolen(type.tp_alloc(&type, 0));
  auto& into = reinterpret_cast<Scalar*>(made.ptr())->obval;
  into = static_cast<std::remove_reference_t<decltype(into)>>(value);
  return made;
}

}  // namespace

void importNumpy() {
  if (_import_array() < 0) throw py::error_already_set();
}

void ValueBuilder::key(std::string_view name) { _key = asName(name); }

void ValueBuilder::put(py::object value) {
  if (!_key) {
    _value = std::move(value);
  } else if (PyDict_SetItem(_value.ptr(), _key.ptr(), value.ptr()) != 0) {
    throw py::error_already_set();
  }
}

void ValueBuilder::number(const vesk_number& number) {
  const auto& value = number.value;
  switch (number.kind) {
    case VESK_BOOL:
      return put(py::reinterpret_borrow<py::object>(value.u != 0 ? PyArrayScalar_True
                                                                 : PyArrayScalar_False));
    case VESK_UNSIGNED_CHAR:
      return put(scalar<PyUInt8ScalarObject>(PyUInt8ArrType_Type, value.u));
    case VESK_UNSIGNED_SHORT:
      return put(scalar<PyUInt16ScalarObject>(PyUInt16ArrType_Type, value.u));
    case VESK_UNSIGNED_INT:
      return put(scalar<PyUInt32ScalarObject>(PyUInt32ArrType_Type, value.u));
    case VESK_INT:
      return put(scalar<PyInt32ScalarObject>(PyInt32ArrType_Type, value.i));
    case VESK_LONG_LONG:
      return put(scalar<PyInt64ScalarObject>(PyInt64ArrType_Type, value.i));
    case VESK_UNSIGNED_LONG_LONG:
      return put(scalar<PyUInt64ScalarObject>(PyUInt64ArrType_Type, value.u));
    case VESK_FLOAT:
      return put(scalar<PyFloat32ScalarObject>(PyFloat32ArrType_Type, value.d));
    case VESK_DOUBLE:
      return put(scalar<PyFloat64ScalarObject>(PyFloat64ArrType_Type, value.d));
    default:
      numpyType(number.kind);  // which says that there is none
  }
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
