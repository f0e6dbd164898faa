// Version reports: 0xD0, one version string; 0xD2, six version lines.

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "reports/decoder.h"
#include "text/utf8.h"

namespace vesk {

namespace {

/// The report ID, then text up to the first NUL.
struct VersionReport {
  u8 id;
  char text[1];
};
static_assert(sizeof(VersionReport) == layoutSize("parseVersion"));

/// The text of a report; none if it is not UTF-8.
std::optional<std::string_view> textOf(const char* report) {
  const std::string_view text = report + offsetof(VersionReport, text);
  if (!isUtf8(text)) return std::nullopt;
  return text;
}

/// Cuts the first line off `text`, and tells whether another follows.
bool nextLine(std::string_view& text, std::string_view& line) {
  const std::size_t end = text.find('\n');
  line = text.substr(0, end);
  if (end == std::string_view::npos) return false;
  text.remove_prefix(end + 1);
  return true;
}

LineList splitLines(std::string_view text) {
  const auto breaks = static_cast<std::size_t>(std::ranges::count(text, '\n'));
  LineList lines(breaks + 1, text.size() + 1);
  std::string_view line;
  while (nextLine(text, line)) lines.add(line);
  lines.add(line);
  return lines;
}

ReportObject versionObject(std::string_view text) {
  std::array<std::string_view, 6> line;
  for (std::size_t i = 0; i < line.size(); ++i)
    if (!nextLine(text, line[i]) && i + 1 < line.size())
      throw std::out_of_range("report 0xD2: the version text has " + std::to_string(i + 1) +
                              " lines, its object needs 6");
  return dictionary("PROJECT"_key = line[0],
                    "SDK"_key = line[1],
                    "TOOLCHAIN"_key = line[2],
                    "QOREX"_key = line[3],
                    "VENDOR"_key = line[4],
                    "ALGS"_key = line[5]);
}

}  // namespace

Result HIDReportVeskPlugin::parseVersion() {
  const auto text = textOf(report_buf());
  if (!useStrings()) return text ? Result(ReportObject(*text)) : Result();
  if (!text) throw std::invalid_argument("report 0xD0: the version text is not UTF-8");
  LineList lines(1, text->size() + 1);
  lines.add(*text);  // one line, whatever newlines it holds
  return lines;
}

Result HIDReportVeskPlugin::parseVersionExtended() {
  const auto text = textOf(report_buf());
  if (useStrings()) return text ? Result(splitLines(*text)) : Result();
  if (!text) throw std::invalid_argument("report 0xD2: the version text is not UTF-8");
  return versionObject(*text);
}

}  // namespace vesk
