#include "host/inputs/Recording.h"

#include <algorithm>
#include <utility>

#include "host/inputs/Hex.h"
#include "host/inputs/Times.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

/// 'E' of "E: ...", or NUL if the line has no prefix.
char prefixOf(std::string_view line) { return line.size() >= 2 && line[1] == ':' ? line[0] : '\0'; }

}  // namespace

Item Recording::next() {
  if (std::exchange(_preambleUsed, false)) _preamble.clear();
  while (const auto line = _lines.next()) {
    const std::string_view text = trim(line->text);
    if (text.empty() || text.starts_with('#')) continue;
    switch (prefixOf(text)) {
      case 'E':
        return parseReport(*line, ReportType::Input);
      case 'O':
        return parseReport(*line, ReportType::Output);
      case 'F':
        return parseReport(*line, ReportType::Feature);
      case 'D':
      case 'R':
      case 'N':
      case 'P':
      case 'I':
        if (auto problem = keepForPreamble(*line)) return *problem;
        break;
      case '\0':
        return problemAt({Place::Unit::Line, line->number},
                         ProblemCode::BadRecording,
                         inQuotes(text) + " is no line of a recording: those begin like \"E: \"");
      default:
        break;
    }
  }
  return End{};
}

Item Recording::parseReport(const LineReader::Line& line, ReportType type) {
  Report report;
  report.type = type;
  report.place = {Place::Unit::Line, line.number};
  const auto bad = [&](ProblemCode code, std::string message) {
    Problem problem = problemAt(report.place, code, std::move(message));
    problem.reportType = type;
    return problem;
  };
  if (line.tooLong) return bad(ProblemCode::TooLong, "the line is longer than any report");

  std::string_view rest = trim(line.text).substr(2);
  const std::string_view time = takeWord(rest);
  report.microseconds = microsecondsFrom(time);
  if (!report.microseconds)
    return bad(ProblemCode::BadRecording, inQuotes(time) + " is no time in seconds.microseconds");
  const std::string_view lengthWord = takeWord(rest);
  const auto length = parseNumber<std::uint64_t>(lengthWord);
  if (!length) return bad(ProblemCode::BadRecording, inQuotes(lengthWord) + " is no length");

  _bytes.clear();
  if (const auto complaint = appendHex(rest, _bytes))
    return bad(ProblemCode::BadHex, "bad hex: " + *complaint);
  if (*length != _bytes.size()) {
    Problem problem =
        bad(ProblemCode::LengthMismatch,
            countedBytes(_bytes.size()) + ", and the line says " + std::to_string(*length));
    problem.expected = *length;
    problem.got = _bytes.size();
    return problem;
  }
  if (auto problem = checkSize(report.place, _bytes.size())) return *problem;
  report.bytes = _bytes;
  report.preamble = _preamble;
  _preambleUsed = true;
  return report;
}

/// Keeps a line on the device for whoever writes a recording. There are a handful of them; a file
/// of nothing else must not fill the memory.
std::optional<Problem> Recording::keepForPreamble(const LineReader::Line& line) {
  constexpr std::size_t kMost = std::size_t{64} * 1024;
  if (line.tooLong || _preamble.size() + line.text.size() > kMost)
    return problemAt({Place::Unit::Line, line.number},
                     ProblemCode::TooLong,
                     "too many or too long lines on the device");
  _preamble.append(line.text) += '\n';
  return std::nullopt;
}

bool Recording::begins(const TextHead& head, const KnownReports& /*known*/) {
  const char prefix = prefixOf(head.line);
  return prefix >= 'A' && prefix <= 'Z' && (head.line.size() == 2 || isBlank(head.line[2]));
}

}  // namespace vesk::host
