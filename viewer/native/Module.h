/// What all files of the page share: the plug-in, and what it knows.
#pragma once

#include "host/KnownReports.h"
#include "host/Plugin.h"

namespace vesk::viewer {

struct Module {
  host::PluginLibrary library{"the plug-in of this page", *vesk_plugin_entry};
  host::Plugin plugin{library, {}};
  host::KnownReports known{plugin.reports()};

  /// The row of a known report, from 1; 0 for null.
  std::uint8_t rowOf(const host::ReportInfo* info) const {
    return info == nullptr ? std::uint8_t{0}
                           : static_cast<std::uint8_t>(info - known.all().data() + 1);
  }
};

}  // namespace vesk::viewer
