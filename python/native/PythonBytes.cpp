#include "python/native/PythonBytes.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "python/native/Text.h"

namespace py = pybind11;

namespace vesk::python {

namespace {

constexpr std::size_t kMostAtOnce = std::size_t{256} * 1024;

}  // namespace

PythonBytes::PythonBytes(const py::object& file, Pulse& pulse)
    : _read(py::hasattr(file, "read1") ? file.attr("read1") : file.attr("read")), _pulse(pulse) {}

std::size_t PythonBytes::read(char* into, std::size_t room) {
  _pulse.read(_bytesRead);
  const py::gil_scoped_acquire lock;
  const py::object piece = _read(std::min(room, kMostAtOnce));
  if (piece.is_none()) {
    PyErr_SetString(PyExc_BlockingIOError,
                    "the file object has nothing to read at present: it must wait for it");
    throw py::error_already_set();
  }
  if (!PyBytes_Check(piece.ptr()))
    throw py::type_error("a file object must give bytes, not " +
                         std::string(Py_TYPE(piece.ptr())->tp_name) + ": open it in binary mode");
  const auto size = static_cast<std::size_t>(PyBytes_GET_SIZE(piece.ptr()));
  if (size > room) raiseValueError("the file object gave more bytes than it was asked for");
  std::memcpy(into, PyBytes_AS_STRING(piece.ptr()), size);
  _bytesRead += size;
  return size;
}

}  // namespace vesk::python
