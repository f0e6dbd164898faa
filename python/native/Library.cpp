#include "python/native/Library.h"

#include <utility>
#include <vector>

#include "host/columns/Columns.h"
#include "python/native/ReportMaker.h"
#include "python/native/Text.h"
#include "python/native/Values.h"

namespace py = pybind11;

namespace vesk::python {

namespace {

host::PluginLibrary load(const std::string& path) {
  try {
    return host::PluginLibrary(path);
  } catch (const host::PluginFault& fault) {
    PyErr_SetObject(PyExc_ImportError, asString(fault.what()).ptr());
    throw py::error_already_set();
  }
}

/// A report that says nothing, and that its decoder takes: zeros, or for text as many lines as any
/// text report has.
std::vector<std::uint8_t> emptyReport(const host::ReportInfo& info) {
  constexpr std::size_t kLines = 64;
  std::vector<std::uint8_t> bytes(info.smallest);
  if (info.nulTerminated) {
    bytes.assign(1 + 2 * kLines + 1, '\n');
    for (std::size_t i = 1; i < bytes.size(); i += 2) bytes[i] = '0';
    bytes.back() = 0;
  }
  bytes.at(0) = static_cast<std::uint8_t>(info.id);
  return bytes;
}

host::Collector nowhere;  // what is decoded to values has no text

host::Report reportOf(const std::string& data, const host::ReportInfo* info) {
  host::Report report;
  report.bytes = {reinterpret_cast<const std::uint8_t*>(data.data()), data.size()};
  if (info != nullptr) report.type = info->type;
  return report;
}

}  // namespace

Library::Library(const std::string& path)
    : _library(load(path)), _known(makePlugin(false).reports()) {}

host::Plugin Library::makePlugin(bool decimal) const {
  std::vector<std::string> arguments;
  if (decimal) arguments.emplace_back("-decimal");
  return {_library, arguments};
}

py::list Library::reports() const {
  py::list reports;
  for (const host::ReportInfo& info : _known.all())
    reports.append(py::make_tuple(info.id,
                                  asString(host::nameOf(info.type)),
                                  asString(info.decoder),
                                  info.smallest,
                                  info.exactLength,
                                  info.nulTerminated));
  return reports;
}

py::list columnsOf(const host::Table& table) {
  py::list columns;
  for (const host::Column& column : table.columns())
    columns.append(py::make_tuple(asString(column.name),
                                  column.kind,
                                  column.count,
                                  column.isArray,
                                  column.isText,
                                  column.offset));
  return columns;
}

py::dict Library::shapes(const host::ColumnChoice& choice) const {
  host::Plugin plugin = makePlugin(false);
  host::Columns columns({plugin, _known, nowhere}, choice);
  for (const host::ReportInfo& info : _known.all()) {
    const std::vector<std::uint8_t> bytes = emptyReport(info);
    host::Report report;
    report.bytes = bytes;
    report.type = info.type;
    columns.write(report, &info);
  }
  const host::Tables taken = columns.take();
  const host::Table unknown({});
  py::dict shapes;
  for (const host::ReportInfo& info : _known.all()) {
    const auto found = taken.byDecoder.find(info.decoder);
    const host::Table& table = found == taken.byDecoder.end() ? unknown : *found->second;
    shapes[asString(info.decoder)] = py::make_tuple(columnsOf(table), table.rowSize());
  }
  return shapes;
}

std::optional<host::ReportType> typeNamed(const py::object& name) {
  if (name.is_none()) return std::nullopt;
  const auto text = py::cast<std::string>(name);
  const auto type = host::reportTypeNamed(text);
  if (!type) raiseValueError("type=" + text + ": choose one of input, output, feature");
  return type;
}

/// Decodes to lines, with the interpreter's lock.
class Decoder::Lines final : public host::DecodingOutput {
 public:
  explicit Lines(const host::OutputContext& context) : DecodingOutput(context) {}

  py::list take() { return std::move(_lines); }

 private:
  void writeChecked(const host::Report& /*report*/, const host::ReportInfo& info) override {
    LineBuilder builder;
    decodeLines(info).visit(builder);
    _lines = builder.take();
  }

  py::list _lines;
};

Decoder::Decoder(std::shared_ptr<const Library> library, bool decimal)
    : _library(std::move(library)),
      _plugin(_library->makePlugin(decimal)),
      _maker(
          std::make_unique<ReportMaker>(host::OutputContext{_plugin, _library->known(), nowhere})),
      _lines(std::make_unique<Lines>(host::OutputContext{_plugin, _library->known(), nowhere})) {}

Decoder::~Decoder() = default;

namespace {

/// Writes the report that `data` holds to `output`; what is known of it. Raises ValueError.
const host::ReportInfo& writeTo(host::Output& output, const host::KnownReports& known,
                                const std::string& data, const py::object& type) {
  if (const auto problem = host::checkSize({}, data.size())) raiseValueError(problem->message);
  const auto id = static_cast<std::uint8_t>(data.front());
  const host::ReportInfo* const info = known.find(id, typeNamed(type));
  host::Report report = reportOf(data, info);
  if (info == nullptr) report.type = typeNamed(type);
  if (const auto problem = output.write(report, info)) raiseValueError(problem->message);
  return *info;
}

}  // namespace

py::tuple Decoder::decode(const py::bytes& data, const py::object& type) {
  const auto content = py::cast<std::string>(data);
  const host::ReportInfo& info = writeTo(*_maker, _library->known(), content, type);
  return reportTuple(reportOf(content, &info), info, _maker->takeValue(), py::str(""));
}

py::list Decoder::lines(const py::bytes& data, const py::object& type) {
  writeTo(*_lines, _library->known(), py::cast<std::string>(data), type);
  return _lines->take();
}

}  // namespace vesk::python
