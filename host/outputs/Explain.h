/// A table for each report: which byte shows up in which line, and under which key.
///
///     # a.hid:9, 12.5 s, report 0xDF (feature), parseWatchDogReport, 25 bytes
///     OFFSET  BYTES                    LINE                               KIND  KEY = VALUE
///     0       df                       report ID
///     1..4    ee 8f 00 00              Feed Count:36846                   u32   Count = 36846
///     5..12   20 73 9f db 00 00 00 00  Feed Timestamp:0x00000000DB9F7320  i64   Timestamp = ...
#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/Value.h"
#include "host/layout/LayoutMap.h"
#include "host/outputs/Output.h"

namespace vesk::host {

/// The map of a kind is made of the first report of it. It is made again where it doesn't fit: for
/// a report of another length, or a text whose lines end elsewhere.
class ExplainOutput final : public DecodingOutput {
 public:
  explicit ExplainOutput(const OutputContext& context)
      : DecodingOutput(context),
        _plugin(context.plugin),
        _sink(context.sink),
        _elements(context.elements),
        _colours(context.colours) {}

  void beginFile(std::string_view name) override { _file = name; }

 private:
  /// What a kind's map was made of, as far as it decides whether the map fits.
  struct Known {
    std::string shape;
    LayoutMap map;
    std::vector<LayoutField> fields;  // its fields as they are shown
  };

  bool tellsDirection() const override { return true; }
  void writeChecked(const Report& report, const ReportInfo& info) override;
  const Known& knownOf(const Report& report, const ReportInfo& info,
                       const std::vector<std::string>& lines, const std::vector<Field>& values);

  Plugin& _plugin;
  Sink& _sink;
  bool _elements;
  bool _colours;
  std::string _file;
  std::map<const ReportInfo*, Known> _known;
};

}  // namespace vesk::host
