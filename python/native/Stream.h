/// Inputs as Python reads them: report by report, or as tables.
#pragma once

#include <pybind11/pybind11.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/columns/Columns.h"
#include "host/read/Reader.h"
#include "python/native/Library.h"
#include "python/native/LiveFeed.h"
#include "python/native/Pulse.h"
#include "python/native/ReportMaker.h"

namespace vesk::python {

/// What is kept of a table when the reader that filled it goes on, or is gone.
class TableMemory {
 public:
  explicit TableMemory(std::unique_ptr<host::Table> table) : _table(std::move(table)) {}
  const host::Table& table() const { return *_table; }

 private:
  std::unique_ptr<host::Table> _table;
};

/// How inputs are read.
struct StreamSettings {
  host::ReadSettings read;
  bool decimal = false;
  host::ColumnChoice columns;
};

/// Inputs, one after another. All of its members need the interpreter's lock, and give it back
/// while they wait or decode into tables; one that is called meanwhile by another thread raises
/// ValueError.
class Stream {
 public:
  Stream(std::shared_ptr<const Library> library, StreamSettings settings,
         pybind11::object progress);
  ~Stream();

  /// Begins an input, behind which the one before it is gone. They raise ValueError if it can't be
  /// read at all, with its name in front. The descriptor is the stream's from here on.
  void openDescriptor(int descriptor, const std::string& name);
  void openBytes(const pybind11::buffer& content, const std::string& name);
  void openFile(const pybind11::object& file, const std::string& name);

  /// The same with live devices, all of them at once: what comes has the device's name.
  void openDevices(const std::vector<std::shared_ptr<NamedDevice>>& devices,
                   const LiveOptions& options);

  /// Decodes into the tables until they have `rows` rows together, or some and `seconds` are over;
  /// false at the end of the input. A file is not left while it is waited for.
  bool fill(std::size_t rows, std::optional<double> seconds);

  /// Rows in all tables.
  std::size_t rows() const { return _columns->rows(); }

  /// Hands over what fill() has decoded: a tuple of a dict and a list. The dict has a tuple a
  /// decoder, of its columns, the size of a row, the number of rows and the memory; the list has
  /// the texts that numbers in the tables stand for.
  pybind11::tuple take();

  /// Hands over the problems that fill() has met: a list of those that are kept, and a dict of how
  /// many there were of each code.
  pybind11::tuple takeProblems();

  /// Hands over what people should know of how devices are read.
  pybind11::list takeRemarks();

  /// The next report or problem, as reportTuple() and problemTuple() have it; None at the end of
  /// the input.
  pybind11::object next();

 private:
  class Use;
  struct Kept {
    host::Problem problem;
    pybind11::object source;
  };

  // So many problems are kept, and the others only counted: of a file that is something else, every
  // line is one.
  static constexpr std::size_t kKeptProblems = 10'000;

  template <class Make>
  void open(const std::string& name, Make make);
  void close();
  host::Item nextItem();
  host::Item nextOfDevices();
  const host::ReportInfo* info() const { return _live ? _live->info() : _reader->info(); }
  void beginSource(const std::string& name);
  void refuseWhole(const host::Problem& problem);
  void keep(const host::Problem& problem);

  const std::shared_ptr<const Library> _library;
  const StreamSettings _settings;
  host::Plugin _plugin;
  Pulse _pulse;
  std::unique_ptr<host::Columns> _columns;
  std::unique_ptr<ReportMaker> _maker;
  std::string _name;                      // of the input
  pybind11::object _source;               // the same for Python
  pybind11::object _content;              // what an input in memory is read from
  std::unique_ptr<host::Bytes> _bytes;    // null behind the end
  std::unique_ptr<host::Reader> _reader;  // reads them
  std::unique_ptr<LiveFeed> _live;        // instead of both
  std::size_t _devices = 0;               // that it reads
  bool _someFound = false;                // in the input, be they good or bad
  std::vector<Kept> _problems;
  std::array<std::uint64_t, host::kProblemCodes> _problemCounts{};
  pybind11::list _remarks;
  bool _inUse = false;
};

}  // namespace vesk::python
