#include "host/run/Session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <variant>

#include "host/inputs/Compressed.h"
#include "host/run/Signals.h"

namespace vesk::host {

namespace {

// Starting a thread and filling the first batches must not take longer than it saves.
constexpr std::uint64_t kLargeFile = 4'000'000;

Headers headersFor(const Options& options, const DescriptorSink& sink) {
  if (!options.headers) return Headers::None;
  return wantsColours(options.colour, sink.descriptor()) ? Headers::Coloured : Headers::Plain;
}

}  // namespace

bool wantsColours(ColourChoice choice, int descriptor) {
  if (choice != ColourChoice::Auto) return choice == ColourChoice::Always;
  const char* const refused = std::getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && isatty(descriptor) != 0;
}

Session::Session(const Options& options, const PluginLibrary& library, Plugin& plugin,
                 const KnownReports& known, DescriptorSink& sink, Messages& messages)
    : _options(options),
      _library(library),
      _known(known),
      _sink(sink),
      _messages(messages),
      _output(makeOutput(plugin, sink)),
      _statistics(known) {}

std::unique_ptr<Output> Session::makeOutput(Plugin& plugin, Sink& sink) const {
  return _options.outputForm->make(
      {plugin, _known, sink, headersFor(_options, _sink), _options.lines});
}

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
    shareWork(bytes);
    const auto unpacked = decompressed(bytes);
    const auto input = open(unpacked ? *unpacked : bytes, file);
    decodeAll(*input);
  } catch (const InputFault& fault) {
    handle(problemAt({}, ProblemCode::UnreadableInput, fault.what()));
  }
  if (_jobs) _jobs->commitAll();
  _jobs.reset();
  _messages.clear();
}

/// Threads for a file that is worth them.
void Session::shareWork(const FileBytes& bytes) {
  const Threads threads = _options.outputForm->threads;
  if (threads == Threads::One) return;
  const bool large = bytes.size() && *bytes.size() >= kLargeFile;
  const unsigned unasked = threads == Threads::ForLargeFiles && large
                               ? std::min(2u, std::thread::hardware_concurrency())
                               : 1;
  const unsigned count = _options.jobs.value_or(unasked);
  if (count <= 1) return;
  const auto makePlugin = [this] { return Plugin(_library, _options.pluginArguments); };
  const auto makeFileOutput = [this](Plugin& plugin, Sink& sink) {
    auto output = makeOutput(plugin, sink);
    output->beginFile(_file);
    return output;
  };
  _jobs = std::make_unique<Jobs>(
      count, makePlugin, makeFileOutput, [this](const Jobs::Batch& batch) { commit(batch); });
}

std::unique_ptr<Input> Session::open(Bytes& bytes, const std::string& file) {
  const InputForm& form =
      _options.inputForm != nullptr ? *_options.inputForm : detectForm(bytes, _known);
  if (_options.verbose) _messages.tell(file, "read as " + std::string(form.description));
  return openInput(form, bytes, {_known, _options.usb});
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
  const ReportInfo* info = _known.find(report.id(), report.type);
  if (info != nullptr) report.type = info->type;
  if (!wanted(report)) return;
  if (_jobs)
    _jobs->add(report, info);
  else if (const auto problem = _output->write(report, info))
    tell(*problem);
  else
    _statistics.count(report, info);
}

void Session::handle(const Problem& problem) {
  if (_jobs) return _jobs->add(problem);
  _output->write(problem);
  tell(problem);
}

/// What a batch of reports came to goes the way that it goes from a single thread.
void Session::commit(const Jobs::Batch& batch) {
  std::size_t written = 0;
  const auto writeUpTo = [&](std::size_t end) {
    _sink.append(std::string_view(batch.text).substr(written, end - written));
    written = end;
  };
  for (const Jobs::Entry& entry : batch.entries) {
    if (entry.problem) {
      writeUpTo(entry.textEnd);
      tell(*entry.problem);
    } else {
      _statistics.count(entry.report, entry.info);
    }
  }
  writeUpTo(batch.text.size());
}

void Session::tell(const Problem& problem) {
  (problem.endsInput() ? _someUnreadable : _someRefused) = true;
  _statistics.count(problem.code);
  if (isatty(_sink.descriptor()) != 0) _sink.flush();  // the message belongs after it
  _messages.complain(describe(_file, problem.place), problem.message);
}

bool Session::wanted(const Report& report) const {
  if (_options.type && report.type != _options.type) return false;
  return _options.reports.empty() ||
         std::ranges::find(_options.reports, report.id()) != _options.reports.end();
}

/// While a pipe is silent its follower has everything that came through it.
void Session::beforeRead(const FileBytes& bytes, bool wouldWait) {
  if (wouldWait) {
    if (_jobs) _jobs->commitAll();
    _sink.flush();
  }
  _messages.progress(bytes.bytesRead(), bytes.size(), _statistics.reports());
}

void Session::finish() {
  if (const std::string leftOut = _output->leftOut(); !leftOut.empty()) {
    _someRefused = true;
    _messages.complain("vesk-decode", leftOut);
  }
  const bool written = _options.statistics && _output->writeStatistics(_statistics);
  _output->finish();
  _sink.flush();
  if (_options.statistics && !written) _messages.show(_statistics.table());
}

}  // namespace vesk::host
