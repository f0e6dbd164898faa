/// Decoded reports as Python's values.
#pragma once

#include <pybind11/pybind11.h>

#include "host/outputs/Output.h"

namespace vesk::python {

/// Decodes to values. All with the interpreter's lock.
class ReportMaker final : public host::DecodingOutput {
 public:
  explicit ReportMaker(const host::OutputContext& context) : DecodingOutput(context) {}

  /// What the report said that was written last.
  pybind11::object takeValue() { return std::move(_value); }

 private:
  void writeChecked(const host::Report& report, const host::ReportInfo& info) override;

  pybind11::object _value;
};

/// (True, ID, type, decoder, microseconds, value, bytes, source, unit, number, device, direction)
pybind11::tuple reportTuple(const host::Report& report, const host::ReportInfo& info,
                            pybind11::object value, const pybind11::object& source);

/// (False, code, message, source, unit, number, microseconds, ID, type, device, expected, got,
/// offset)
pybind11::tuple problemTuple(const host::Problem& problem, const pybind11::object& source);

/// "file", "line", "packet" or "byte": what a place counts.
std::string_view unitName(host::Place::Unit unit);

/// "bench.hex:12", as messages of the command line have it.
std::string whereText(const std::string& source, const std::string& unit, std::uint64_t number);

}  // namespace vesk::python
