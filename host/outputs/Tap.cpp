#include "host/outputs/Tap.h"

#include <string>
#include <string_view>

#include "host/writing/JsonWriter.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

/// Text that is no directive, whatever a file's name or a serial number says.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char character : printable(text)) {
    if (character == '#' || character == '\\') result += '\\';
    result += character;
  }
  return result;
}

/// A member of a block of YAML. A string of JSON is one of YAML, too.
void appendMember(std::string& block, std::string_view name, std::string_view text) {
  if (text.empty()) return;
  JsonWriter json;
  json.string(printable(text));
  block.append("  ").append(name).append(": ").append(json.text()) += '\n';
}

void appendMember(std::string& block, std::string_view name, std::uint64_t number) {
  block.append("  ").append(name).append(": ").append(std::to_string(number)) += '\n';
}

}  // namespace

TapOutput::TapOutput(const OutputContext& context) : VerdictOutput(context), _sink(context.sink) {
  _sink.append("TAP version 14\n");
}

bool TapOutput::writeVerdict(const Verdict& verdict) {
  if (_tests == 0 && !verdict.title.empty()) _sink.append("# " + printable(verdict.title) + "\n");
  for (const PanelResults& panel : verdict.panels) {
    for (const LimitResult& result : panel.tests) {
      using enum LimitResult::Outcome;
      std::string line = result.outcome == Failed ? "not ok " : "ok ";
      line += std::to_string(++_tests) + " - " + escaped(verdict.nameOf(panel)) + ": " +
              escaped(nameOf(result));
      if (result.outcome == Skipped) line += " # SKIP " + escaped(result.complaint);
      _sink.append(line + "\n");
      if (result.outcome == Failed) writeDiagnostics(panel, result, verdict.file);
    }
  }
  return true;
}

void TapOutput::writeDiagnostics(const PanelResults& panel, const LimitResult& result,
                                 const std::string& file) {
  std::string block = "  ---\n";
  appendMember(block, "message", fullComplaint(result));
  appendMember(block, "severity", "fail");
  appendMember(block, "serial", panel.serial);
  appendMember(block, "decoder", result.decoder);
  appendMember(block, "value", result.value);
  appendMember(block, "unit", result.unit);
  appendMember(block, "limits", result.limits);
  if (!result.channels.empty()) {
    block += "  channels:\n";
    for (const std::size_t channel : result.channels)
      block.append("    - ").append(std::to_string(channel)) += '\n';
  }
  if (result.reports != 0) {
    appendMember(block, "reports", result.reports);
    appendMember(block, "failures", result.failures);
  }
  appendMember(block, "file", file);
  if (result.place) {
    const std::string_view unit = nameOf(result.place->unit);
    if (!unit.empty()) appendMember(block, unit, result.place->number);
  }
  _sink.append(block + "  ...\n");
}

void TapOutput::finish() { _sink.append("1.." + std::to_string(_tests) + "\n"); }

}  // namespace vesk::host
