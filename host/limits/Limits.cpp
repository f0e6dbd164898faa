#include "host/limits/Limits.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fstream>
#include <system_error>
#include <utility>

#include "host/limits/JsonFile.h"
#include "host/limits/Probe.h"
#include "host/limits/SchemaReader.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::size_t kLargestFile = 16'000'000;

// What may stand where.
constexpr auto kOfFile =
    std::to_array<std::string_view>({"$comment", "title", "serial", "reports"});
constexpr auto kOfReport =
    std::to_array<std::string_view>({"$comment", "schema", "optional", "units"});
constexpr auto kOfSerial = std::to_array<std::string_view>({"$comment", "report", "key"});

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

/// Reads one file.
class Loader {
 public:
  Loader(std::string name, const KnownReports& known, Plugin& plugin)
      : _file(std::move(name)), _schemas(_file), _known(known), _plugin(plugin) {}

  Limits load(std::string_view text);

 private:
  std::vector<const ReportInfo*> reportsNamed(const std::string& name,
                                              const Pointer& pointer) const;
  const std::vector<Field>& fieldsOf(const ReportInfo& info, const Pointer& pointer);
  SerialKey readSerial(const Json& json, const Pointer& pointer);
  ReportLimits readReport(const ReportInfo& info, const Json& json, const Pointer& pointer);

  const JsonFile _file;
  const SchemaReader _schemas;
  const KnownReports& _known;
  Plugin& _plugin;
  std::vector<std::pair<const ReportInfo*, std::vector<Field>>> _probed;
};

/// The reports of a decoder, or those of an ID.
std::vector<const ReportInfo*> Loader::reportsNamed(const std::string& name,
                                                    const Pointer& pointer) const {
  std::vector<const ReportInfo*> reports;
  const auto id = parseDecimalOrHex<std::uint32_t>(name);
  for (const ReportInfo& info : _known.all())
    if (id ? info.id == *id : info.decoder == name) reports.push_back(&info);
  if (!reports.empty()) return reports;
  if (id)
    _file.refuse(pointer,
                 "no decoder knows report " + name + "; --list-reports shows the known ones");
  std::vector<std::string_view> decoders;
  for (const ReportInfo& info : _known.all()) decoders.emplace_back(info.decoder);
  const std::string meant = didYouMean(name, decoders);
  _file.refuse(pointer,
               inQuotes(name) + " is no decoder, and no report ID such as 0xE3" +
                   (meant.empty() ? ";" : meant) + " --list-reports shows the known ones");
}

const std::vector<Field>& Loader::fieldsOf(const ReportInfo& info, const Pointer& pointer) {
  for (const auto& [probed, fields] : _probed)
    if (probed == &info) return fields;
  try {
    _probed.emplace_back(&info, probe(_plugin, info));
  } catch (const DecoderFault& fault) {
    _file.refuse(pointer,
                 "what the report's keys are can't be learnt: " + std::string(fault.what()));
  }
  return _probed.back().second;
}

SerialKey Loader::readSerial(const Json& json, const Pointer& pointer) {
  _file.checkNames(json, pointer, kOfSerial);
  if (!json.contains("report"))
    _file.refuse(pointer, "\"report\" is missing: a decoder or a report ID");
  SerialKey serial;
  serial.reports = reportsNamed(_file.textAt(json, "report", pointer), pointer / "report");
  if (json.contains("key")) serial.key = _file.textAt(json, "key", pointer);
  for (const ReportInfo* info : serial.reports) {
    const auto& fields = fieldsOf(*info, pointer / "report");
    if (fields.empty()) _file.refuse(pointer / "report", "this report is only known as lines");
    const auto field = std::ranges::find(fields, serial.key, &Field::key);
    if (field == fields.end()) {
      if (fields.size() == 1 && fields.front().key.empty())
        _file.refuse(pointer / "key", "this report is one string, and has no keys: leave it away");
      if (!json.contains("key"))
        _file.refuse(pointer, "\"key\" is missing: this report has several");
      _file.refuse(
          pointer / "key",
          info->decoder + " has no key " + inQuotes(serial.key) + otherKeys(serial.key, fields));
    }
    const auto* number = std::get_if<vesk_number>(&field->value);
    const bool isWhole =
        number != nullptr && number->kind != VESK_FLOAT && number->kind != VESK_DOUBLE;
    if (!isWhole && !std::holds_alternative<std::string>(field->value))
      _file.refuse(pointer / "key",
                   "a serial number is a string or a whole number, and this is " +
                       SchemaReader::nameOf(field->value));
  }
  return serial;
}

