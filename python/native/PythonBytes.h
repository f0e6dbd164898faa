/// A file object of Python's as a stream of bytes.
#pragma once

#include <pybind11/pybind11.h>

#include <cstddef>

#include "host/inputs/Bytes.h"
#include "python/native/Pulse.h"

namespace vesk::python {

/// Reads by read1(), which gives what a pipe holds without waiting for more, or else by read(). Takes
/// the interpreter's lock for each read. Throws what those raise, and TypeError where they give
/// something else than bytes.
class PythonBytes final : public host::Bytes {
 public:
  /// With the interpreter's lock. `pulse` must outlive it.
  PythonBytes(const pybind11::object& file, Pulse& pulse);

 private:
  std::size_t read(char* into, std::size_t room) override;

  pybind11::object _read;
  Pulse& _pulse;
  std::uint64_t _bytesRead = 0;
};

}  // namespace vesk::python
