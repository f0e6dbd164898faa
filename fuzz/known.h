/// The reports that the inputs and outputs of a host know: the plug-in's own.
#pragma once

#include "host/KnownReports.h"
#include "host/Plugin.h"

namespace vesk::fuzz {

inline const host::PluginLibrary& library() {
  static const host::PluginLibrary loaded{std::string(VESK_PLUGIN)};
  return loaded;
}

inline const host::KnownReports& known() {
  static const host::KnownReports made(host::Plugin(library(), {}).reports());
  return made;
}

}  // namespace vesk::fuzz
