#include "python/native/Pulse.h"

#include <utility>

namespace py = pybind11;

namespace vesk::python {

void Pulse::read(std::uint64_t bytes) {
  _bytes = bytes;
  if (Clock::now() < _next) return;
  const py::gil_scoped_acquire lock;
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  tell();
  _next = Clock::now() + kInterval;
}

void Pulse::begin() {
  finish();
  _bytes = _told = 0;
}

void Pulse::finish() {
  const py::gil_scoped_acquire lock;
  tell();
}

void Pulse::tell() {
  const std::uint64_t more = _bytes - std::exchange(_told, _bytes);
  if (more != 0 && !_progress.is_none()) _progress(more);
}

}  // namespace vesk::python
