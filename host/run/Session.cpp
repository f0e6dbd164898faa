#include "host/run/Session.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <system_error>
#include <utility>
#include <variant>

#include "host/inputs/Compressed.h"
#include "host/run/BaselineFile.h"
#include "host/run/Signals.h"

namespace vesk::host {

namespace {

// Starting a thread and filling the first batches must not take longer than it saves.
constexpr std::uint64_t kLargeFile = 4'000'000;

// Of a file that is something else, every line is an error, and says no more than the first ones.
constexpr std::uint64_t kShownProblems = 5;

Headers headersFor(const Options& options, const DescriptorSink& sink) {
  if (!options.headers) return Headers::None;
  return wantsColours(options.colour, sink.descriptor()) ? Headers::Coloured : Headers::Plain;
}

/// The terminal, for a form that draws on it. Throws UsageFault where there is none.
std::unique_ptr<TerminalCanvas> canvasFor(const Options& options, const DescriptorSink& sink,
                                          Messages& messages) {
  const OutputForm& form = *options.outputForm;
  if (form.needs != Needs::Terminal) return nullptr;
  if (isatty(sink.descriptor()) == 0)
    throw UsageFault("-o " + std::string(form.name) +
                     " draws on a terminal, and standard output is none");
  return std::make_unique<TerminalCanvas>(
      sink.descriptor(), wantsColours(options.colour, sink.descriptor()), messages);
}

/// The viewer's page, for a form that puts reports into it. Throws UsageFault, PageFault.
std::unique_ptr<ViewerPage> pageFor(const Options& options, const DescriptorSink& sink) {
  const OutputForm& form = *options.outputForm;
  if (form.needs != Needs::Page) return nullptr;
  if (isatty(sink.descriptor()) != 0)
    throw UsageFault("-o " + std::string(form.name) +
                     " writes a page for a browser, and standard output is a terminal; write it to "
                     "a file: > report.html");
  return std::make_unique<ViewerPage>(options);
}

}  // namespace

bool wantsColours(ColourChoice choice, int descriptor) {
  if (choice != ColourChoice::Auto) return choice == ColourChoice::Always;
  const char* const refused = std::getenv("NO_COLOR");
  return (refused == nullptr || *refused == '\0') && isatty(descriptor) != 0;
}

Session::Session(const Options& options, const PluginLibrary& library, Plugin& plugin,
                 const KnownReports& known, Limits* limits, DescriptorSink& sink,
                 Messages& messages)
    : _options(options),
      _library(library),
      _plugin(plugin),
      _known(known),
      _sink(sink),
      _messages(messages),
      _terminal(isatty(sink.descriptor()) != 0),
      _terminalSink(sink),
      _canvas(canvasFor(options, sink, messages)),
      _page(pageFor(options, sink)),
      _changeRules(changeRules()),
      _output(makeOutput(plugin, _terminal ? static_cast<Sink&>(_terminalSink) : sink)),
      _sieve(options, known),
      _statistics(known) {
  if (limits == nullptr) return;
  _testPlugin.emplace(library, options.pluginArguments);
  _tests = std::make_unique<LimitTests>(OutputContext{*_testPlugin, known, sink}, *limits);
}

std::unique_ptr<Output> Session::makeOutput(Plugin& plugin, Sink& sink) const {
  return _options.outputForm->make({.plugin = plugin,
                                    .known = _known,
                                    .sink = sink,
                                    .headers = headersFor(_options, _sink),
                                    .lines = _options.lines,
                                    .elements = _options.elements,
                                    .colours = wantsColours(_options.colour, _sink.descriptor()),
                                    .changes = _options.changes ? &_changeRules : nullptr,
                                    .canvas = _canvas.get(),
                                    .page = _page.get()});
}

/// How reports are compared. Throws UsageFault for IDs that can't be compared across.
ChangeRules Session::changeRules() {
  ChangeRules rules;
  if (_options.baseline) rules.baseline = &_baseline;
  for (const WantedReport& report : _options.across) {
    const ReportInfo* const info = _known.find(report.id, std::nullopt);
    const std::string option = "--across " + report.text;
    if (info == nullptr) throw UsageFault(option + ": no decoder reads it");
    if (std::ranges::find(rules.across, info) != rules.across.end())
      throw UsageFault(option + ": the ID is named twice");
    if (!rules.across.empty() && rules.across.front()->decoder != info->decoder)
      throw UsageFault(option + ": " + info->decoder + " reads it, and " +
                       rules.across.front()->decoder +
                       " reads the first one; reports are compared "
                       "that one decoder reads");
    rules.across.push_back(info);
  }
  if (rules.across.size() == 1)
    throw UsageFault("--across " + _options.across.front().text + ": it takes two IDs or more");
  rules.tell = [this](std::string_view where, std::string_view what) {
    _messages.tell(where, what);
  };
  rules.lacksBaseline = [this](const Report& report, const ReportInfo& info) {
    _lacksBaseline = true;
    _messages.complain(describe(_file, report.place),
                       describe(info.id, info.type) + ": the baseline, " + *_options.baseline +
                           ", has none; this one takes its place");
  };
  return rules;
}

/// Reads the capture of --baseline. Throws UsageFault.
void Session::takeBaseline() {
  const std::string& file = *_options.baseline;
  std::uint64_t problems = 0;
  const auto tellProblem = [&](const Problem& problem) {
    if (!_sieve.selection().has(problem)) return;
    _someRefused = true;
    if (++problems <= kShownProblems)
      _messages.complain(describe(file, problem.place), problem.message);
  };
  const auto tellForm = [&](std::string_view form) {
    if (_options.verbose) _messages.tell(file, "the baseline, read as " + std::string(form));
  };
  const auto isWanted = [this](const Report& report) { return _sieve.selection().has(report); };
  _baseline = readBaseline(file, {_plugin, _known, isWanted, tellProblem, tellForm});
  if (problems > kShownProblems)
    _messages.complain(
        file, std::to_string(problems - kShownProblems) + " more errors of it are not shown");
  for (const WantedReport& report : _options.reports)
    if (lacks(report) && !interrupted())
      throw UsageFault("--baseline " + file + ": it has no report " + report.text +
                       ", which --report asks for");
}

/// Whether the baseline has no report of an ID.
bool Session::lacks(const WantedReport& wanted) const {
  return std::ranges::none_of(_baseline,
                              [&](const auto& entry) { return entry.first->id == wanted.id; });
}

/// What the page shows is decoded by the plug-in that is part of it.
void Session::tellOtherPlugin() const {
  const std::string_view version = _library.api().plugin_version;
  if (!_page || version == _page->version()) return;
  _messages.tell("vesk-decode",
                 "the page decodes as version " + std::string(_page->version()) +
                     " does; the plug-in of this run, " + _library.path() + ", is of version " +
                     std::string(version));
}

int Session::run() {
  tellOtherPlugin();
  if (_options.baseline) takeBaseline();
  LiveRun live(_options, _known, _hidraw);
  for (const std::string& file : live.files()) {
    if (interrupted() || enough()) break;
    decodeFile(file);
  }
  if (live.hasDevices() && !interrupted() && !enough()) decodeLive(live);
  finish();
  if (_someUnreadable || _isRefused) return kCannotReadOrWrite;
  if (_lacksBaseline) return kBadUsage;
  if (_someRefused) return kSomeRefused;
  return _someLimitNotKept ? kLimitNotKept : kAllDecoded;
}

void Session::decodeFile(const std::string& file) {
  _file = file;
  _form = nullptr;
  _fileProblems = {};
  _fileReports = 0;
  _preamble.take();
  _output->beginFile(file);
  _statistics.beginFile(file);
  _messages.beginFile();
  if (_tests) _tests->beginFile(file);
  try {
    FileBytes bytes(file,
                    [this](const FileBytes& read, bool wait) { return beforeRead(read, wait); });
    shareWork(bytes);
    const auto unpacked = decompressed(bytes);
    const auto input = open(unpacked ? *unpacked : bytes, file);
    decodeAll(*input);
  } catch (const InputFault& fault) {
    handle(problemAt({}, ProblemCode::UnreadableInput, fault.what()));
  }
  if (_jobs) _jobs->commitAll();
  _jobs.reset();
  tellUnshown();
  judgeFile();
  _messages.clear();
}

/// Devices take one thread, beside those that read them: whoever follows one waits for each report.
void Session::decodeLive(LiveRun& run) {
  _file = run.firstDevice();
  _form = nullptr;
  _fileProblems = {};
  _output->beginFile(_file);
  _statistics.beginFile(_file);
  if (_tests) _tests->beginFile(_file);
  _live = run.begin([this](int descriptor, std::optional<Clock::time_point> until) {
    const auto again = _output->idle();
    _sink.flush();
    waitUntilReadable(descriptor, again && (!until || *again < *until) ? again : until);
    return !interrupted();
  });
  // A device sends on and on, and what is refused stays so.
  while (!interrupted() && !enough() && _output->refusal().empty()) {
    auto item = _live->next();
    if (!item) break;
    if (item->name != _file) {
      _file = item->name;
      _output->beginFile(_file);
    }
    if (auto* report = std::get_if<Report>(&item->what))
      handle(*report);
    else if (const auto* problem = std::get_if<Problem>(&item->what))
      handle(*problem);
    else
      tell(std::get<Remark>(item->what));
  }
  _live->stop();
  tellUnshown();
  judgeFile();
}

/// Threads for a file that is worth them.
void Session::shareWork(const FileBytes& bytes) {
  const Threads threads = _options.outputForm->threads;
  const bool inOne = _options.hostWrites || _options.changes || _options.count;
  if (threads == Threads::One || inOne || _terminal) return;
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
  _form = _options.inputForm != nullptr ? _options.inputForm : &detectForm(bytes, _known);
  if (_options.verbose)
    _messages.tell(file,
                   std::string("read as ")
                       .append(_form->description)
                       .append(_options.inputForm != nullptr ? ", as -i says" : howKnown(*_form)));
  return openInput(*_form, bytes, {_known, _options.usb});
}

void Session::decodeAll(Input& input) {
  while (!enough()) {
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
  if (!report.preamble.empty()) _preamble.keep(report.preamble);
  if (!_sieve.passes(report)) return;
  const std::string preamble = _preamble.take();
  report.preamble = preamble;
  if (report.direction == Direction::ToDevice) return handleToDevice(report, info);
  if (_tests) _tests->write(report, info);
  if (_jobs)
    _jobs->add(report, info);
  else if (const auto problem = _output->write(report, info))
    tell(*problem);
  else
    count(report, info);
}

void Session::count(const Report& report, const ReportInfo* info) {
  _statistics.count(report, info);
  ++_fileReports;
}

/// What the host sends is no news from the device: it is counted apart, and shown if it is asked for.
void Session::handleToDevice(const Report& report, const ReportInfo* info) {
  _statistics.countToDevice();
  if (_options.hostWrites) _output->writeToDevice(report, info);
}

void Session::handle(const Problem& problem) {
  if (!_sieve.passes(problem)) return;
  if (_tests) _tests->write(problem);
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
      count(entry.report, entry.info);
    }
  }
  writeUpTo(batch.text.size());
}

