// The JSON output: whatever reports, problems and file names there are, each record is JSON, and a
// second reader finds in it what the plug-in gave, in its order and of its value.

#include <sys/mman.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Given.h"
#include "fuzz/known.h"
#include "host/outputs/Json.h"
#include "host/run/DescriptorSink.h"

namespace vesk::fuzz {
namespace {

using Json = nlohmann::ordered_json;

/// A handler for Decoded::visit() that compares what it is shown with what was read back.
class Compare {
 public:
  explicit Compare(const Json& value) : _value(&value) {}

  void nil() { demand(_value->is_null(), "nil is null"); }
  void dictionaryBegin() {
    demand(_value->is_object(), "a dictionary is an object");
    _dictionary = _value;
    _next = _dictionary->begin();
  }
  void key(std::string_view name) {
    demand(_next != _dictionary->end() && _next.key() == name, "the keys are in their order");
    _value = &*_next;
    ++_next;
  }
  void dictionaryEnd() { demand(_next == _dictionary->end(), "no key was made up"); }
  void string(std::string_view text) {
    demand(_value->is_string() && *_value->get_ptr<const std::string*>() == text, "a string");
  }
  void number(const vesk_number& number) { check(*_value, number); }
  void array(std::int32_t kind, const void* values, std::size_t count) {
    demand(_value->is_array() && _value->size() == count, "an array is as long as it was");
    for (std::size_t i = 0; i < count; ++i) {
      vesk_number number{kind, {0}};
      if (kind == VESK_INT)
        number.value.i = static_cast<const std::int32_t*>(values)[i];
      else if (kind == VESK_FLOAT)
        number.value.d = static_cast<const float*>(values)[i];
      else if (kind == VESK_UNSIGNED_INT)
        number.value.u = static_cast<const std::uint32_t*>(values)[i];
      else
        demand(false, "arrays are of these kinds");
      check((*_value)[i], number);
    }
  }

 private:
  static void check(const Json& value, const vesk_number& number) {
    switch (number.kind) {
      case VESK_BOOL:
        return demand(value.is_boolean() && value.get<bool>() == (number.value.u != 0), "a bool");
      case VESK_INT:
      case VESK_LONG_LONG:
        return demand(value.is_number_integer() && value.get<std::int64_t>() == number.value.i &&
                          (number.value.i < 0) == !value.is_number_unsigned(),
                      "a signed number");
      case VESK_FLOAT:
      case VESK_DOUBLE: {
        const double real = number.value.d;
        if (!std::isfinite(real)) return demand(value.is_null(), "no number is null");
        demand(value.is_number(), "a real number");
        const double back = value.get<double>();
        const double same = number.kind == VESK_FLOAT ? static_cast<float>(back) : back;
        return demand(std::bit_cast<std::uint64_t>(same) == std::bit_cast<std::uint64_t>(real),
                      "a real number, to the bit");
      }
      default:
        return demand(value.is_number_unsigned() && value.get<std::uint64_t>() == number.value.u,
                      "an unsigned number");
    }
  }

  const Json* _value;
  const Json* _dictionary = nullptr;
  Json::const_iterator _next;
};

/// Text as it has to come back: a byte that is no UTF-8 makes a replacement character, so only what
/// is ASCII is sure to stay.
void checkText(const Json& value, std::string_view text) {
  demand(value.is_string(), "text is a string");
  for (const char c : text)
    if (static_cast<unsigned char>(c) >= 0x80) return;
  demand(value.get<std::string>() == text, "text stays as it was");
}

struct Written {
  bool isReport;
  host::Report report;
  const host::ReportInfo* info;
  host::Problem problem;
  std::string file;
};

class Session {
 public:
  explicit Session(Given& given)
      : _given(given),
        _how(given.byte()),
        _arguments((_how & 1) != 0 ? std::vector<std::string>{"-decimal"}
                                   : std::vector<std::string>{}),
        _plugin(library(), _arguments) {}

  void run() {
    host::DescriptorSink sink(emptied());
    host::JsonOutput output(
        {_plugin, known(), sink, host::Headers::None, withLines()},
        isArray() ? host::JsonOutput::Framing::Array : host::JsonOutput::Framing::Lines);
    output.beginFile(_file);
    for (int i = 0; i < 16 && !_given.empty(); ++i) {
      switch (_given.byte() % 4) {
        case 0:
          _file = _given.shortBytes();
          output.beginFile(_file);
          break;
        case 1:
          problem(output);
          break;
        default:
          report(output);
      }
    }
    const bool statistics = (_how & 8) != 0 && output.writeStatistics(_statistics);
    output.finish();
    sink.flush();
    check(readBack(), statistics);
  }

 private:
  bool isArray() const { return (_how & 2) != 0; }
  bool withLines() const { return (_how & 4) != 0; }

  /// A file in memory, made once.
  static int descriptor() {
    static const int made = memfd_create("json", 0);
    return made;
  }

  static int emptied() {
    demand(ftruncate(descriptor(), 0) == 0 && lseek(descriptor(), 0, SEEK_SET) == 0,
           "a file can be emptied");
    return descriptor();
  }

