#include "host/limits/LimitTests.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/Kinds.h"

namespace vesk::host {

namespace {

// Memory stays bounded, whatever a capture claims.
constexpr std::size_t kMostPanels = 1024;

std::string idText(std::uint32_t id) {
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "0x%02X", id);
  return text.data();
}

}  // namespace

/// One key's test, so far.
struct LimitTests::Test {
  Value latest{};
  std::optional<Finding> first{};  // failure
  Place place{};                   // of it
  std::uint64_t reports = 0;
  std::uint64_t failures = 0;

  void fail(const Place& where, Finding finding) {
    if (failures++ != 0) return;
    first = std::move(finding);
    place = where;
  }
};

/// What one panel sent. Its tests stand as the keys of the limits do.
struct LimitTests::Panel {
  std::optional<UsbDevice> device{};
  std::optional<std::string> serial{};
  std::optional<std::string> otherSerial{};
  std::vector<std::vector<Test>> tests{};
};

/// Tests the fields of a report. It is a handler for Decoded::visit(). The keys of limits stand in the
/// order in which the fields come.
class LimitTests::Visit {
 public:
  /// `keys` and `tests` are null for a report without limits, `serialKey` for one without a number.
  Visit(const Place& place, std::vector<KeyLimits>* keys, std::vector<Test>* tests,
        const std::string* serialKey)
      : _place(place), _keys(keys), _tests(tests), _serialKey(serialKey) {}

  const std::optional<std::string>& serial() const { return _serial; }

  /// A key that a report doesn't have any more breaks its limits.
  void end() {
    if (_keys == nullptr) return;
    for (; _next < _keys->size(); ++_next) {
      Test& test = (*_tests)[_next];
      ++test.reports;
      test.fail(_place, {"is missing in the report", ""});
    }
  }

  void nil() {}
  void dictionaryBegin() {}
  void dictionaryEnd() {}
  void key(std::string_view name) { _key = name; }

  void number(const vesk_number& number) {
    if (isSerial()) _serial = textOf(number);
    apply([&](KeyLimits& limits, Test& test) {
      test.latest = number;
      return limits.find(number);
    });
  }

  void string(std::string_view text) {
    if (isSerial()) _serial = text;
    apply([&](KeyLimits& limits, Test& test) {
      if (auto* before = std::get_if<std::string>(&test.latest))
        before->assign(text);
      else
        test.latest = std::string(text);
      return limits.find(text);
    });
  }

  void array(std::int32_t kind, const void* values, std::size_t count) {
    apply([&](KeyLimits& limits, Test& test) {
      if (!std::holds_alternative<ArrayValue>(test.latest)) test.latest = ArrayValue{};
      auto& latest = std::get<ArrayValue>(test.latest);
      latest.kind = kind;
      latest.count = count;
      withValues(kind, values, count, [&](auto numbers) {
        const auto bytes = std::as_bytes(numbers);
        latest.words.resize((bytes.size() + sizeof(std::uint64_t) - 1) / sizeof(std::uint64_t));
        if (!bytes.empty()) std::memcpy(latest.words.data(), bytes.data(), bytes.size());
      });
      return limits.find(kind, values, count, test.failures == 0);
    });
  }

 private:
  bool isSerial() const { return _serialKey != nullptr && _key == *_serialKey; }

  template <class Find>
  void apply(Find find) {
    if (_keys == nullptr || _next == _keys->size() || (*_keys)[_next].key != _key) return;
    Test& test = (*_tests)[_next];
    ++test.reports;
    if (auto finding = find((*_keys)[_next], test)) test.fail(_place, *std::move(finding));
    ++_next;
  }

  const Place& _place;
  std::vector<KeyLimits>* _keys;
  std::vector<Test>* _tests;
  const std::string* _serialKey;
  std::string_view _key{};
  std::size_t _next = 0;
  std::optional<std::string> _serial{};
};

LimitTests::LimitTests(const OutputContext& context, Limits& limits)
    : DecodingOutput(context), _known(context.known), _limits(limits) {}

LimitTests::~LimitTests() = default;

void LimitTests::beginFile(std::string_view name) {
  _file = name;
  _panels.clear();
  _latest = 0;
  _tooManyPanels = false;
}

/// Null if there are too many.
LimitTests::Panel* LimitTests::panelOf(const std::optional<UsbSender>& sender) {
  std::optional<UsbDevice> device;
  if (sender) device = {sender->bus, sender->device};
  if (_latest < _panels.size() && _panels[_latest].device == device) return &_panels[_latest];
  const auto found = std::ranges::find(_panels, device, &Panel::device);
  if (found == _panels.end()) {
    if (_panels.size() == kMostPanels) {
      _tooManyPanels = true;
      return nullptr;
    }
    Panel& panel = _panels.emplace_back();
    panel.device = device;
    for (const ReportLimits& limits : _limits.reports) panel.tests.emplace_back(limits.keys.size());
    _latest = _panels.size() - 1;
    return &panel;
  }
  _latest = static_cast<std::size_t>(found - _panels.begin());
  return &*found;
}