void Session::tell(const Problem& problem) {
  (problem.endsInput() ? _someUnreadable : _someRefused) = true;
  _statistics.count(problem.code);
  if (problem.lost) _statistics.countUnread(*problem.lost);
  auto& ofThisKind = _fileProblems[static_cast<std::size_t>(problem.code)];
  if (++ofThisKind > kShownProblems) return;
  if (_terminal) _sink.flush();  // the message belongs after it
  _messages.complain(describe(_file, problem.place), problem.message);
}

void Session::tell(const Remark& remark) {
  if (_terminal) _sink.flush();  // the message belongs after it
  _messages.tell(_file, remark.text);
}

/// How many problems of the file were not shown, and what is the matter with it as a whole.
void Session::tellUnshown() {
  std::uint64_t unshown = 0;
  std::string kinds;
  for (std::size_t i = 0; i < kProblemCodes; ++i) {
    if (_fileProblems[i] <= kShownProblems) continue;
    const std::uint64_t more = _fileProblems[i] - kShownProblems;
    unshown += more;
    kinds.append(kinds.empty() ? "" : ", ").append(std::to_string(more)).append(" ");
    kinds += nameOf(static_cast<ProblemCode>(i));
  }
  if (unshown == 0) return;
  std::string text = std::to_string(unshown) + " more errors are not shown (" + kinds + ")";
  if (_form == nullptr) return _messages.complain("vesk-decode", text);  // of live devices
  text.append("; the file was read as ").append(_form->description);
  if (const InputForm* const other = likelyForm())
    text.append(", and looks like ").append(other->description).append(": try without -i");
  else if (_fileReports == 0)
    text += ", and no report in it was decoded: it may be something else";
  _messages.complain(_file, text);
}

