// vesk_report._native: the host's library for the package's Python code, which gives it its manners.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/TimeWindow.h"
#include "host/inputs/Forms.h"
#include "host/live/DeviceList.h"
#include "host/live/Hidraw.h"
#include "host/live/Names.h"
#include "python/native/Library.h"
#include "python/native/ReportMaker.h"
#include "python/native/Stream.h"
#include "python/native/Text.h"
#include "python/native/Values.h"

namespace py = pybind11;

namespace vesk::python {

namespace {

const host::InputForm* formNamed(const std::optional<std::string>& name) {
  if (!name) return nullptr;
  if (const auto* const form = host::inputFormNamed(*name)) return form;
  std::string known;
  for (const host::InputForm& form : host::inputForms())
    known.append(known.empty() ? "" : ", ").append(form.name);
  raiseValueError("form=" + *name + ": choose one of " + known);
}

using ColumnNames = std::map<std::string, std::vector<std::string>>;

host::ColumnChoice choiceOf(ColumnNames names) {
  host::ColumnChoice choice;
  for (auto& [decoder, columns] : names) choice.emplace(decoder, std::move(columns));
  return choice;
}

std::unique_ptr<Stream> makeStream(
    std::shared_ptr<const Library> library, const std::optional<std::string>& form,
    std::vector<std::uint32_t> reports, const py::object& type,
    const std::optional<std::pair<std::uint16_t, std::uint16_t>>& device,
    std::optional<std::uint8_t> endpoint, std::optional<std::int64_t> start,
    std::optional<std::int64_t> end, bool hostWrites, bool decimal, ColumnNames columns,
    py::object progress) {
  StreamSettings settings;
  settings.read.form = formNamed(form);
  settings.read.selection.ids = std::move(reports);
  settings.read.selection.type = typeNamed(type);
  if (device) settings.read.usb.device = {device->first, device->second};
  settings.read.usb.endpoint = endpoint;
  settings.read.selection.window = {start, end};
  settings.read.hostWrites = hostWrites;
  settings.decimal = decimal;
  settings.columns = choiceOf(std::move(columns));
  return std::make_unique<Stream>(std::move(library), std::move(settings), std::move(progress));
}

std::optional<std::chrono::milliseconds> milliseconds(std::optional<double> seconds) {
  if (!seconds) return std::nullopt;
  return std::chrono::milliseconds(static_cast<std::int64_t>(*seconds * 1000));
}

void openDevices(Stream& self, const std::vector<std::shared_ptr<NamedDevice>>& devices,
                 bool follow, bool wait, std::optional<double> every,
                 std::optional<double> duration) {
  self.openDevices(devices, {follow, wait, milliseconds(every), milliseconds(duration)});
}

/// A tuple a device: node, bus, vendor, product, name, serial number, how many known reports it
/// declares, why it can't be opened.
py::list devices(const Library& library) {
  host::Hidraw hidraw;
  py::list devices;
  for (const host::DeviceRow& row : host::surveyDevices(hidraw, library.known())) {
    const bool failed = row.failure != std::errc{};
    devices.append(py::make_tuple(
        asString(row.device.node),
        asString(host::busText(row.device)),
        row.device.vendor,
        row.device.product,
        asString(row.device.name),
        asString(row.device.serial),
        row.known,
        failed ? asString(std::make_error_code(row.failure).message()) : py::str("")));
  }
  return devices;
}

py::buffer_info bufferOf(const TableMemory& memory) {
  const host::Table& table = memory.table();
  return {const_cast<std::byte*>(table.rowAt(0)),
          1,
          "B",
          1,
          {static_cast<py::ssize_t>(table.rows() * table.rowSize())},
          {1},
          true};
}

PYBIND11_MODULE(_native, module) {
  importNumpy();
  module.doc() = "The host's library, for the package's own use.";
  module.attr("version") = VESK_HOST_VERSION;
  module.attr("folder") = VESK_PLUGIN_FOLDER;  // of libraries, as configured
  module.attr("multiarch") = VESK_MULTIARCH;   // its part that names the machine; may be empty

  module.def("forms", [] {
    py::list forms;
    for (const host::InputForm& form : host::inputForms())
      forms.append(py::make_tuple(asString(form.name), asString(form.description)));
    return forms;
  });
  py::class_<NamedDevice, std::shared_ptr<NamedDevice>>(module, "NamedDevice")
      .def_property_readonly("name", [](const NamedDevice& self) { return asString(self.name()); })
      .def("close", &NamedDevice::close);
  module.def("device_named", &deviceNamed);
  module.def("devices", &devices);
  module.def("moment", [](const std::string& text) { return host::momentFrom(text); });
  module.def("where", [](const std::string& source, const std::string& unit, std::uint64_t number) {
    return asString(whereText(source, unit, number));
  });

  py::class_<Library, std::shared_ptr<Library>>(module, "Library")
      .def(py::init<const std::string&>(), py::arg("path"))
      .def_property_readonly("path", [](const Library& self) { return asString(self.path()); })
      .def_property_readonly("version", &Library::version)
      .def("reports", &Library::reports)
      .def(
          "shapes",
          [](const Library& self, ColumnNames columns) {
            return self.shapes(choiceOf(std::move(columns)));
          },
          py::arg("columns"));

  py::class_<Decoder>(module, "Decoder")
      .def(py::init([](std::shared_ptr<Library> library, bool decimal) {
             return std::make_unique<Decoder>(std::move(library), decimal);
           }),
           py::arg("library"),
           py::arg("decimal"))
      .def("decode", &Decoder::decode, py::arg("data"), py::arg("type"))
      .def("lines", &Decoder::lines, py::arg("data"), py::arg("type"));

  py::class_<TableMemory>(module, "TableMemory", py::buffer_protocol()).def_buffer(&bufferOf);

  py::class_<Stream>(module, "Stream")
      .def(py::init(&makeStream),
           py::kw_only(),
           py::arg("library"),
           py::arg("form"),
           py::arg("reports"),
           py::arg("type"),
           py::arg("device"),
           py::arg("endpoint"),
           py::arg("start"),
           py::arg("end"),
           py::arg("host_writes"),
           py::arg("decimal"),
           py::arg("columns"),
           py::arg("progress"))
      .def("open_descriptor", &Stream::openDescriptor, py::arg("descriptor"), py::arg("name"))
      .def("open_bytes", &Stream::openBytes, py::arg("content"), py::arg("name"))
      .def("open_file", &Stream::openFile, py::arg("file"), py::arg("name"))
      .def("open_devices",
           &openDevices,
           py::arg("devices"),
           py::arg("follow"),
           py::arg("wait"),
           py::arg("every"),
           py::arg("duration"))
      .def("fill", &Stream::fill, py::arg("rows"), py::arg("seconds"))
      .def("take_remarks", &Stream::takeRemarks)
      .def_property_readonly("rows", &Stream::rows)
      .def("take", &Stream::take)
      .def("take_problems", &Stream::takeProblems)
      .def("next", &Stream::next);
}

}  // namespace

}  // namespace vesk::python
