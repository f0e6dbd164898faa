/// The plug-in, loaded, and what can be asked of it without an input.
#pragma once

#include <pybind11/pybind11.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/columns/Columns.h"

namespace vesk::python {

class Library {
 public:
  /// Raises ImportError if there is no plug-in that fits at `path`.
  explicit Library(const std::string& path);

  const host::KnownReports& known() const { return _known; }
  host::Plugin makePlugin(bool decimal) const;

  std::string path() const { return _library.path(); }
  std::string version() const { return _library.api().plugin_version; }

  /// A tuple a report: ID, type, decoder, length, whether that is the only length, whether it is text.
  pybind11::list reports() const;

  /// The columns of each decoder's table, as columnsOf() has them, and the size of a row: learned
  /// by decoding a report of each that says nothing. Of a decoder that refuses such a one only the columns
  /// of every table are known.
  pybind11::dict shapes(const host::ColumnChoice& choice) const;

 private:
  host::PluginLibrary _library;
  host::KnownReports _known;
};

/// A tuple a column: name, kind, count, whether it is an array, whether it is text, offset.
pybind11::list columnsOf(const host::Table& table);

/// One report, whatever it comes from.
class Decoder {
 public:
  Decoder(std::shared_ptr<const Library> library, bool decimal);
  ~Decoder();

  /// As Stream::next() gives it. The type may be None where the ID tells it. Raises ValueError for
  /// what can't be decoded.
  pybind11::tuple decode(const pybind11::bytes& data, const pybind11::object& type);

  /// A report's lines.
  pybind11::list lines(const pybind11::bytes& data, const pybind11::object& type);

 private:
  class Lines;
  const std::shared_ptr<const Library> _library;
  host::Plugin _plugin;
  std::unique_ptr<class ReportMaker> _maker;
  std::unique_ptr<Lines> _lines;
};

/// The type of this name; none for None. Raises ValueError for others.
std::optional<host::ReportType> typeNamed(const pybind11::object& name);

}  // namespace vesk::python
