#include "reports/blackbox/severity.h"

#include "plugin/HIDReportVeskPlugin.h"

namespace vesk {

void HIDReportVeskPlugin::errorLevelToString(unsigned char level, const char** levelStr) const {
  if (const char* const name = blackbox::severityName(level)) *levelStr = name;
}

}  // namespace vesk
