#include "plugin/HIDReportVeskPlugin.h"

#include <cstdio>
#include <new>
#include <stdexcept>

#include "plugin/registry.h"
#include "plugin/report_list.h"
#include "text/utf8.h"

namespace vesk {

namespace {

/// The reports of one type, with their decoders.
std::shared_ptr<const ReportTable> makeTable(std::int32_t type) {
  auto table = std::make_shared<ReportTable>();
  for (const ListedReport& report : kReports)
    if (report.type == type) table->set(static_cast<int>(report.id), std::string(report.decoder));
  return table;
}

/// Hosts know the display names as they are, "ersion" included: the cut is six characters for every
/// decoder, although "parse" has five.
std::shared_ptr<const ReportTable> makeDisplayNames(const ReportTable& decoders) {
  auto names = std::make_shared<ReportTable>();
  for (const auto& [id, decoder] : decoders) names->set(id, decoder.substr(6));
  return names;
}

bool isYes(const PluginConfig& config, const char* key) {
  const auto entry = config.find(key);
  if (entry == config.end()) return false;
  const auto* const number = std::get_if<Number>(&entry->second);
  return number != nullptr && *number == Number(true);
}

}  // namespace

// --------------------------------------------------------------------------------- life and death

std::unique_ptr<HIDReportVeskPlugin> HIDReportVeskPlugin::init() noexcept try {
  std::unique_ptr<HIDReportVeskPlugin> plugin(new HIDReportVeskPlugin);
  plugin->_reportIds = makeTable(kFeature);
  plugin->_inputReportIds = makeTable(kInput);
  plugin->_reportIdNames = makeDisplayNames(*plugin->_reportIds);
  return plugin;
} catch (const std::bad_alloc&) {
  return nullptr;
}

// In this order, which is not that of the members: a host's table may tell when it is let go.
HIDReportVeskPlugin::~HIDReportVeskPlugin() {
  _reportIds.reset();
  _inputReportIds.reset();
  _reportIdNames.reset();
}

// ---------------------------------------------------------------------------------------- options

bool HIDReportVeskPlugin::parseArgs(std::int32_t argc, const char* const* argv) {
  std::vector<std::string> args;
  for (std::int32_t i = 0; i < argc; ++i) {
    if (argv[i] == nullptr || !isUtf8(argv[i]))
      throw std::invalid_argument("option " + std::to_string(i) + " is null or not UTF-8");
    args.emplace_back(argv[i]);
  }
  std::optional<Error> error;
  const auto config = argsToConfig(args, &error);
  if (!config || !configParser(*config, &error)) {
    std::puts(error->description().c_str());
    return false;
  }
  return true;
}

std::optional<PluginConfig> HIDReportVeskPlugin::argsToConfig(const std::vector<std::string>& args,
                                                              std::optional<Error>* error) const {
  PluginConfig config;
  for (const std::string& arg : args) {
    if (arg == "-decimal") {
      config.insert_or_assign("Decimal", Number(true));
      continue;
    }
    if (error != nullptr)
      *error = Error{"HIDReportVeskPlugin",
                     kIOReturnBadArgument,
                     {{NSLocalizedDescriptionKey, "Invalid option: " + arg}}};
    return std::nullopt;
  }
  return config;
}

bool HIDReportVeskPlugin::configParser(const PluginConfig& config, std::optional<Error>*) {
  setUseStrings(isYes(config, "UseStrings"));
  setDisplayDecimal(isYes(config, "Decimal"));
  return true;
}

// --------------------------------------------------------------------------------------- dispatch

Result HIDReportVeskPlugin::runParser(char* buffer, std::uint32_t reportID, std::int32_t type,
                                      std::int64_t length) {
  setReport_type(static_cast<std::uint32_t>(type));
  setReport_buf(buffer);
  setReport_id(reportID);
  setReport_len(length);

  const ReportTable* const table = type == kFeature ? _reportIds.get()
                                   : type == kInput ? _inputReportIds.get()
                                                    : nullptr;
  const std::string* const name = table != nullptr ? table->find(reportID) : nullptr;
  if (name == nullptr) return {};
  const Decoder* const decoder = findDecoder(*name);
  if (decoder == nullptr) throw std::invalid_argument("no decoder has the name \"" + *name + '"');
  return (this->*decoder->decode)();
}

Result HIDReportVeskPlugin::reportToObject(char* buffer, std::uint32_t reportID, std::int32_t type,
                                           std::int64_t length) {
  return runParser(buffer, reportID, type, length);
}

bool HIDReportVeskPlugin::parseReport(char* buffer, std::uint32_t reportID, std::int32_t type,
                                      std::int64_t length) {
  setUseStrings(true);
  const Result result = runParser(buffer, reportID, type, length);
  return printStrings(result.lines());
}

bool HIDReportVeskPlugin::printStrings(const LineList* lines) const {
  if (lines == nullptr) return false;
  std::putchar('\n');
  std::string line;  // puts wants a NUL where the block has a newline
  for (std::size_t i = 0; i < lines->size(); ++i) {
    line = (*lines)[i];
    std::puts(line.c_str());
  }
  std::putchar('\n');
  return true;
}

const DecoderInfo* HIDReportVeskPlugin::decoderInfo(std::string_view name) {
  const Decoder* const decoder = findDecoder(name);
  return decoder != nullptr ? &decoder->info : nullptr;
}

}  // namespace vesk
