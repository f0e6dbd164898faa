/// A file of limits: for decoders or report IDs, JSON Schemas of what their reports say. See
/// vesk-limits(5).
///
/// A limit that can't fail is worse than none. So nothing in the file is passed over: what isn't
/// understood, what the report doesn't have, and what its kind can't break or can't keep is refused.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/limits/KeyLimits.h"
#include "host/limits/LimitsFault.h"

namespace vesk::host {

/// The limits of one kind of report.
struct ReportLimits {
  const ReportInfo* info;
  bool optional;                // it may not come
  std::vector<KeyLimits> keys;  // in the order of its object
};

/// Where the serial number stands.
struct SerialKey {
  std::vector<const ReportInfo*> reports;
  std::string key;  // empty for a report that is one string
};

struct Limits {
  std::string title{};  // empty if there is none
  std::optional<SerialKey> serial{};
  std::vector<ReportLimits> reports{};
};

/// Reads the file at `path`. Which keys a report has, and of what kind, is asked of the plug-in.
/// Throws LimitsFault.
Limits loadLimits(const std::string& path, const KnownReports& known, Plugin& plugin);

/// The same of what such a file holds, under its name.
Limits parseLimits(std::string_view text, const std::string& name, const KnownReports& known,
                   Plugin& plugin);

}  // namespace vesk::host
