/// A file that is looked at: read once, in steps, from its beginning to its end, and from then on
/// here and there.
///
/// Of what it read it keeps an index and nothing else, so that memory doesn't grow with the file: a
/// report is read again from its file when somebody looks at it. Where a report's bytes are no part
/// of the file but made of its text, JavaScript keeps them (see Imports.h).
///
///     Capture capture(module, 1, "bench.pcap", nullptr);
///     capture.follow({{"parseVeskImage", {{"FRAME_NUMBER", "TEMPERATURE"}}}});
///     capture.reduce({"parseBaseline"});
///     while (!capture.ended()) capture.read(4 << 20, 8192);  // and show how far it is
///     capture.at(1000);
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "host/columns/Columns.h"
#include "host/inputs/Forms.h"
#include "host/outputs/Output.h"
#include "host/outputs/Statistics.h"
#include "viewer/native/Index.h"
#include "viewer/native/Module.h"
#include "viewer/native/Series.h"
#include "viewer/native/SourceBytes.h"
#include "viewer/native/Stream.h"

namespace vesk::viewer {

/// Decoders, and the keys of their reports that are wanted: all where none are said.
using Wanted = std::map<std::string, std::optional<std::vector<std::string>>, std::less<>>;

/// Rows of a decoder's reports, and the entry that each is of.
struct Rows {
  std::unique_ptr<host::Table> table;
  std::vector<std::uint32_t> entries;
};

/// By decoder.
using Tables = std::map<std::string, Rows, std::less<>>;

/// Tables, and the texts that numbers in them stand for.
struct Selected {
  std::unique_ptr<host::Texts> texts;
  Tables tables;
};

class Capture {
 public:
  /// `form` is null where the file's first bytes shall tell it. `module` must outlive this.
  Capture(Module& module, std::int32_t source, std::string name, const host::InputForm* form);

  /// One of reports that come from elsewhere, by add().
  Capture(Module& module, std::int32_t source, std::string name);

  /// What takeFollowed() is to give. Comes before the first report.
  void follow(Wanted wanted) { _wanted = std::move(wanted); }

  /// The decoders, others than those that are followed, that series() is to know. Comes before the
  /// first report.
  void reduce(const std::vector<std::string>& decoders);

  /// Reads on, up to about so many bytes of the file, and so many entries.
  void read(std::uint64_t bytes, std::size_t entries);

  void add(host::Report report);

  /// Something that stands where no report is.
  void add(const host::Problem& problem) { addFound(problem); }

  bool ended() const { return _ended; }

  /// How many bytes of the file were read.
  std::uint64_t position() const;

  /// Null until it is known.
  const host::InputForm* form() const { return _stream ? _stream->form() : nullptr; }

  const std::string& name() const { return _name; }
  Index& index() { return _index; }
  const host::Statistics& statistics() const { return _statistics; }

  /// What was followed of the reports that came since the last call, by their decoder.
  Tables takeFollowed();

  /// What all reports of a decoder so far come to; null if it isn't reduced.
  const Series* series(std::string_view decoder);

  /// An entry as it was found: a report, whose bytes are read again and stay until the next call,
  /// or the problem that stands in its place. Throws std::out_of_range, and host::InputFault if the
  /// file is gone.
  std::variant<host::Report, host::Problem> at(std::size_t number);

  /// What is known of a report that at() gave.
  const host::ReportInfo* infoOf(const host::Report& report) const;

  /// Columns of some of the entries: of those that are reports from a device which one of the
  /// wanted decoders reads.
  Selected columns(const Wanted& wanted, std::span<const std::uint32_t> entries);

 private:
  /// What is reduced of a decoder's reports, and who sent those whose rows are held.
  struct Reduced {
    Series series;
    std::vector<std::uint32_t> senders;
  };

  void readNext();
  void addFound(const host::Report& report, const host::ReportInfo* info);
  void addFound(const host::Problem& problem);
  host::Output& following();
  host::Output& reducing();
  void reduceHeld();
  std::uint64_t keep(std::span<const std::uint8_t> bytes);

  Module& _module;
  std::int32_t _source;
  std::string _name;
  std::optional<Stream> _stream;  // none of a live one
  SourcePieces _pieces;
  SourcePieces _keptPieces;
  std::uint64_t _kept = 0;  // bytes
  Index _index;
  host::Statistics _statistics;
  Wanted _wanted;
  std::unique_ptr<host::Columns> _columns;  // null until the first report came; decodes each once
  std::map<std::string, std::vector<std::uint32_t>, std::less<>> _followed;
  std::map<std::string, Reduced, std::less<>> _reduced;  // by decoder
  std::unique_ptr<host::Columns> _held;  // rows that are to be reduced; null before the first one
  bool _ended = false;
};

}  // namespace vesk::viewer
