#include "host/outputs/Html.h"

#include <algorithm>
#include <bitset>
#include <string_view>

#include "host/limits/Verdict.h"
#include "host/writing/Base64.h"
#include "host/writing/JsonWriter.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

// A page is one file, for a mail and for a browser that takes it at once.
constexpr std::uint64_t kMostBytes = 64'000'000;
// What the page unpacks at most, less a little.
constexpr std::uint64_t kMostText = 1'000'000'000;
// Each has a memory of its own to pack with.
constexpr std::size_t kMostCaptures = 256;

constexpr std::uint64_t kShownProblems = 5;  // of a kind in a file, as on standard error
constexpr std::size_t kShownFailures = 20;   // of a file
constexpr std::size_t kNamedIds = 4;

/// The name of a file without its folders.
std::string baseName(std::string_view name) {
  if (name == "-") return "standard input";
  const std::string_view whole = name;
  while (name.size() > 1 && name.ends_with('/')) name.remove_suffix(1);
  name.remove_prefix(name.rfind('/') + 1);
  return printable(name.empty() ? whole : name);
}

/// "64.1 MB", rounded up: what is too much must not read as if it were just enough.
std::string megabytes(std::uint64_t bytes) {
  const std::uint64_t tenths = (bytes + 99'999) / 100'000;
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " MB";
}

/// Counts what goes on to another sink.
class CountingSink final : public Sink {
 public:
  CountingSink(Sink& sink, std::uint64_t& count) : _sink(sink), _count(count) {}

  using Sink::append;
  void append(std::string_view text) override {
    _count += text.size();
    _sink.append(text);
  }

 private:
  Sink& _sink;
  std::uint64_t& _count;
};

}  // namespace

/// What one device of a file sent, or what a file holds that tells no devices.
struct HtmlOutput::Capture {
  Capture(const OutputContext& context, std::unique_ptr<Packing> into, std::uint64_t& text)
      : packing(std::move(into)),
        sink(*packing, text),
        recording({.plugin = context.plugin, .known = context.known, .sink = sink}) {}

  bool isOf(const std::optional<UsbSender>& other) const {
    if (!other) return !sender;
    return sender && sender->bus == other->bus && sender->device == other->device;
  }

  void count(const Report& report, const ReportInfo* info) {
    ++reports;
    if (info != nullptr) ++known;
    if (!report.microseconds) ++untimed;
    if (report.sender) endpoints.set(report.sender->endpointNumber());
  }

  /// "device 1:5, endpoints 0, 1"; empty if none is known.
  std::string device() const {
    if (!sender) return {};
    std::string text =
        "device " + std::to_string(sender->bus) + ":" + std::to_string(sender->device);
    std::string_view before = endpoints.count() == 1 ? ", endpoint " : ", endpoints ";
    for (std::size_t i = 0; i < endpoints.size(); ++i) {
      if (!endpoints.test(i)) continue;
      text.append(before).append(std::to_string(i));
      before = ", ";
    }
    return text;
  }

  std::string file;
  std::optional<UsbSender> sender;  // the first one's: its endpoint is one of several
  std::bitset<16> endpoints;
  bool isLive = false;
  std::uint64_t reports = 0;
  std::uint64_t known = 0;
  std::uint64_t untimed = 0;
  std::unique_ptr<Packing> packing;
  CountingSink sink;
  RecordingOutput recording;
  std::string packed;  // once its file is over
};

HtmlOutput::HtmlOutput(const OutputContext& context) : _context(context), _page(*context.page) {}

HtmlOutput::~HtmlOutput() = default;

/// Files come one behind another, and devices, which are named in turns, behind them.
void HtmlOutput::beginFile(std::string_view name) {
  _file = name;
  if (std::ranges::find(_files, _file) == _files.end()) _files.push_back(_file);
  if (_captures.empty() || !_captures.back()->isLive) endCaptures();
}

