/// The capture of --baseline: the last report of each kind in it.
#pragma once

#include <functional>
#include <string>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/Problem.h"
#include "host/changes/Tracker.h"

namespace vesk::host {

/// What is selected of a capture, and whom its problems are told to.
struct BaselineReader {
  Plugin& plugin;
  const KnownReports& known;
  std::function<bool(const Report&)> wanted;
  std::function<void(const Problem&)> tell;
  std::function<void(std::string_view form)> tellForm;
};

/// Reads a capture of any form, which its content tells; "-" is standard input. What the host sends
/// is passed over. Throws UsageFault if the capture can't be read, holds no report that decodes, or
/// has reports of one kind from several senders.
Baseline readBaseline(const std::string& file, const BaselineReader& reader);

}  // namespace vesk::host