  static std::string readBack() {
    const int file = descriptor();
    std::string text(static_cast<std::size_t>(lseek(file, 0, SEEK_END)), '\0');
    demand(pread(file, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
           "a file can be read");
    return text;
  }

  host::Place nextPlace() {
    const std::uint8_t unit = _given.byte();
    return {static_cast<host::Place::Unit>(unit % 4), _given.number(unit / 4 % 9)};
  }

  std::optional<std::int64_t> nextTime() {
    const std::uint8_t size = _given.byte();
    if (size == 0) return std::nullopt;
    return static_cast<std::int64_t>(_given.number(size % 9));
  }

  void report(host::JsonOutput& output) {
    const host::Place place = nextPlace();
    const auto time = nextTime();
    const std::uint8_t type = _given.byte();
    const std::string_view given = _given.longBytes();
    if (given.empty()) return;
    host::Report report{{reinterpret_cast<const std::uint8_t*>(given.data()), given.size()},
                        {},
                        place,
                        time,
                        {},
                        {}};
    if (type % 4 != 3) report.type = static_cast<host::ReportType>(type % 4);
    const host::ReportInfo* const info = known().find(report.id(), report.type);
    if (const auto problem = output.write(report, info)) {
      _written.push_back({false, {}, nullptr, *problem, _file});
    } else {
      demand(info != nullptr, "what no decoder knows is not written");
      report.type = info->type;
      _statistics.count(report, info);
      _written.push_back({true, report, info, {}, _file});
    }
  }

  void problem(host::JsonOutput& output) {
    host::Problem problem =
        problemAt(nextPlace(),
                  static_cast<host::ProblemCode>(_given.byte() % host::kProblemCodes),
                  std::string(_given.shortBytes()));
    problem.microseconds = nextTime();
    const std::uint8_t members = _given.byte();
    if ((members & 1) != 0) problem.reportId = _given.byte();
    if ((members & 2) != 0) problem.reportType = static_cast<host::ReportType>(_given.byte() % 3);
    if ((members & 4) != 0) problem.expected = _given.number(8);
    if ((members & 8) != 0) problem.got = _given.number(8);
    if ((members & 16) != 0) problem.offset = _given.number(8);
    output.write(problem);
    _statistics.count(problem.code);
    _written.push_back({false, {}, nullptr, problem, _file});
  }

  void check(const std::string& text, bool statistics) {
    std::vector<Json> records;
    if (isArray()) {
      Json array = Json::parse(text);
      demand(array.is_array(), "all records are one array");
      for (Json& record : array) records.push_back(std::move(record));
    } else {
      for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        demand(end != std::string::npos, "each record is a line");
        records.push_back(Json::parse(text.substr(begin, end - begin)));
        begin = end + 1;
      }
    }
    demand(records.size() == _written.size() + (statistics ? 1 : 0), "as many records as written");
    for (std::size_t i = 0; i < _written.size(); ++i) check(records[i], _written[i]);
    if (statistics) demand(records.back().contains("statistics"), "the counts come last");
  }

  void check(const Json& record, const Written& written) {
    const host::Place& place = written.isReport ? written.report.place : written.problem.place;
    const auto time = written.isReport ? written.report.microseconds : written.problem.microseconds;
    demand(record.at("format_version") == 1, "a record has a version");
    checkText(record.at("source").at("file"), written.file);
    constexpr const char* kUnits[] = {nullptr, "line", "packet", "offset"};
    if (const char* const unit = kUnits[static_cast<std::size_t>(place.unit)])
      demand(record.at("source").at(unit) == place.number, "a record has its place");
    demand(record.contains("time") == time.has_value(), "a record has its time");
    if (time)
      demand(record.at("time").get<double>() == std::stod(host::secondsText(*time)), "the time");
    if (written.isReport)
      checkReport(record, written.report, *written.info);
    else
      checkProblem(record, written.problem);
  }

  void checkReport(const Json& record, const host::Report& report, const host::ReportInfo& info) {
    demand(record.at("report_id") == info.id, "the ID");
    demand(record.at("report_type") == nameOf(info.type), "the type");
    demand(record.at("decoder") == info.decoder, "the decoder");
    demand(record.at("length") == report.bytes.size(), "the length");
    std::vector<std::uint8_t> bytes(report.bytes.begin(), report.bytes.end());
    bytes.push_back(0);
    const std::span<const std::uint8_t> whole(bytes.data(), report.bytes.size());
    Compare value(record.at("value"));
    const auto object = _plugin.decode(whole, info, host::Plugin::Mode::Object);
    object.visit(value);
    demand(record.contains("lines") == (withLines() || object.form() == VESK_NIL),
           "lines stand where they were asked for, and where there is no object");
    if (!record.contains("lines")) return;
    std::string joined;
    for (const Json& line : record.at("lines")) joined += line.get<std::string>() + '\n';
    demand(joined == _plugin.decode(whole, info, host::Plugin::Mode::Text).text(), "the lines");
  }

  static void checkProblem(const Json& record, const host::Problem& problem) {
    const Json& error = record.at("error");
    demand(error.at("code") == nameOf(problem.code), "the code");
    checkText(error.at("message"), problem.message);
    const auto same = [&error](const char* name, const std::optional<std::uint64_t>& number) {
      demand(error.contains(name) == number.has_value() && (!number || error.at(name) == *number),
             name);
    };
    same("expected", problem.expected);
    same("got", problem.got);
    same("offset", problem.offset);
  }

  Given& _given;
  std::uint8_t _how;
  std::vector<std::string> _arguments;
  host::Plugin _plugin;
  host::Statistics _statistics{known()};
  std::string _file = "-";
  std::vector<Written> _written;
};

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::Given given(data, size);
  vesk::fuzz::Session(given).run();
  return 0;
}
