/// Which bytes of reports say what, found out once for reports of the same shape.
#pragma once

#include <map>
#include <string>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/Report.h"
#include "host/layout/LayoutMap.h"
#include "viewer/native/calls/Shown.h"

namespace vesk::viewer {

/// A map that says nothing but why.
host::LayoutMap noLayout(const char* why);

class Layouts {
 public:
  /// The map of a report that is shown, which a map of other contents may not fit. It stays until
  /// the next call.
  const host::LayoutMap& mapOf(host::Plugin& plugin, const host::Report& report,
                               const host::ReportInfo& info, const Shown& shown);

 private:
  /// The map of the report that was looked at last; the next one mostly has its shape.
  struct Known {
    std::string shape;
    host::LayoutMap map;
  };

  std::map<const host::ReportInfo*, Known> _known;
};

}  // namespace vesk::viewer
