/// Which bits of a report move which parts of what it decodes to, found out by trying.
///
/// A report is decoded, some of its bits are changed, it is decoded again, and the lines and values
/// that differ are what those bits move. That is done in several contents of the report, since each
/// hides something: a number that is no number hides its payload, a level without a name the level
/// beside it, a sum its small parts. What is found in all of them is united.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"

namespace vesk::host {

/// What a decoder shows of a report comes in pieces with numbers: first the values of the object, in
/// its order, of an array each element; then the lines.
struct Pieces {
  static constexpr std::int32_t kString = -1;  // beside the vesk_kinds

  struct Value {
    std::string key;    // empty for a bare string
    std::int32_t kind;  // a vesk_kind, or kString
    bool isArray;
    std::size_t first;  // number of its first piece
    std::size_t count;  // of its pieces; 1 but for an array
  };

  std::vector<Value> values;
  std::size_t firstLine = 0;  // number of the first line's piece
  std::size_t lineCount = 0;
};

/// What was seen of a bit in any content.
struct BitEffect {
  std::vector<std::uint32_t> moved;  // pieces, ascending
  bool reshapes = false;             // other lines or other keys come and go with it
  bool refuses = false;              // the decoder refuses the report without it
};

struct ProbedReport {
  std::string whyNot;  // nothing was found out, since ...; empty: what follows was
  Pieces pieces;
  std::vector<BitEffect> bits;  // bit 0 is the lowest bit of byte 0, which is not tried
  std::vector<std::vector<std::string>> lines;  // of each content

  std::vector<std::uint8_t> text;  // of a text report, the one that gave its newlines and its NUL
};

/// Probes the report that `info` is about. `came` is one that came, or empty: then there are none
/// but made contents, and a text gets as many lines as its decoder wants. What is longer than the
/// layout is probed as far as the report reaches.
///
/// A content that the decoder refuses is replaced by one that it accepts and that is as near to it
/// as can be. Of a text, letters are replaced by letters, so that its lines stay its lines.
///
/// The instance's mode is another one afterwards. Throws PluginFault as Decoded::visit() does.
ProbedReport probe(Plugin& plugin, const ReportInfo& info, std::span<const std::uint8_t> came);

}  // namespace vesk::host
