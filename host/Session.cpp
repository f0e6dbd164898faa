#include "host/Session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <variant>

#include "host/Signals.h"
#include "host/outputs/Csv.h"
#include "host/outputs/Json.h"
#include "host/outputs/Recording.h"
#include "host/outputs/Text.h"

namespace vesk::host {

namespace {

TextOutput::Headers headersFor(const Options& options, const Writer& writer) {
  if (!options.headers) return TextOutput::Headers::None;
  return wantsColours(options.colour, writer.descriptor()) ? TextOutput::Headers::Coloured
                                                           : TextOutput::Headers::Plain;
}

std::unique_ptr<Output> makeOutput(const Options& options, Plugin& plugin, const ReportTable& table,
                                   Writer& writer) {
  switch (options.outputForm) {
    case OutputForm::Text:
      return std::make_unique<TextOutput>(plugin, table, writer, headersFor(options, writer));
    case OutputForm::NdJson:
      return std::make_unique<JsonOutput>(plugin, table, writer, JsonOutput::Framing::Lines,
                                          options.lines);
    case OutputForm::Json:
      return std::make_unique<JsonOutput>(plugin, table, writer, JsonOutput::Framing::Array,
                                          options.lines);
    case OutputForm::Csv:
      return std::make_unique<CsvOutput>(plugin, table, writer);
    case OutputForm::Recording:
      return std::make_unique<RecordingOutput>(table, writer);
  }
  return nullptr;
}

}  // namespace

bool wantsColours(ColourChoice choice, int descriptor) {
  if (choice != ColourChoice::Auto) return choice == ColourChoice::Always;
  const char* const refused = std::getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && isatty(descriptor) != 0;
}

Session::Session(const Options& options, Plugin& plugin, const ReportTable& table, Writer& writer,
                 Messages& messages)
    : _options(options),
      _table(table),
      _writer(writer),
      _messages(messages),
      _output(makeOutput(options, plugin, table, writer)) {}

int Session::run() {
  for (const std::string& file : _options.files) {
    if (interrupted()) break;
    decodeFile(file);
  }
  finish();
  if (_someUnreadable) return kCannotReadOrWrite;
  return _someRefused ? kSomeRefused : kAllDecoded;
}

void Session::decodeFile(const std::string& file) {
  _file = file;
  _output->beginFile(file);
  _statistics.beginFile(file);
  _messages.beginFile();
  try {
    FileBytes bytes(file, [this](const FileBytes& read, bool wait) { beforeRead(read, wait); });
    const auto input = open(bytes, file);
    decodeAll(*input);
  } catch (const InputFault& fault) {
    handle(problemAt({}, ProblemCode::UnreadableInput, fault.what()));
  }
  _messages.clear();
}

std::unique_ptr<Input> Session::open(FileBytes& bytes, const std::string& file) {
  const Form form = _options.inputForm ? *_options.inputForm : detectForm(bytes, _table);
  if (_options.verbose) _messages.tell(file, "read as " + std::string(infoOf(form).description));
  return openInput(form, bytes, _table, _options.usb);
}

void Session::decodeAll(Input& input) {
  for (;;) {
    Item item = input.next();
    if (interrupted() || std::holds_alternative<End>(item))
      return;  // what was cut off is no report
    if (auto* report = std::get_if<Report>(&item))
      handle(*report);
    else
      handle(std::get<Problem>(item));
  }
}

void Session::handle(Report& report) {
  const ReportKind* kind = _table.find(report.id(), report.type);
  if (kind != nullptr) report.type = kind->type;
  if (!wanted(report)) return;
  if (const auto problem = _output->write(report, kind))
    handle(*problem);
  else
    _statistics.count(report, kind);
}

void Session::handle(const Problem& problem) {
  (problem.endsInput() ? _someUnreadable : _someRefused) = true;
  _statistics.count(problem.code);
  _output->note(problem);
  if (isatty(_writer.descriptor()) != 0) _writer.flush();  // the message belongs behind it
  _messages.complain(describe(_file, problem.place), problem.message);
}

bool Session::wanted(const Report& report) const {
  if (_options.type && report.type != _options.type) return false;
  return _options.reports.empty() ||
         std::ranges::find(_options.reports, report.id()) != _options.reports.end();
}

/// While a pipe is silent its follower has everything that came through it.
void Session::beforeRead(const FileBytes& bytes, bool wouldWait) {
  if (wouldWait) _writer.flush();
  _messages.progress(bytes.bytesRead(), bytes.size(), _statistics.reports());
}

void Session::finish() {
  if (const std::string leftOut = _output->leftOut(); !leftOut.empty()) {
    _someRefused = true;
    _messages.complain("vesk-decode", leftOut);
  }
  const bool written = _options.statistics && _output->writeStatistics(_statistics);
  _output->finish();
  _writer.flush();
  if (_options.statistics && !written) _messages.show(_statistics.table());
}

}  // namespace vesk::host
