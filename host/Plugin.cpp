#include "host/Plugin.h"

#include <utility>

namespace vesk::host {

namespace {

/// The table of functions, if this program can go on with it. `path` is for the message.
const vesk_plugin_api& checked(const vesk_plugin_api& api, const std::string& path) {
  if (api.abi_version != VESK_ABI_VERSION)
    throw PluginFault(path + " is a plug-in of ABI version " + std::to_string(api.abi_version) +
                      ", and this program needs version " + std::to_string(VESK_ABI_VERSION));
  if (api.size < VESK_API_SIZE_1)
    throw PluginFault(path + " lacks functions of ABI version " + std::to_string(VESK_ABI_VERSION) +
                      ": its table has " + countedBytes(api.size) + ", not " +
                      std::to_string(VESK_API_SIZE_1));
  return api;
}

}  // namespace

PluginLibrary::PluginLibrary(std::string path, vesk_plugin_entry_fn& entry)
    : _path(std::move(path)), _api(&checked(*entry(), _path)) {}

Decoded::Decoded(const vesk_plugin_api& api, vesk_result* result)
    : _api(&api), _result(result, Free{&api}) {}

vesk_result_form Decoded::form() const {
  return static_cast<vesk_result_form>(_api->result_form(_result.get()));
}

std::string_view Decoded::text() const {
  const char* text = nullptr;
  std::size_t length = 0;
  _api->result_text(_result.get(), &text, &length);
  return {text, length};
}

Plugin::Plugin(const PluginLibrary& library, const std::vector<std::string>& arguments)
    : _api(library.api()), _plugin(nullptr, Destroy{&_api}) {
  vesk_plugin* plugin = nullptr;
  if (_api.create(&plugin) != VESK_OK) throw PluginFault("the plug-in makes no instance");
  _plugin.reset(plugin);

  std::vector<const char*> pointers;
  pointers.reserve(arguments.size());
  for (const std::string& argument : arguments) pointers.push_back(argument.c_str());
  int accepted = 0;
  const vesk_status status = _api.parse_args(
      plugin, static_cast<std::int32_t>(pointers.size()), pointers.data(), &accepted);
  if (status != VESK_OK || accepted == 0) throw PluginFault("the plug-in refused its options");
}

std::vector<ReportInfo> Plugin::reports() const {
  std::vector<ReportInfo> reports;
  for (std::size_t i = 0; i < _api.report_count(_plugin.get()); ++i) {
    vesk_report_info row{};  // an older plug-in leaves zero what it does not know
    row.size = sizeof row;
    if (_api.report_info(_plugin.get(), i, &row) != VESK_OK)
      throw PluginFault(_api.error_message(_plugin.get()));
    ReportInfo& info = reports.emplace_back();
    info.id = row.report_id;
    info.type = static_cast<ReportType>(row.report_type);
    info.decoder = row.decoder;
    if (row.display_name != nullptr) info.displayName = row.display_name;
    info.smallest = static_cast<std::size_t>(row.smallest_buffer);
    info.exactLength = row.exact_length != 0;
    info.nulTerminated = row.nul_terminated != 0;
    if (row.counter_key != nullptr)
      info.counter = {row.counter_key, static_cast<std::size_t>(row.counter_offset)};
  }
  return reports;
}

void Plugin::setMode(Mode mode) {
  if (mode == _mode) return;
  _api.set_use_strings(_plugin.get(), mode == Mode::Text ? 1 : 0);
  _mode = mode;
}

Decoded Plugin::decode(std::span<const std::uint8_t> bytes, const ReportInfo& info, Mode mode) {
  setMode(mode);
  vesk_result* result = nullptr;
  const vesk_status status = _api.report_to_object(_plugin.get(),
                                                   bytes.data(),
                                                   info.id,
                                                   static_cast<std::int32_t>(info.type),
                                                   static_cast<std::int64_t>(bytes.size()),
                                                   &result);
  if (status != VESK_OK) throw DecoderFault(_api.error_message(_plugin.get()));
  return {_api, result};
}

}  // namespace vesk::host
