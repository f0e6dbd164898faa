#include "python/native/Stream.h"

#include <unistd.h>

#include <string_view>
#include <utility>
#include <variant>

#include "host/read/MemoryBytes.h"
#include "host/run/FileBytes.h"
#include "python/native/PythonBytes.h"
#include "python/native/Text.h"

namespace py = pybind11;

namespace vesk::python {

namespace {

host::Collector nowhere;  // what is decoded to values has no text

}  // namespace

/// One use at a time: another thread comes in while this one has given back the lock, and so does
/// a file object that asks the stream that is asking it.
class Stream::Use {
 public:
  explicit Use(Stream& stream) : _stream(stream) {
    if (stream._inUse) raiseValueError("it is being read already, by another thread");
    stream._inUse = true;
  }
  ~Use() { _stream._inUse = false; }
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;

 private:
  Stream& _stream;
};

Stream::Stream(std::shared_ptr<const Library> library, StreamSettings settings, py::object progress)
    : _library(std::move(library)),
      _settings(std::move(settings)),
      _plugin(_library->makePlugin(_settings.decimal)),
      _pulse(std::move(progress)) {
  const host::OutputContext context{_plugin, _library->known(), nowhere};
  _columns = std::make_unique<host::Columns>(context, _settings.columns);
  _maker = std::make_unique<ReportMaker>(context);
}

Stream::~Stream() = default;

/// Opens what make() makes. It may wait for the first bytes, and fail on them.
template <class Make>
void Stream::open(const std::string& name, Make make) {
  close();
  _pulse.begin();
  _someFound = false;
  beginSource(name);
  try {
    _bytes = make();
    const py::gil_scoped_release others;
    _reader = std::make_unique<host::Reader>(*_bytes, _library->known(), _settings.read);
  } catch (const host::InputFault& fault) {
    close();
    raiseValueError(_name + ": " + fault.what());
  } catch (...) {
    close();
    throw;
  }
}

void Stream::beginSource(const std::string& name) {
  _name = name;
  _source = asString(name);
  _columns->beginFile(name);
}

void Stream::close() {
  if (_live) {
    for (const std::string& remark : _live->takeRemarks()) _remarks.append(asString(remark));
    const py::gil_scoped_release others;  // it waits for its threads
    _live.reset();
  }
  _reader.reset();
  _bytes.reset();
  _content = py::object();
}

void Stream::openDescriptor(int descriptor, const std::string& name) {
  const auto beforeRead = [this](const host::FileBytes& file, bool wouldWait) {
    _pulse.read(file.bytesRead());
    return wouldWait ? std::optional(Pulse::Clock::now() + Pulse::kInterval) : std::nullopt;
  };
  const Use use(*this);
  open(name, [&] { return std::make_unique<host::FileBytes>(descriptor, beforeRead); });
}

void Stream::openBytes(const py::buffer& content, const std::string& name) {
  const Use use(*this);
  auto view = py::reinterpret_steal<py::object>(PyMemoryView_FromObject(content.ptr()));
  if (!view) throw py::error_already_set();
  const Py_buffer& buffer = *PyMemoryView_GET_BUFFER(view.ptr());
  if (PyBuffer_IsContiguous(&buffer, 'C') == 0)
    raiseValueError(name + ": its bytes don't lie one after another in memory");
  const std::string_view bytes(static_cast<const char*>(buffer.buf),
                               static_cast<std::size_t>(buffer.len));
  open(name, [&] {
    return std::make_unique<host::MemoryBytes>(bytes,
                                               [this](std::uint64_t read) { _pulse.read(read); });
  });
  _content = std::move(view);
}

void Stream::openFile(const py::object& file, const std::string& name) {
  const Use use(*this);
  open(name, [&] { return std::make_unique<PythonBytes>(file, _pulse); });
}

void Stream::openDevices(const std::vector<std::shared_ptr<NamedDevice>>& devices,
                         const LiveOptions& options) {
  const Use use(*this);
  close();
  _pulse.begin();
  _someFound = false;
  _devices = devices.size();
  beginSource(devices.size() == 1 ? devices.front()->name() : std::string());
  _live = std::make_unique<LiveFeed>(devices, options, _settings.read, _library->known(), _pulse);
}

/// The same of live devices, whose names come with their items.
host::Item Stream::nextOfDevices() {
  host::Item item = _live->next();
  if (_live->name() != _name && !std::holds_alternative<host::End>(item)) {
    const py::gil_scoped_acquire lock;
    beginSource(std::string(_live->name()));
  }
  return item;
}

/// The next item of the input, without the lock. After a failure there is none any more: what an
/// input has understood halfway is not to be gone on with.
host::Item Stream::nextItem() {
  if (_live) return nextOfDevices();
  if (!_reader) return host::End{};
  host::Item item = _reader->next();
  _pulse.item();
  if (_reader->untimed() != 0)
    throw py::value_error(_name +
                          ": it has reports without a time, which start= and end= can't judge");
  return item;
}

/// What can't be read at all is an error of its own. Where something was read before, the problem is
/// one among others, so that what was read is not lost.
void Stream::refuseWhole(const host::Problem& problem) {
  if (!problem.endsInput() || _someFound || (_live && _devices > 1)) return;
  const std::string message = host::describe(_name, problem.place) + ": " + problem.message;
  const bool isDevice = _live != nullptr;
  close();
  if (!isDevice) raiseValueError(message);
  PyErr_SetObject(PyExc_OSError, asString(message).ptr());
  throw py::error_already_set();
}

void Stream::keep(const host::Problem& problem) {
  ++_problemCounts[static_cast<std::size_t>(problem.code)];
  if (_problems.size() >= kKeptProblems) return;
  const py::gil_scoped_acquire lock;
  _problems.push_back({problem, _source});
}

bool Stream::fill(std::size_t rows, std::optional<double> seconds) {
  const Use use(*this);
  std::optional<Pulse::Clock::time_point> end;
  if (seconds)
    end = Pulse::Clock::now() + std::chrono::duration_cast<Pulse::Clock::duration>(
                                    std::chrono::duration<double>(*seconds));
  const auto isOver = [&] {
    return _columns->rows() >= rows ||
           (end && _columns->rows() != 0 && Pulse::Clock::now() >= *end);
  };
  bool ended = false;
  try {
    const py::gil_scoped_release others;
    while (!isOver()) {
      if (_live) _live->setDeadline(_columns->rows() != 0 ? end : std::nullopt);
      const host::Item item = nextItem();
      if (const auto* report = std::get_if<host::Report>(&item)) {
        if (const auto problem = _columns->write(*report, info())) keep(*problem);
      } else if (const auto* problem = std::get_if<host::Problem>(&item)) {
        if (problem->endsInput() && !_someFound) {
          const py::gil_scoped_acquire lock;
          refuseWhole(*problem);
        }
        keep(*problem);
      } else if (!_live || !_live->isLate()) {
        ended = true;
        break;
      }
      _someFound = true;
    }
  } catch (...) {
    close();
    throw;
  }
  if (!ended) return true;
  close();
  _pulse.finish();
  return false;
}

py::object Stream::next() {
  const Use use(*this);
  try {
    host::Item item;
    if (_live) _live->setDeadline(std::nullopt);
    {
      const py::gil_scoped_release others;
      item = nextItem();
    }
    if (const auto* report = std::get_if<host::Report>(&item)) {
      _someFound = true;
      const host::ReportInfo* const known = info();
      if (const auto problem = _maker->write(*report, known))
        return problemTuple(*problem, _source);
      return reportTuple(*report, *known, _maker->takeValue(), _source);
    }
    if (const auto* problem = std::get_if<host::Problem>(&item)) {
      refuseWhole(*problem);
      _someFound = true;
      return problemTuple(*problem, _source);
    }
  } catch (...) {
    close();
    throw;
  }
  close();
  _pulse.finish();
  return py::none();
}

py::tuple Stream::take() {
  const Use use(*this);
  host::Tables taken = _columns->take();
  py::dict tables;
  for (auto& [decoder, table] : taken.byDecoder) {
    py::list columns = columnsOf(*table);
    const std::size_t rowSize = table->rowSize();
    const std::size_t rows = table->rows();
    tables[asString(decoder)] =
        py::make_tuple(columns, rowSize, rows, std::make_unique<TableMemory>(std::move(table)));
  }
  py::list texts(taken.texts->count());
  for (std::size_t i = 0; i < taken.texts->count(); ++i)
    texts[i] = asString(taken.texts->text(static_cast<std::uint32_t>(i)));
  return py::make_tuple(tables, texts);
}

py::list Stream::takeRemarks() {
  const Use use(*this);
  py::list remarks;
  if (_live)
    for (const std::string& remark : _live->takeRemarks()) _remarks.append(asString(remark));
  return std::exchange(_remarks, py::list());
}

py::tuple Stream::takeProblems() {
  const Use use(*this);
  py::list problems;
  for (const Kept& kept : _problems) problems.append(problemTuple(kept.problem, kept.source));
  py::dict counts;
  for (std::size_t i = 0; i < _problemCounts.size(); ++i)
    if (_problemCounts[i] != 0)
      counts[asString(host::nameOf(static_cast<host::ProblemCode>(i)))] = _problemCounts[i];
  _problems.clear();
  _problemCounts = {};
  return py::make_tuple(problems, counts);
}

}  // namespace vesk::python
