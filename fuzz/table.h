/// The report table that the inputs of a host work with: the plug-in's own.
#pragma once

#include "host/Plugin.h"
#include "host/ReportTable.h"

namespace vesk::fuzz {

inline const host::PluginLibrary& library() {
  static const host::PluginLibrary loaded{std::string(VESK_PLUGIN)};
  return loaded;
}

inline const host::ReportTable& table() {
  static const host::ReportTable made(host::Plugin(library(), {}).reportKinds());
  return made;
}

}  // namespace vesk::fuzz
