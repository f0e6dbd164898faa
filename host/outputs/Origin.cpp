#include "host/outputs/Origin.h"

#include "host/outputs/Output.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

std::string originLine(std::string_view file, const Report& report, const ReportInfo& info) {
  std::string line = "# " + describe(printable(file), report.place);
  if (report.microseconds) line += ", " + secondsText(*report.microseconds) + " s";
  if (report.sender) line += ", " + describe(*report.sender);
  line += ", " + describe(report.id(), info.type) + ", " + printable(info.decoder) + ", " +
          countedBytes(report.bytes.size());
  if (report.direction == Direction::ToDevice) line += ", to the device";
  return line;
}

}  // namespace vesk::host
