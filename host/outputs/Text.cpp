#include "host/outputs/Text.h"

#include "host/outputs/Origin.h"
#include "host/writing/Colour.h"

namespace vesk::host {

/// The plug-in's own printing costs more than its decoding: it hands every line to the C library.
/// Here its lines are taken as one block and framed as it frames them.
void TextOutput::writeChecked(const Report& report, const ReportInfo& info) {
  const Decoded lines = decodeLines(info);
  if (_headers != Headers::None || report.direction == Direction::ToDevice)
    writeHeader(report, info);
  _sink.append('\n');
  _sink.append(lines.text());
  _sink.append('\n');
}

void TextOutput::writeHeader(const Report& report, const ReportInfo& info) {
  std::string header = originLine(_file, report, info);
  if (_headers == Headers::Coloured) header = coloured(Colour::Cyan, header);
  _sink.appendControls(header);
  _sink.append('\n');
}

}  // namespace vesk::host
