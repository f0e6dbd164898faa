/// The reports of version 1, a way in a file. Each reads a report by its ID.
///
/// They stay together as they were first measured: what a compiler inlines of a library depends on
/// what else is in the file. Moved report by report, some ways took 0.6 and some 1.3 times as long,
/// and figures would no longer compare. A report that is added has a file of its own.
#pragma once

#include "bench/reference.h"

namespace reference {

Lines text(const char* report, Mode mode);
Lines fmtText(const char* report, Mode mode);
Object object(const char* report, Mode mode);
nlohmann::json dom(const char* report, Mode mode);

}  // namespace reference
