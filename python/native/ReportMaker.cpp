#include "python/native/ReportMaker.h"

#include <array>
#include <optional>
#include <string>
#include <utility>

#include "python/native/Text.h"
#include "python/native/Values.h"

namespace py = pybind11;

namespace vesk::python {

namespace {

constexpr auto kUnits =
    std::to_array<std::string_view>({"file", "line", "packet", "byte", "report"});

template <class T>
py::object orNone(const std::optional<T>& value) {
  return value ? py::object(py::int_(*value)) : py::object(py::none());
}

py::object typeOrNone(const std::optional<host::ReportType>& type) {
  return type ? py::object(asString(host::nameOf(*type))) : py::object(py::none());
}

/// Who sent a report, or is at fault.
template <class Found>
py::str deviceText(const Found& found) {
  if (found.device != nullptr) return asString(host::describe(*found.device));
  return found.sender ? asString(host::describe(*found.sender)) : asName("");
}

}  // namespace

void ReportMaker::writeChecked(const host::Report& /*report*/, const host::ReportInfo& info) {
  const host::Decoded object = decode(info, host::Plugin::Mode::Object);
  // Where there is no object there must be lines: what has neither isn't decoded.
  if (object.form() == VESK_NIL) decodeLines(info);
  ValueBuilder builder;
  object.visit(builder);
  _value = builder.take();
}

std::string_view unitName(host::Place::Unit unit) { return kUnits[static_cast<std::size_t>(unit)]; }

std::string whereText(const std::string& source, const std::string& unit, std::uint64_t number) {
  for (std::size_t i = 0; i < kUnits.size(); ++i)
    if (kUnits[i] == unit)
      return host::describe(source, {static_cast<host::Place::Unit>(i), number});
  raiseValueError("unknown unit of a place: " + unit);
}

py::tuple reportTuple(const host::Report& report, const host::ReportInfo& info, py::object value,
                      const py::object& source) {
  const bool toDevice = report.direction == host::Direction::ToDevice;
  return py::make_tuple(
      true,
      report.id(),
      asName(host::nameOf(info.type)),
      asName(info.decoder),
      orNone(report.microseconds),
      std::move(value),
      py::bytes(reinterpret_cast<const char*>(report.bytes.data()), report.bytes.size()),
      source,
      asName(unitName(report.place.unit)),
      report.place.number,
      deviceText(report),
      asName(toDevice ? "to_device" : "from_device"));
}

py::tuple problemTuple(const host::Problem& problem, const py::object& source) {
  return py::make_tuple(false,
                        asString(host::nameOf(problem.code)),
                        asString(problem.message),
                        source,
                        asString(unitName(problem.place.unit)),
                        problem.place.number,
                        orNone(problem.microseconds),
                        orNone(problem.reportId),
                        typeOrNone(problem.reportType),
                        deviceText(problem),
                        orNone(problem.expected),
                        orNone(problem.got),
                        orNone(problem.offset));
}

}  // namespace vesk::python
