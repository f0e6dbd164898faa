#include "reports/openshort/mark_row.h"

#include "plugin/HIDReportVeskPlugin.h"
#include "text/format.h"

namespace vesk {

std::string HIDReportVeskPlugin::printOSTResult(const char* label, std::uint64_t result) const {
  return format::string<"%s %s">(label, MarkRow{result});
}

}  // namespace vesk