/// What the limits say of the file that has ended.
void Session::judgeFile() {
  if (!_tests) return;
  const std::string leftOutBefore = std::exchange(_leftOut, _output->leftOut());
  const Verdict verdict =
      _tests->endFile({std::accumulate(_fileProblems.begin(), _fileProblems.end(), 0ULL),
                       interrupted(),
                       _leftOut != leftOutBefore,
                       !_options.selection.empty()});
  const bool shown = _output->writeVerdict(verdict);
  if (_terminal) _sink.flush();
  if (!shown) tellFailures(verdict);
  if (verdict.passed()) return _messages.tell(_file, verdict.summary());
  _someLimitNotKept = true;
  _messages.complain(_file, verdict.summary());
}

/// The first failures, where the output has no place for them.
void Session::tellFailures(const Verdict& verdict) {
  std::size_t failures = 0;
  for (const PanelResults& panel : verdict.panels)
    for (const LimitResult& result : panel.tests) {
      if (result.outcome != LimitResult::Outcome::Failed || ++failures > kShownProblems) continue;
      _messages.complain(describe(verdict.nameOf(panel), result.place.value_or(Place{})),
                         nameOf(result) + " " + fullComplaint(result));
    }
  if (failures > kShownProblems)
    _messages.complain(
        _file,
        std::to_string(failures - kShownProblems) + " more failures are not shown; -o tap has all");
}

