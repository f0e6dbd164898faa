/// The plug-in as C++ sees it: a library that is loaded, an instance, and the results it makes.
#pragma once

#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnownReports.h"
#include "plugin/vesk_plugin.h"

namespace vesk::host {

/// The plug-in can't be found, loaded or used.
class PluginFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A decoder failed on a report.
class DecoderFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The loaded library. It stays loaded to the end of the process.
class PluginLibrary {
 public:
  /// Loads the library at `path`, or else the first one found in the usual folders.
  explicit PluginLibrary(const std::optional<std::string>& path);

  /// One that is part of the program: `path` is for messages. Throws PluginFault if the program
  /// can't go on with it.
  PluginLibrary(std::string path, vesk_plugin_entry_fn& entry);

  const vesk_plugin_api& api() const { return *_api; }
  const std::string& path() const { return _path; }

 private:
  std::string _path;
  const vesk_plugin_api* _api;
};

/// What a report decoded to.
class Decoded {
 public:
  Decoded(const vesk_plugin_api& api, vesk_result* result);

  vesk_result_form form() const;

  /// All lines as one block, each ended by a newline.
  std::string_view text() const;

  /// Calls handler.nil(), dictionaryBegin(), key(name), number(n), string(text),
  /// array(kind, values, count) and dictionaryEnd() in the report's order. Throws what the handler
  /// throws, and PluginFault if the plug-in refuses the visit.
  template <class Handler>
  void visit(Handler& handler) const;

 private:
  struct Free {
    const vesk_plugin_api* api;
    void operator()(vesk_result* result) const { api->result_free(result); }
  };

  const vesk_plugin_api* _api;
  std::unique_ptr<vesk_result, Free> _result;
};

/// One instance.
class Plugin {
 public:
  Plugin(const PluginLibrary& library, const std::vector<std::string>& arguments);

  /// The reports that it decodes.
  std::vector<ReportInfo> reports() const;

  enum class Mode { Object, Text };

  /// Decodes `bytes`, which must be as long as `info` demands. Throws DecoderFault.
  Decoded decode(std::span<const std::uint8_t> bytes, const ReportInfo& info, Mode mode);

 private:
  struct Destroy {
    const vesk_plugin_api* api;
    void operator()(vesk_plugin* plugin) const { api->destroy(plugin); }
  };

  void setMode(Mode mode);

  const vesk_plugin_api& _api;
  std::unique_ptr<vesk_plugin, Destroy> _plugin;
  Mode _mode = Mode::Object;
};

namespace detail {

/// The functions that the plug-in calls for a Handler. An exception must not pass through the
/// plug-in: it is kept, the visit stopped, and the exception thrown again on this side.
template <class Handler>
struct Visit {
  Handler& handler;
  std::exception_ptr failure{};

  template <class Call>
  static int guard(void* context, Call call) {
    auto& self = *static_cast<Visit*>(context);
    try {
      call(self.handler);
      return 0;
    } catch (...) {
      self.failure = std::current_exception();
      return 1;
    }
  }

  vesk_visitor functions() {
    vesk_visitor visitor{};
    visitor.size = sizeof visitor;
    visitor.context = this;
    visitor.nil = [](void* self) { return guard(self, [](Handler& h) { h.nil(); }); };
    visitor.dictionary_begin = [](void* self, std::size_t) {
      return guard(self, [](Handler& h) { h.dictionaryBegin(); });
    };
    visitor.key = [](void* self, const char* key, std::size_t length) {
      return guard(self, [=](Handler& h) { h.key({key, length}); });
    };
    visitor.number = [](void* self, const vesk_number* number) {
      return guard(self, [=](Handler& h) { h.number(*number); });
    };
    visitor.string = [](void* self, const char* text, std::size_t length) {
      return guard(self, [=](Handler& h) { h.string({text, length}); });
    };
    visitor.array = [](void* self, std::int32_t kind, const void* values, std::size_t count) {
      return guard(self, [=](Handler& h) { h.array(kind, values, count); });
    };
    visitor.dictionary_end = [](void* self) {
      return guard(self, [](Handler& h) { h.dictionaryEnd(); });
    };
    return visitor;
  }
};

}  // namespace detail

template <class Handler>
void Decoded::visit(Handler& handler) const {
  detail::Visit<Handler> visit{handler};
  const vesk_visitor visitor = visit.functions();
  const vesk_status status = _api->result_visit(_result.get(), &visitor);
  if (visit.failure) std::rethrow_exception(visit.failure);
  if (status != VESK_OK) throw PluginFault("the plug-in refused to show what a report says");
}

}  // namespace vesk::host