/// Who sends any report of the controller's is a panel, tested or not.
void LimitTests::writeChecked(const Report& report, const ReportInfo& info) {
  const auto limits = std::ranges::find(_limits.reports, &info, &ReportLimits::info);
  const bool hasSerial = _limits.serial && std::ranges::find(_limits.serial->reports, &info) !=
                                               _limits.serial->reports.end();
  const bool isLimited = limits != _limits.reports.end();
  if (!isLimited && !hasSerial) {
    panelOf(report.sender);
    return;
  }
  const Decoded decoded = decode(info, Plugin::Mode::Object);
  if (decoded.form() == VESK_NIL) decodeLines(info);  // which says why, if it is no good
  Panel* const panel = panelOf(report.sender);
  if (panel == nullptr) return;
  auto* const tests =
      isLimited ? &panel->tests[static_cast<std::size_t>(limits - _limits.reports.begin())]
                : nullptr;
  Visit visit(report.place,
              isLimited ? &limits->keys : nullptr,
              tests,
              hasSerial ? &_limits.serial->key : nullptr);
  decoded.visit(visit);
  visit.end();
  if (!visit.serial()) return;
  if (!panel->serial)
    panel->serial = visit.serial();
  else if (*panel->serial != *visit.serial())
    panel->otherSerial = visit.serial();
}

void LimitTests::write(const Problem& problem) {
  if (!problem.reportId) return;
  const ReportInfo* const info = _known.find(*problem.reportId, problem.reportType);
  const auto limits = std::ranges::find(_limits.reports, info, &ReportLimits::info);
  if (info == nullptr || limits == _limits.reports.end()) return;
  Panel* const panel = panelOf(problem.sender);
  if (panel == nullptr) return;
  for (Test& test : panel->tests[static_cast<std::size_t>(limits - _limits.reports.begin())]) {
    ++test.reports;
    test.fail(problem.place, {"can't be told: " + problem.message, ""});
  }
}

LimitResult LimitTests::resultOf(const ReportLimits& limits, const KeyLimits& key, const Test& test,
                                 bool selected) const {
  using enum LimitResult::Outcome;
  LimitResult result;
  result.report = idText(limits.info->id);
  result.decoder = limits.info->decoder;
  result.test = key.key.empty() ? "value" : key.key;
  result.low = key.low;
  result.high = key.high;
  result.unit = key.unit;
  result.limits = key.json;
  result.reports = test.reports;
  result.failures = test.failures;
  if (test.first) {
    result.outcome = Failed;
    result.value = test.first->value;
    result.complaint = test.first->complaint;
    result.channels = test.first->channels;
    result.place = test.place;
  } else if (test.reports != 0) {
    result.value = key.textOf(test.latest);
  } else {
    result.outcome = limits.optional ? Skipped : Failed;
    result.complaint = std::string("was not measured: no ") + (selected ? "selected " : "") +
                       describe(limits.info->id, limits.info->type) + " came";
  }
  return result;
}

/// Whether the file as a whole can be relied on.
LimitResult LimitTests::resultOfFile(const FileEnd& end, bool allSkipped) const {
  LimitResult result;
  result.test = "errors";
  result.value = std::to_string(end.errors);
  result.low = result.high = "0";
  std::vector<std::string> complaints;
  if (end.errors != 0)
    complaints.push_back(std::to_string(end.errors) + (end.errors == 1 ? " error" : " errors") +
                         " in the file");
  if (end.interrupted) complaints.emplace_back("interrupted before its end");
  if (end.leftOut) complaints.emplace_back("some reports were left out");
  if (_tooManyPanels)
    complaints.push_back("more than " + std::to_string(kMostPanels) + " devices in the file");
  for (const Panel& panel : _panels)
    if (panel.otherSerial)
      complaints.push_back("two serial numbers of one panel: \"" + *panel.serial + "\" and \"" +
                           *panel.otherSerial + "\"");
  if (allSkipped) complaints.emplace_back("nothing was measured");
  for (const std::string& complaint : complaints)
    result.complaint.append(result.complaint.empty() ? "" : "; ").append(complaint);
  if (!complaints.empty()) result.outcome = LimitResult::Outcome::Failed;
  return result;
}

Verdict LimitTests::endFile(const FileEnd& end) {
  Verdict verdict{_file, _limits.title, {}};
  if (_panels.empty()) panelOf(std::nullopt);
  for (const Panel& panel : _panels) {
    PanelResults results{panel.device, panel.serial.value_or(""), {}};
    for (std::size_t i = 0; i < _limits.reports.size(); ++i)
      for (std::size_t j = 0; j < _limits.reports[i].keys.size(); ++j)
        results.tests.push_back(resultOf(
            _limits.reports[i], _limits.reports[i].keys[j], panel.tests[i][j], end.selected));
    verdict.panels.push_back(std::move(results));
  }
  const bool allSkipped = verdict.count() == verdict.count(LimitResult::Outcome::Skipped);
  verdict.panels.back().tests.push_back(resultOfFile(end, allSkipped));
  return verdict;
}

}  // namespace vesk::host
