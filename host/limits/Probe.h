/// What the object of a kind of report looks like, learnt from the plug-in itself.
#pragma once

#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/Value.h"

namespace vesk::host {

/// The fields of a report that nobody sent: their keys and kinds are those of every report of its
/// kind. Empty where it has no object; throws DecoderFault where no content that was tried decodes.
std::vector<Field> probe(Plugin& plugin, const ReportInfo& info);

}  // namespace vesk::host