Limits Loader::load(std::string_view text) {
  const Json file = _file.parse(text);
  const Pointer root;
  _file.checkNames(file, root, kOfFile);
  Limits limits;
  if (file.contains("title")) limits.title = _file.textAt(file, "title", root);
  if (file.contains("serial")) limits.serial = readSerial(file["serial"], root / "serial");
  if (!file.contains("reports")) _file.refuse(root, "\"reports\" is missing, which has the limits");
  const Pointer reports = root / "reports";
  _file.checkIsObject(file["reports"], reports);
  if (file["reports"].empty()) _file.refuse(reports, "there are no limits in it");
  for (const auto& [name, entry] : file["reports"].items()) {
    for (const ReportInfo* info : reportsNamed(name, reports / name)) {
      if (std::ranges::find(limits.reports, info, &ReportLimits::info) != limits.reports.end())
        _file.refuse(reports / name, describe(info->id, info->type) + " has limits already");
      limits.reports.push_back(readReport(*info, entry, reports / name));
    }
  }
  return limits;
}

ReportLimits Loader::readReport(const ReportInfo& info, const Json& json, const Pointer& pointer) {
  _file.checkNames(json, pointer, kOfReport);
  ReportLimits limits{&info, false, {}};
  if (json.contains("optional")) {
    if (!json["optional"].is_boolean())
      _file.refuse(pointer / "optional", "true or false should stand here");
    limits.optional = json["optional"].get<bool>();
  }
  const auto& fields = fieldsOf(info, pointer);
  if (fields.empty())
    _file.refuse(pointer,
                 info.decoder + " has no object that limits could be for: it gives lines only");
  if (!json.contains("schema"))
    _file.refuse(pointer, "\"schema\" is missing, which has the limits");

  limits.keys = _schemas.read(info, fields, json["schema"], pointer / "schema");

  if (!json.contains("units")) return limits;
  const Pointer units = pointer / "units";
  _file.checkIsObject(json["units"], units);
  for (const auto& [key, unit] : json["units"].items()) {
    const auto limited = std::ranges::find(limits.keys, key, &KeyLimits::key);
    if (limited == limits.keys.end())
      _file.refuse(units / key, "there are no limits for a key " + inQuotes(key));
    if (std::holds_alternative<std::string>(limited->like))
      _file.refuse(units / key, "this is a string, which has no unit");
    limited->unit = _file.textAt(json["units"], key, units);
  }
  return limits;
}

}  // namespace

Limits parseLimits(std::string_view text, const std::string& name, const KnownReports& known,
                   Plugin& plugin) {
  return Loader(name, known, plugin).load(text);
}

Limits loadLimits(const std::string& path, const KnownReports& known, Plugin& plugin) {
  // Streams tell no reasons, but the system's is still there.
  const auto fail = [&](const char* what) {
    throw LimitsFault(path, std::string(what) + std::generic_category().message(errno));
  };
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) fail("cannot open: ");
  std::string text;
  std::array<char, 65536> piece;
  while (file && text.size() <= kLargestFile) {
    file.read(piece.data(), piece.size());
    text.append(piece.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (!file.eof() && text.size() <= kLargestFile) fail("cannot read: ");
  if (text.size() > kLargestFile) throw LimitsFault(path, "too large for a file of limits");
  return parseLimits(text, path, known, plugin);
}

}  // namespace vesk::host