void HtmlOutput::endCaptures() {
  for (; _ended < _captures.size(); ++_ended) {
    Capture& capture = *_captures[_ended];
    capture.packed = capture.packing->take();
    capture.packing.reset();
  }
}

void HtmlOutput::write(const Problem& problem) {
  auto& count = _problemsOf[_file][static_cast<std::size_t>(problem.code)];
  if (++count > kShownProblems)
    ++_moreProblems;
  else
    _problems.push_back({describe(baseName(_file), problem.place), printable(problem.message)});
}

bool HtmlOutput::writeVerdict(const Verdict& verdict) {
  Verdict named = verdict;
  named.file = baseName(verdict.file);
  Judged judged{named.file, printable(named.title), named.passed(), named.summary(), {}};
  for (const PanelResults& panel : named.panels)
    for (const LimitResult& result : panel.tests) {
      if (result.outcome != LimitResult::Outcome::Failed) continue;
      if (judged.failures.size() == kShownFailures)
        ++judged.moreFailures;
      else
        judged.failures.push_back({describe(named.nameOf(panel), result.place.value_or(Place{})),
                                   printable(nameOf(result) + " " + fullComplaint(result))});
    }
  _verdicts.push_back(std::move(judged));
  return false;
}

std::optional<Problem> HtmlOutput::tryToWrite(const Report& report, const ReportInfo* info) {
  if (!_isTooLarge && _tooMany.empty()) {
    Capture* const capture = captureOf(report);
    if (capture == nullptr) return std::nullopt;
    if (auto problem = capture->recording.write(report, info)) return problem;
    capture->count(report, info);
  }
  Sum& sum = _ids[{report.id(), report.type ? static_cast<int>(*report.type) : -1}];
  ++sum.reports;
  sum.bytes += report.bytes.size();
  _bytes += report.bytes.size();
  if (!_isTooLarge && (_bytes > kMostBytes || _text > kMostText)) {
    _isTooLarge = true;
    _captures.clear();  // what is counted on is all that is wanted
    _ended = 0;
  }
  return std::nullopt;
}

/// Where a report goes; null if there are too many of them.
HtmlOutput::Capture* HtmlOutput::captureOf(const Report& report) {
  for (std::size_t i = _ended; i < _captures.size(); ++i)
    if (_captures[i]->file == _file && _captures[i]->isOf(report.sender)) return _captures[i].get();
  if (_captures.size() - _ended == kMostCaptures) {
    _tooMany = "-o html: more than " + std::to_string(kMostCaptures) + " devices in " +
               printable(_file) + "; choose one with --device BUS:DEV";
    return nullptr;
  }
  auto& made = _captures.emplace_back(std::make_unique<Capture>(_context, _page.pack(), _text));
  made->file = _file;
  made->sender = report.sender;
  made->isLive = report.device != nullptr;
  return made.get();
}

std::string HtmlOutput::refusal() const {
  if (!_tooMany.empty() || !_isTooLarge) return _tooMany;
  using Row = std::pair<std::uint64_t, std::string>;
  std::vector<Row> rows;
  std::uint64_t reports = 0;
  for (const auto& [key, sum] : _ids) {
    const auto& [id, type] = key;
    const auto known = type < 0 ? std::nullopt : std::optional(static_cast<ReportType>(type));
    rows.emplace_back(sum.bytes, describe(id, known) + " " + megabytes(sum.bytes));
    reports += sum.reports;
  }
  std::ranges::sort(rows, std::ranges::greater{});
  std::string text = "-o html: a page takes 64 MB of reports, and here are " + megabytes(_bytes) +
                     " in " + std::to_string(reports) + " reports: ";
  if (_bytes <= kMostBytes)
    text = "-o html: a page takes 1000 MB of a recording's text, and " + std::to_string(reports) +
           " reports come to more: ";
  for (std::size_t i = 0; i < rows.size() && i < kNamedIds; ++i)
    text += (i == 0 ? "" : ", ") + rows[i].second;
  if (rows.size() > kNamedIds) text += ", " + std::to_string(rows.size() - kNamedIds) + " others";
  return text +
         "; choose with --report, --type, --from, --to, --device or --count; -o recording takes "
         "all";
}

