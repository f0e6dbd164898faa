// The class: any bytes of any length that a host may hand over, in any order of calls.

#include <algorithm>
#include <array>
#include <cstring>
#include <deque>
#include <functional>
#include <iterator>
#include <memory>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/Given.h"
#include "plugin/HIDReportVeskPlugin.h"
#include "plugin/report_list.h"
#include "plugin/vesk_plugin.h"

namespace vesk::fuzz {
namespace {

const auto kOurNames = std::to_array(blob_names);

// -------------------------------------------------------------------- results, looked at entirely

std::string textOf(const Number& number) {
  return std::to_string(static_cast<int>(number.kind())) + ':' + std::to_string(number.bits());
}

std::string textOf(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string textOf(const NumberSpan& span) {
  std::string text = std::to_string(static_cast<int>(span.kind())) + '[';
  for (std::size_t i = 0; i < span.size(); ++i) text += textOf(span[i]) + ',';
  return text + ']';
}

template <class Call>
bool isOutOfRange(const Call& call) {
  try {
    call();
    return false;
  } catch (const std::out_of_range&) {
    return true;
  }
}

std::string textOf(const LineList& lines) {
  std::string joined;
  for (std::size_t i = 0; i < lines.size(); ++i) (joined += lines[i]) += '\n';
  demand(joined == lines.text(), "the lines are the text");
  demand(isOutOfRange([&] { (void)lines[lines.size()]; }), "no line stands behind the last");
  return joined;
}

std::string textOf(const ReportObject& object) {
  if (object.isString()) {
    demand(object.size() == 0, "a string has no entries");
    return textOf(object.string());
  }
  const auto shown = [](const Value& value) {
    return std::visit([](const auto& v) { return textOf(v); }, value);
  };
  std::string text = "{";
  for (std::size_t i = 0; i < object.size(); ++i) {
    const std::string value = shown(object.value(i));
    demand(shown(object.at(object.key(i))) == value, "a key finds its value");
    text += textOf(object.key(i)) + ' ' + value + ';';
  }
  demand(isOutOfRange([&] { (void)object.key(object.size()); }), "no key behind the last");
  return text + '}';
}

std::string textOf(const Result& result) {
  if (result.isNil()) return "nil";
  return result.lines() != nullptr ? textOf(*result.lines()) : textOf(*result.object());
}

// The same, as the C interface shows it.

struct Visited {
  std::string text;
  static Visited& of(void* context) { return *static_cast<Visited*>(context); }
};

int visitNumber(void* context, const vesk_number* number) {
  Visited::of(context).text +=
      std::to_string(number->kind) + ':' + std::to_string(number->value.u) + ';';
  return 0;
}

int visitArray(void* context, std::int32_t kind, const void* values, std::size_t count) {
  Visited::of(context).text += textOf(NumberSpan(static_cast<Kind>(kind), values, count)) + ';';
  return 0;
}

vesk_visitor visitorFor(Visited& visited) {
  vesk_visitor visitor{};
  visitor.size = sizeof visitor;
  visitor.context = &visited;
  visitor.dictionary_begin = [](void* context, std::size_t) {
    Visited::of(context).text += '{';
    return 0;
  };
  visitor.key = [](void* context, const char* key, std::size_t length) {
    Visited::of(context).text += textOf(std::string_view(key, length)) + ' ';
    return 0;
  };
  visitor.number = visitNumber;
  visitor.string = [](void* context, const char* text, std::size_t length) {
    Visited::of(context).text += textOf(std::string_view(text, length));
    return 0;
  };
  visitor.array = visitArray;
  visitor.dictionary_end = [](void* context) {
    Visited::of(context).text += '}';
    return 0;
  };
  return visitor;
}

/// Visits as a host of another version does: its visitor takes `size` bytes, and no byte behind them
/// is its own. The functions that it has are called as those of a whole one.
void visitSized(const vesk_plugin_api& api, const vesk_result* result, std::uint32_t size) {
  Visited seen;
  vesk_visitor given = visitorFor(seen);
  given.size = size;
  const std::size_t bytes = std::max<std::size_t>(size, sizeof given.size);
  const auto memory = std::make_unique<char[]>(bytes);
  std::memset(memory.get(), 0xEE, bytes);
  std::memcpy(memory.get(), &given, std::min(bytes, sizeof given));
  const vesk_status status =
      api.result_visit(result, reinterpret_cast<const vesk_visitor*>(memory.get()));
  demand(status == (size < sizeof given.size ? VESK_BAD_ARGUMENT : VESK_OK),
         "a visitor is as good as its size");

  Visited expected;
  vesk_visitor whole = visitorFor(expected);
  const auto keep = [&](auto& function) {
    const auto* const end = reinterpret_cast<const char*>(&function + 1);
    if (end - reinterpret_cast<const char*>(&whole) > std::ptrdiff_t{size}) function = nullptr;
  };
  keep(whole.dictionary_begin);
  keep(whole.key);
  keep(whole.number);
  keep(whole.string);
  keep(whole.array);
  keep(whole.dictionary_end);
  demand(api.result_visit(result, &whole) == VESK_OK, "a visit comes to its end");
  demand(seen.text == expected.text, "the functions within the size are called, and no others");
}

std::string textOf(const vesk_plugin_api& api, const vesk_result* result) {
  if (api.result_form(result) == VESK_NIL) return "nil";
  if (api.result_form(result) == VESK_LINES) {
    std::string joined;
    for (std::size_t i = 0; i < api.result_count(result); ++i) {
      const char* line = nullptr;
      std::size_t length = 0;
      demand(api.result_line(result, i, &line, &length) == VESK_OK, "each line can be had");
      joined.append(line, length) += '\n';
    }
    return joined;
  }
  Visited visited;
  const vesk_visitor visitor = visitorFor(visited);
  demand(api.result_visit(result, &visitor) == VESK_OK, "a visit comes to its end");
  return visited.text;
}

/// What a C host gets for the report on an instance of its own.
std::string decodeByC(bool decimal, bool useStrings, const void* buffer, std::uint32_t id,
                      std::int32_t type, std::int64_t length) {
  const vesk_plugin_api& api = *vesk_plugin_entry();
  vesk_plugin* plugin = nullptr;
  demand(api.create(&plugin) == VESK_OK, "an instance can be made");
  const char* const options[] = {"-decimal"};
  int accepted = 0;
  demand(api.parse_args(plugin, decimal ? 1 : 0, options, &accepted) == VESK_OK && accepted == 1,
         "its option is accepted");
  api.set_use_strings(plugin, useStrings ? 1 : 0);
  vesk_result* result = nullptr;
  const vesk_status status = api.report_to_object(plugin, buffer, id, type, length, &result);
  std::string text = "fails";
  if (status == VESK_OK) {
    text = textOf(api, result);
    // Any size up to a few more bytes than today's. It follows from the text, so that what earlier
    // runs kept still means the same calls.
    const std::size_t number = std::hash<std::string>{}(text);
    visitSized(api, result, static_cast<std::uint32_t>(number % (sizeof(vesk_visitor) + 17)));
  } else {
    demand(status == VESK_DECODER_FAILED && *api.error_message(plugin) != '\0',
           "a failure has a message");
  }
  api.result_free(result);
  api.destroy(plugin);
  return text;
}

// ------------------------------------------------------------------------------------- the calls

/// A report in memory of its own, not a byte longer than a host must make it.
class Buffer {
 public:
  Buffer(std::string_view given, const DecoderInfo* info) {
    std::string content(given);
    if (info != nullptr && !info->exactLength)
      content.resize(std::max(content.size(), info->smallestBuffer));
    if (info != nullptr && info->nulTerminated && content.find('\0', 1) == std::string::npos)
      content.back() = '\0';
    _size = content.size();
    _bytes = std::make_unique<char[]>(_size);
    std::memcpy(_bytes.get(), content.data(), _size);
    _before = std::move(content);
  }

  char* data() { return _bytes.get(); }
  std::size_t size() const { return _size; }
  bool isUnchanged() const { return std::memcmp(_bytes.get(), _before.data(), _size) == 0; }

 private:
  std::unique_ptr<char[]> _bytes;
  std::size_t _size;
  std::string _before;
};

class Host {
 public:
  explicit Host(Given& given) : _given(given), _plugin(HIDReportVeskPlugin::init()) {}

  ~Host() { std::ranges::copy(kOurNames, blob_names); }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  void run() {
    constexpr void (Host::*kCalls[])() = {&Host::toObject,
                                          &Host::print,
                                          &Host::options,
                                          &Host::modes,
                                          &Host::config,
                                          &Host::table,
                                          &Host::rows,
                                          &Host::arrays,
                                          &Host::pieces,
                                          &Host::blobs,
                                          &Host::unknown};
    for (int i = 0; i < 48 && !_given.empty(); ++i)
      (this->*kCalls[_given.byte() % std::size(kCalls)])();
    for (const auto& [result, text] : _results)
      demand(textOf(result) == text, "a result stays what it was");
  }

 private:
  struct Call {
    std::uint32_t id;
    std::int32_t type;
    const DecoderInfo* info;  // null if the report is unknown, or no decoder has the name
    bool named;               // the table names something
  };

  Call lookUp(std::uint32_t id, std::int32_t type) const {
    Call call{id, type, nullptr, false};
    const auto rows = type == kFeature ? _plugin->reportIds()
                      : type == kInput ? _plugin->inputReportIds()
                                       : nullptr;
    if (rows == nullptr) return call;
    if (const std::string* name = rows->find(id)) {
      call.named = true;
      call.info = HIDReportVeskPlugin::decoderInfo(*name);
    }
    return call;
  }

  Call nextCall() {
    const std::uint8_t id = _given.byte();
    const auto report = std::ranges::find(kReports, id, &ListedReport::id);
    return lookUp(id, report == kReports.end() ? kFeature : report->type);
  }

  /// What a host may tell: the decoders of fixed layouts must not look at it.
  std::int64_t nextLength(const Call& call, const Buffer& buffer) {
    const std::uint8_t how = _given.byte();
    if (how == 0 || (call.info != nullptr && call.info->exactLength))
      return static_cast<std::int64_t>(buffer.size());
    return static_cast<std::int64_t>(_given.number(how % 9));
  }

  void checkStored(const Call& call, Buffer& buffer, std::int64_t length) {
    demand(buffer.isUnchanged(), "no decoder writes to the report");
    demand(_plugin->report_buf() == buffer.data() && _plugin->report_id() == call.id &&
               _plugin->report_type() == static_cast<std::uint32_t>(call.type) &&
               _plugin->report_len() == length,
           "the four values are stored");
  }

  void toObject() {
    const Call call = nextCall();
    Buffer buffer(_given.longBytes(), call.info);
    const std::int64_t length = nextLength(call, buffer);
    const bool useStrings = _plugin->useStrings();
    std::optional<Result> result;
    try {
      result = _plugin->reportToObject(buffer.data(), call.id, call.type, length);
    } catch (const std::logic_error&) {
      demand(call.named, "only what a table names can fail");
    }
    checkStored(call, buffer, length);
    demand(_plugin->useStrings() == useStrings, "the mode stays");
    const std::string text = result ? textOf(*result) : "fails";
    if (result && !result->isNil()) {
      demand(call.info != nullptr, "only a decoder gives something");
      demand((result->lines() != nullptr) == useStrings, "the mode decides the form");
    }
    if (!_tablesChanged)
      check(decodeByC(
                _plugin->displayDecimal(), useStrings, buffer.data(), call.id, call.type, length),
            text);
    if (result) {
      if (_results.size() == 4) _results.erase(_results.begin());
      _results.emplace_back(*result, text);  // a copy
    }
  }

  /// Both texts show the same, but for the ends of entries, which the visitor can't tell.
  static void check(std::string a, std::string b) {
    std::erase(a, ';');
    std::erase(b, ';');
    demand(a == b, "the C interface shows what the class shows");
  }

  void print() {
    const Call call = nextCall();
    Buffer buffer(_given.longBytes(), call.info);
    const std::int64_t length = nextLength(call, buffer);
    try {
      const bool printed = _plugin->parseReport(buffer.data(), call.id, call.type, length);
      demand(_plugin->useStrings(), "printing leaves the instance in text mode");
      const Result again = _plugin->runParser(buffer.data(), call.id, call.type, length);
      demand(printed == !again.isNil(), "what is printed is what a decode gives");
    } catch (const std::logic_error&) {
      demand(call.named, "only what a table names can fail");
    }
    checkStored(call, buffer, length);
  }

  void options() {
    std::vector<std::string> words;
    for (int count = _given.byte() % 4; count > 0; --count)
      words.emplace_back(_given.flag() ? std::string("-decimal")
                                       : std::string(_given.shortBytes()));
    bool valid = true;
    std::vector<const char*> pointers;
    for (const std::string& word : words) {
      pointers.push_back(word.c_str());
      valid = valid && std::string_view(word.c_str()) == "-decimal";
    }
    const bool decimal = _plugin->displayDecimal();
    const bool useStrings = _plugin->useStrings();
    bool accepted = false;
    try {
      accepted = _plugin->parseArgs(static_cast<std::int32_t>(pointers.size()), pointers.data());
    } catch (const std::invalid_argument&) {
      demand(!valid, "a valid option is no exception");
    }
    demand(accepted == valid, "only -decimal is accepted");
    demand(_plugin->displayDecimal() == (accepted ? !words.empty() : decimal) &&
               _plugin->useStrings() == (accepted ? false : useStrings),
           "accepted options are set, others change nothing");
  }

  void modes() {
    const std::uint8_t modes = _given.byte();
    _plugin->setUseStrings((modes & 1) != 0);
    _plugin->setDisplayDecimal((modes & 2) != 0);
  }

  Number nextNumber() {
    const auto kind = static_cast<Kind>(_given.byte() % 9);
    std::array<char, 8> bytes{};
    const std::string_view taken = _given.bytes(sizeOf(kind));
    std::ranges::copy(taken, bytes.begin());
    if (kind == Kind::Bool) bytes[0] &= 1;
    return Number::readWire(kind, bytes.data());
  }

  void config() {
    PluginConfig config;
    for (int count = _given.byte() % 4; count > 0; --count) {
      const std::uint8_t which = _given.byte();
      const std::string key = (which & 3) == 0   ? "Decimal"
                              : (which & 3) == 1 ? "UseStrings"
                                                 : std::string(_given.shortBytes());
      if ((which & 4) != 0)
        config.insert_or_assign(key, std::string(_given.shortBytes()));
      else
        config.insert_or_assign(key, nextNumber());
    }
    std::optional<Error> error;
    demand(_plugin->configParser(config, &error) && !error, "every configuration is accepted");
  }

  void table() {
    _tablesChanged = true;
    const std::uint8_t how = _given.byte();
    if (how % 4 == 0) {
      (how & 4) != 0 ? _plugin->setReportIds(nullptr) : _plugin->setInputReportIds(nullptr);
      return;
    }
    auto rows = std::make_shared<ReportTable>();
    for (int count = _given.byte() % 16; count > 0; --count) {
      const Number id = _given.flag() ? nextNumber() : Number(unsigned{_given.byte()});
      const std::uint8_t name = _given.byte();
      rows->set(
          id,
          std::string(name < 224 ? kReports[name % kReports.size()].decoder : _given.shortBytes()));
    }
    (how & 4) != 0 ? _plugin->setReportIds(rows) : _plugin->setInputReportIds(rows);
  }

  /// Every row of both tables.
  void rows() {
    for (const auto& rows : {_plugin->reportIds(), _plugin->inputReportIds()}) {
      if (rows == nullptr) continue;
      for (const auto& [id, name] : *rows) demand(*rows->find(id) == name, "an ID finds its name");
    }
  }

  void arrays() {
    const std::uint8_t which = _given.byte();
    const std::string format(_given.shortBytes());
    // A width of millions is a line of as many characters, which says nothing but takes the time.
    if (std::regex_search(format, std::regex("[0-9]{5}"))) return;
    const std::string_view given = _given.shortBytes();
    const std::size_t offset = std::min<std::size_t>(which / 3 % 4, given.size());  // alignment
    const auto bytes = std::make_unique<char[]>(given.size());
    std::ranges::copy(given, bytes.get());
    const void* const data = bytes.get() + offset;
    const auto length = static_cast<std::uint32_t>((given.size() - offset) / 4);
    LineList lines;
    try {
      switch (which % 3) {
        case 0:
          _plugin->addArrayUint32(lines, static_cast<const u32*>(data), length, format.c_str());
          break;
        case 1:
          _plugin->addArrayInt32(lines, static_cast<const i32*>(data), length, format.c_str());
          break;
        default:
          _plugin->addArrayFloat(lines, static_cast<const f32*>(data), length, format.c_str());
          break;
      }
      demand(lines.size() == std::max(1u, (length + 7) / 8), "eight values a line");
    } catch (const std::invalid_argument&) {
      demand(lines.empty(), "a bad format adds nothing");
    }
    textOf(lines);
    textOf(_plugin->arrayWithUint32Array(static_cast<const u32*>(data), length).span());
    textOf(_plugin->arrayWithInt32Array(static_cast<const i32*>(data), length).span());
    textOf(_plugin->arrayWithFloatArray(static_cast<const f32*>(data), length).span());
  }

  void pieces() {
    const std::uint8_t option = _given.byte();
    const std::string name(_given.shortBytes());
    const std::string line =
        _plugin->blackBoxOptionToString(option, name.c_str(), (option & 1) != 0);
    demand(line.size() > 40, "the name takes forty columns at least");
    const char* level = nullptr;
    _plugin->errorLevelToString(option, &level);
    demand((level != nullptr) == (option < 6), "six levels have names");
    const std::string row = _plugin->printOSTResult(name.c_str(), _given.number(8));
    demand(row.size() == std::strlen(name.c_str()) + 1 + 54, "48 marks in six groups");
  }

  /// A host may replace the names of the data blobs, by UTF-8.
  void blobs() {
    const std::size_t row = _given.byte() % std::size(blob_names);
    std::string name(_given.shortBytes());
    for (char& c : name)
      if (static_cast<unsigned char>(c) >= 0x80) c = '?';
    blob_names[row] = _names.emplace_back(std::move(name)).c_str();
  }

  /// IDs and types that no table knows, with no buffer at all.
  void unknown() {
    const auto id = static_cast<std::uint32_t>(_given.number(4));
    const auto type = static_cast<std::int32_t>(_given.number(_given.byte() % 5));
    const auto length = static_cast<std::int64_t>(_given.number(8));
    if (lookUp(id, type).named) return;
    demand(_plugin->reportToObject(nullptr, id, type, length).isNil(), "an unknown one is nil");
    demand(!_plugin->parseReport(nullptr, id, type, length), "and prints nothing");
  }

  Given& _given;
  std::unique_ptr<HIDReportVeskPlugin> _plugin;
  std::vector<std::pair<Result, std::string>> _results;
  std::deque<std::string> _names;
  bool _tablesChanged = false;
};

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  return std::freopen("/dev/null", "w", stdout) != nullptr ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::Given given(data, size);
  vesk::fuzz::Host(given).run();
  return 0;
}
