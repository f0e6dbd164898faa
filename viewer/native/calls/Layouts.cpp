#include "viewer/native/calls/Layouts.h"

#include <utility>

namespace vesk::viewer {

host::LayoutMap noLayout(const char* why) {
  host::LayoutMap map;
  map.whyNot = why;
  return map;
}

const host::LayoutMap& Layouts::mapOf(host::Plugin& plugin, const host::Report& report,
                                      const host::ReportInfo& info, const Shown& shown) {
  Known& known = _known[&info];
  std::string shape = shapeOf(report.bytes, info);
  if (known.shape == shape && fits(known.map, shown.lineCount(), shown.fields())) return known.map;
  known.map = layoutOf(plugin, info, report.bytes);
  known.shape = std::move(shape);
  if (!fits(known.map, shown.lineCount(), shown.fields()))
    known.map = noLayout("its lines and keys change with its contents");
  return known.map;
}

}  // namespace vesk::viewer