/// The JSON that tells what is in the page.
std::string HtmlOutput::description() const {
  JsonWriter json;
  std::map<std::string, int> named;
  const auto uniqueName = [&](const std::string& file) {
    const std::string name = baseName(file);
    const int times = ++named[name];
    return times == 1 ? name : name + " (" + std::to_string(times) + ")";
  };
  const auto describeEmpty = [&](const std::string& file) {
    json.beginObject();
    json.member("name", uniqueName(file));
    json.member("reports", 0);
    json.endObject();
  };
  const auto describeCapture = [&](std::size_t number, const std::string& name) {
    const Capture& capture = *_captures[number];
    json.beginObject();
    json.member("block", "capture-" + std::to_string(number + 1));
    json.member("name", name);
    if (capture.sender) json.member("device", capture.device());
    json.member("reports", capture.reports);
    json.member("known", capture.known);
    json.member("untimed", capture.untimed);
    json.endObject();
  };

  json.beginObject();
  json.member("program", _page.version());
  if (!_page.selection().empty()) json.member("selection", printable(_page.selection()));
  if (_page.isCutOff()) {
    json.key("interrupted");
    json.boolean(true);
  }
  json.key("captures");
  json.beginArray();
  for (const std::string& file : _files) {
    std::string name;
    std::vector<const Capture*> namedSo;
    for (std::size_t i = 0; i < _captures.size(); ++i) {
      const Capture& capture = *_captures[i];
      if (capture.file != file || capture.reports == 0) continue;
      // The devices of one file share its name. It may have been given twice.
      const auto isSame = [&](const Capture* other) { return other->isOf(capture.sender); };
      if (name.empty() || std::ranges::any_of(namedSo, isSame)) {
        name = uniqueName(file);
        namedSo.clear();
      }
      namedSo.push_back(&capture);
      describeCapture(i, name);
    }
    if (name.empty()) describeEmpty(file);
  }
  json.endArray();
  const auto putTold = [&](std::string_view key, const std::vector<Told>& all) {
    json.key(key);
    json.beginArray();
    for (const Told& told : all) {
      json.beginObject();
      json.member("where", told.where);
      json.member("what", told.what);
      json.endObject();
    }
    json.endArray();
  };
  putTold("problems", _problems);
  json.member("moreProblems", _moreProblems);
  if (!_verdicts.empty()) {
    json.key("verdicts");
    json.beginArray();
    for (const Judged& judged : _verdicts) {
      json.beginObject();
      json.member("name", judged.name);
      if (!judged.limits.empty()) json.member("limits", judged.limits);
      json.key("passed");
      json.boolean(judged.passed);
      json.member("summary", judged.summary);
      putTold("failures", judged.failures);
      json.member("moreFailures", judged.moreFailures);
      json.endObject();
    }
    json.endArray();
  }
  json.endObject();
  return std::string(json.text());
}

void HtmlOutput::finish() {
  if (!refusal().empty()) return;
  endCaptures();
  Sink& sink = _context.sink;
  const auto block = [&](const std::string& attributes, std::string_view content) {
    sink.append("<script type=\"text/plain\" " + attributes + ">");
    appendBase64(sink, content);
    sink.append("</script>\n");
  };
  sink.append(_page.before());
  block("id=\"carried\" data-version=\"" + std::string(_page.version()) + "\"", description());
  for (std::size_t i = 0; i < _captures.size(); ++i)
    if (_captures[i]->reports != 0)
      block("id=\"capture-" + std::to_string(i + 1) + "\"", _captures[i]->packed);
  sink.append(_page.behind());
}

}  // namespace vesk::host
