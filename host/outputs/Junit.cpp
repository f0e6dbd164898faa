#include "host/outputs/Junit.h"

#include <algorithm>
#include <string_view>

#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

/// Text that XML 1.0 can hold, as an attribute and as content. Control characters are escaped as in
/// messages; U+FFFE and U+FFFF, the last two of the characters that it has no place for, are told so,
/// too.
std::string escaped(std::string_view text) {
  std::string result;
  const std::string plain = printable(text);
  for (std::string_view rest = plain; !rest.empty();) {
    if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) {
      result += rest[2] == '\xBE' ? "\\ufffe" : "\\uffff";
      rest.remove_prefix(3);
      continue;
    }
    switch (rest.front()) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += rest.front();
    }
    rest.remove_prefix(1);
  }
  return result;
}

std::string attribute(std::string_view name, std::string_view value) {
  return " " + std::string(name) + "=\"" + escaped(value) + "\"";
}

std::string counts(std::size_t tests, std::size_t failures, std::size_t skipped) {
  return attribute("tests", std::to_string(tests)) +
         attribute("failures", std::to_string(failures)) + attribute("errors", "0") +
         attribute("skipped", std::to_string(skipped));
}

/// What a person reads who has opened a failure.
std::string details(const LimitResult& result, const std::string& file) {
  std::string text = describe(file, result.place.value_or(Place{})) + ": " + nameOf(result) + " " +
                     fullComplaint(result);
  if (!result.limits.empty()) text += "; limits " + result.limits;
  return text;
}

}  // namespace

bool JunitOutput::writeVerdict(const Verdict& verdict) {
  _title = verdict.title;
  for (const PanelResults& panel : verdict.panels) addSuite(verdict, panel);
  return true;
}

void JunitOutput::addSuite(const Verdict& verdict, const PanelResults& panel) {
  using enum LimitResult::Outcome;
  const auto count = [&](LimitResult::Outcome outcome) {
    return static_cast<std::size_t>(
        std::ranges::count(panel.tests, outcome, &LimitResult::outcome));
  };
  _tests += panel.tests.size();
  _failures += count(Failed);
  _skipped += count(Skipped);
  _suites += "  <testsuite" + attribute("name", verdict.nameOf(panel)) +
             counts(panel.tests.size(), count(Failed), count(Skipped)) + ">\n";
  if (!panel.serial.empty())
    _suites += "    <properties><property name=\"serial\"" + attribute("value", panel.serial) +
               "/></properties>\n";
  for (const LimitResult& result : panel.tests) {
    const std::string ofReport = result.report + " " + result.decoder;
    _suites += "    <testcase" +
               attribute("classname", result.report.empty() ? "vesk-decode" : ofReport) +
               attribute("name", result.test);
    if (result.outcome == Passed) {
      _suites += "/>\n";
      continue;
    }
    _suites += ">";
    if (result.outcome == Skipped)
      _suites += "<skipped" + attribute("message", result.complaint) + "/>";
    else
      _suites += "<failure type=\"limit\"" + attribute("message", fullComplaint(result)) + ">" +
                 escaped(details(result, verdict.file)) + "</failure>";
    _suites += "</testcase>\n";
  }
  _suites += "  </testsuite>\n";
}

void JunitOutput::finish() {
  _sink.append("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites");
  if (!_title.empty()) _sink.append(attribute("name", _title));
  _sink.append(counts(_tests, _failures, _skipped) + ">\n" + _suites + "</testsuites>\n");
}

}  // namespace vesk::host