/// The form that a file shows which was read as another one; null if that can't be told.
const InputForm* Session::likelyForm() const {
  std::error_code failure;  // what a pipe held is gone
  if (_options.inputForm == nullptr || !std::filesystem::is_regular_file(_file, failure))
    return nullptr;
  try {
    FileBytes again(_file, [](const FileBytes&, bool) { return std::nullopt; });
    const auto unpacked = decompressed(again);
    const InputForm& form = detectForm(unpacked ? *unpacked : again, _known);
    const bool isSure = form.begins != nullptr || !form.magics.empty();  // and not what is left
    return isSure && &form != _form ? &form : nullptr;
  } catch (const InputFault&) {
    return nullptr;
  }
}

/// While a pipe is silent its follower has everything that came through it.
std::optional<Clock::time_point> Session::beforeRead(const FileBytes& bytes, bool wouldWait) {
  std::optional<Clock::time_point> again;
  if (wouldWait) {
    if (_jobs) _jobs->commitAll();
    again = _output->idle();
    _sink.flush();
  }
  _messages.progress(bytes.bytesRead(), bytes.size(), _statistics.reports());
  return again;
}

/// Left out, and perhaps wanted: as little as an error may this pass for a good end.
void Session::tellUntimed() {
  const std::uint64_t untimed = _sieve.untimed();
  _statistics.setUntimed(untimed);
  if (untimed == 0) return;
  _someRefused = true;
  _messages.complain("vesk-decode",
                     "left out: " + std::to_string(untimed) +
                         (untimed == 1 ? " report" : " reports") +
                         " without a time, which --from and --to can't select");
}

void Session::finish() {
  if (const std::string leftOut = _output->leftOut(); !leftOut.empty()) {
    _someRefused = true;
    _messages.complain("vesk-decode", leftOut);
  }
  tellUntimed();
  if (const std::string unmatched = _sieve.unmatched(); !unmatched.empty())
    _messages.tell("vesk-decode", unmatched);
  _statistics.setUnchanged(_output->unchanged());
  const bool written = _options.statistics && _output->writeStatistics(_statistics);
  _output->finish();
  _sink.flush();
  if (_canvas) _canvas->giveBack();
  if (_options.statistics && !written) _messages.show(_statistics.table());
  const std::string refusal = _output->refusal();
  if (refusal.empty()) return;
  _isRefused = true;
  _messages.complain("vesk-decode", refusal);
}

}  // namespace vesk::host
