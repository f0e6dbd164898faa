// The C interface: a thin, exception-tight skin over the class.

#include <cstddef>
#include <cstring>
#include <exception>
#include <iterator>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>

#include "plugin/HIDReportVeskPlugin.h"
#include "plugin/vesk_plugin.h"

struct vesk_plugin {
  std::unique_ptr<vesk::HIDReportVeskPlugin> plugin;
  // Of the last failure: no allocation, since that may be what failed. Calls that leave the instance
  // as it is can fail, too.
  mutable char message[256];
};

struct vesk_result {
  vesk::Result result;
};

namespace {

using vesk::Kind;
using vesk::Number;

static_assert(static_cast<int>(Kind::Bool) == VESK_BOOL);
static_assert(static_cast<int>(Kind::UnsignedChar) == VESK_UNSIGNED_CHAR);
static_assert(static_cast<int>(Kind::UnsignedShort) == VESK_UNSIGNED_SHORT);
static_assert(static_cast<int>(Kind::UnsignedInt) == VESK_UNSIGNED_INT);
static_assert(static_cast<int>(Kind::Int) == VESK_INT);
static_assert(static_cast<int>(Kind::LongLong) == VESK_LONG_LONG);
static_assert(static_cast<int>(Kind::UnsignedLongLong) == VESK_UNSIGNED_LONG_LONG);
static_assert(static_cast<int>(Kind::Float) == VESK_FLOAT);
static_assert(static_cast<int>(Kind::Double) == VESK_DOUBLE);
static_assert(vesk::kInput == VESK_INPUT && vesk::kFeature == VESK_FEATURE);

vesk_status fail(const vesk_plugin* plugin, vesk_status status, const char* message) noexcept {
  std::strncpy(plugin->message, message, sizeof plugin->message - 1);
  return status;
}

/// Runs a call on an instance; what it throws becomes a status and a message.
template <class Call>
vesk_status guarded(vesk_plugin* plugin, const Call& call) noexcept try {
  call();
  return VESK_OK;
} catch (const std::bad_alloc&) {
  return fail(plugin, VESK_NO_MEMORY, "out of memory");
} catch (const std::exception& error) {
  return fail(plugin, VESK_DECODER_FAILED, error.what());
}

// Structures whose caller says how large they are. A host that was compiled against another header
// than this library may have a shorter one or a longer one.

#define VESK_END_OF(structure, member) (offsetof(structure, member) + sizeof(structure::member))

constexpr std::size_t kVisitorEnds[] = {
    VESK_END_OF(vesk_visitor, size),
    VESK_END_OF(vesk_visitor, context),
    VESK_END_OF(vesk_visitor, nil),
    VESK_END_OF(vesk_visitor, dictionary_begin),
    VESK_END_OF(vesk_visitor, key),
    VESK_END_OF(vesk_visitor, number),
    VESK_END_OF(vesk_visitor, string),
    VESK_END_OF(vesk_visitor, array),
    VESK_END_OF(vesk_visitor, dictionary_end),
};
static_assert(*std::rbegin(kVisitorEnds) == sizeof(vesk_visitor));

constexpr std::size_t kReportInfoEnds[] = {
    VESK_END_OF(vesk_report_info, size),
    VESK_END_OF(vesk_report_info, report_id),
    VESK_END_OF(vesk_report_info, report_type),
    VESK_END_OF(vesk_report_info, decoder),
    VESK_END_OF(vesk_report_info, display_name),
    VESK_END_OF(vesk_report_info, smallest_buffer),
    VESK_END_OF(vesk_report_info, exact_length),
    VESK_END_OF(vesk_report_info, nul_terminated),
    VESK_END_OF(vesk_report_info, counter_key),
    VESK_END_OF(vesk_report_info, counter_offset),
};
static_assert(*std::rbegin(kReportInfoEnds) == sizeof(vesk_report_info));

#undef VESK_END_OF

/// Bytes of the members that `size` covers whole: half a pointer would be none. 0 for a size that
/// does not cover itself.
constexpr std::size_t coveredBytes(std::uint32_t size, std::span<const std::size_t> ends) {
  std::size_t covered = 0;
  for (const std::size_t end : ends)
    if (end <= size) covered = end;
  return covered;
}

static_assert(coveredBytes(0, kVisitorEnds) == 0);
static_assert(coveredBytes(3, kVisitorEnds) == 0);
static_assert(coveredBytes(4, kVisitorEnds) == 4);
static_assert(coveredBytes(offsetof(vesk_visitor, nil) + 1, kVisitorEnds) ==
              offsetof(vesk_visitor, nil));
static_assert(coveredBytes(0xFFFFFFFF, kVisitorEnds) == sizeof(vesk_visitor));

// -------------------------------------------------------------------------------- the instance

vesk_status create(vesk_plugin** plugin) noexcept {
  *plugin = nullptr;
  auto instance = vesk::HIDReportVeskPlugin::init();
  if (!instance) return VESK_NO_MEMORY;
  *plugin = new (std::nothrow) vesk_plugin{std::move(instance), ""};
  return *plugin != nullptr ? VESK_OK : VESK_NO_MEMORY;
}

void destroy(vesk_plugin* plugin) noexcept { delete plugin; }

const char* errorMessage(const vesk_plugin* plugin) noexcept { return plugin->message; }

vesk_status parseArgs(vesk_plugin* plugin, std::int32_t count, const char* const* arguments,
                      int* accepted) noexcept {
  return guarded(plugin, [&] { *accepted = plugin->plugin->parseArgs(count, arguments) ? 1 : 0; });
}

/// The class takes the buffer as the host's own `char*`; no decoder writes to it.
char* bytes(const void* buffer) { return static_cast<char*>(const_cast<void*>(buffer)); }

vesk_status parseReport(vesk_plugin* plugin, const void* buffer, std::uint32_t report_id,
                        std::int32_t type, std::int64_t length, int* printed) noexcept {
  return guarded(plugin, [&] {
    *printed = plugin->plugin->parseReport(bytes(buffer), report_id, type, length) ? 1 : 0;
  });
}

vesk_status reportToObject(vesk_plugin* plugin, const void* buffer, std::uint32_t report_id,
                           std::int32_t type, std::int64_t length, vesk_result** result) noexcept {
  *result = nullptr;
  return guarded(plugin, [&] {
    vesk::Result decoded = plugin->plugin->reportToObject(bytes(buffer), report_id, type, length);
    *result = std::make_unique<vesk_result>(vesk_result{std::move(decoded)}).release();
  });
}

vesk_status setUseStrings(vesk_plugin* plugin, int use_strings) noexcept {
  plugin->plugin->setUseStrings(use_strings != 0);
  return VESK_OK;
}

int useStrings(const vesk_plugin* plugin) noexcept { return plugin->plugin->useStrings() ? 1 : 0; }

// ------------------------------------------------------------------------------------- results

void resultFree(vesk_result* result) noexcept { delete result; }

std::int32_t resultForm(const vesk_result* result) noexcept {
  if (result->result.lines() != nullptr) return VESK_LINES;
  const vesk::ReportObject* const object = result->result.object();
  if (object == nullptr) return VESK_NIL;
  return object->isString() ? VESK_STRING : VESK_DICTIONARY;
}

std::size_t resultCount(const vesk_result* result) noexcept {
  if (const vesk::LineList* const lines = result->result.lines()) return lines->size();
  const vesk::ReportObject* const object = result->result.object();
  if (object == nullptr) return 0;
  return object->isString() ? 1 : object->size();
}

// NOLINTNEXTLINE(bugprone-exception-escape): the index is checked
vesk_status resultLine(const vesk_result* result, std::size_t index, const char** text,
                       std::size_t* length) noexcept {
  const vesk::LineList* const lines = result->result.lines();
  if (lines == nullptr || index >= lines->size()) return VESK_BAD_ARGUMENT;
  const std::string_view line = (*lines)[index];
  *text = line.data();
  *length = line.size();
  return VESK_OK;
}

vesk_status resultText(const vesk_result* result, const char** text, std::size_t* length) noexcept {
  const vesk::LineList* const lines = result->result.lines();
  if (lines == nullptr) return VESK_BAD_ARGUMENT;
  *text = lines->text().data();
  *length = lines->text().size();
  return VESK_OK;
}

/// Calls a visitor's functions; `going` turns false when one of them asks to stop.
class Visit {
 public:
  explicit Visit(const vesk_visitor& visitor) : _visitor(visitor) {}

  bool going() const { return _going; }

  void nil() { call(_visitor.nil); }
  void string(std::string_view text) { call(_visitor.string, text.data(), text.size()); }

  void dictionary(const vesk::ReportObject& object) {
    call(_visitor.dictionary_begin, object.size());
    for (std::size_t i = 0; _going && i < object.size(); ++i) {
      const std::string_view key = object.key(i);
      call(_visitor.key, key.data(), key.size());
      std::visit([this](const auto& value) { this->value(value); }, object.value(i));
    }
    call(_visitor.dictionary_end);
  }

 private:
  void value(std::string_view text) { string(text); }

  void value(const vesk::NumberSpan& span) {
    call(_visitor.array, static_cast<std::int32_t>(span.kind()), span.data(), span.size());
  }

  void value(const Number& number) {
    vesk_number out{static_cast<std::int32_t>(number.kind()), {0}};
    if (number.isReal())
      out.value.d = number.real();
    else
      out.value.u = number.bits();  // those of value.i, for the signed kinds
    call(_visitor.number, &out);
  }

  template <class... Parameter, class... Argument>
  void call(int (*function)(void*, Parameter...), Argument... argument) {
    if (_going && function != nullptr && function(_visitor.context, argument...) != 0)
      _going = false;
  }

  vesk_visitor _visitor;
  bool _going = true;
};

vesk_status visitAll(const vesk::Result& result, const vesk_visitor& visitor) {
  Visit visit(visitor);
  if (const vesk::LineList* const lines = result.lines()) {
    for (std::size_t i = 0; visit.going() && i < lines->size(); ++i) visit.string((*lines)[i]);
  } else if (const vesk::ReportObject* const object = result.object()) {
    object->isString() ? visit.string(object->string()) : visit.dictionary(*object);
  } else {
    visit.nil();
  }
  return visit.going() ? VESK_OK : VESK_STOPPED;
}

// NOLINTNEXTLINE(bugprone-exception-escape): every index is below the size
vesk_status resultVisit(const vesk_result* result, const vesk_visitor* visitor) noexcept {
  if (visitor->size >= sizeof(vesk_visitor)) return visitAll(result->result, *visitor);
  const std::size_t covered = coveredBytes(visitor->size, kVisitorEnds);
  if (covered == 0) return VESK_BAD_ARGUMENT;
  vesk_visitor known{};
  std::memcpy(&known, visitor, covered);
  return visitAll(result->result, known);
}

// -------------------------------------------------------------------------------------- tables

// Those of a new instance: nothing in this interface replaces a table.

std::size_t reportCount(const vesk_plugin* plugin) noexcept {
  return plugin->plugin->reportIds()->size() + plugin->plugin->inputReportIds()->size();
}

vesk_status reportInfo(const vesk_plugin* plugin, std::size_t index,
                       vesk_report_info* info) noexcept {
  const std::size_t covered = coveredBytes(info->size, kReportInfoEnds);
  if (covered == 0)
    return fail(plugin, VESK_BAD_ARGUMENT, "the size of a vesk_report_info is not set");
  if (index >= reportCount(plugin))
    return fail(plugin, VESK_BAD_ARGUMENT, "the report tables have no row of this index");
  const auto features = plugin->plugin->reportIds();
  const auto inputs = plugin->plugin->inputReportIds();
  const bool feature = index < features->size();
  const auto& [id, decoder] =
      feature ? features->begin()[static_cast<std::ptrdiff_t>(index)]
              : inputs->begin()[static_cast<std::ptrdiff_t>(index - features->size())];
  const std::string* const display = feature ? plugin->plugin->reportIdNames()->find(id) : nullptr;
  const vesk::DecoderInfo& known = *vesk::HIDReportVeskPlugin::decoderInfo(decoder);

  vesk_report_info row{};
  row.size = info->size;
  row.report_id = static_cast<std::uint32_t>(id.bits());
  row.report_type = feature ? VESK_FEATURE : VESK_INPUT;
  row.decoder = decoder.c_str();
  row.display_name = display != nullptr ? display->c_str() : nullptr;
  row.smallest_buffer = known.smallestBuffer;
  row.exact_length = known.exactLength ? 1 : 0;
  row.nul_terminated = known.nulTerminated ? 1 : 0;
  if (!known.counter.key.empty()) {
    row.counter_key = known.counter.key.data();  // a literal: it has its NUL
    row.counter_offset = known.counter.offset;
  }
  std::memcpy(info, &row, covered);
  return VESK_OK;
}

constexpr vesk_plugin_api kApi = {
    .abi_version = VESK_ABI_VERSION,
    .size = sizeof(vesk_plugin_api),
    .plugin_version = VESK_VERSION,
    .create = create,
    .destroy = destroy,
    .error_message = errorMessage,
    .parse_args = parseArgs,
    .parse_report = parseReport,
    .report_to_object = reportToObject,
    .set_use_strings = setUseStrings,
    .use_strings = useStrings,
    .result_free = resultFree,
    .result_form = resultForm,
    .result_count = resultCount,
    .result_line = resultLine,
    .result_text = resultText,
    .result_visit = resultVisit,
    .report_count = reportCount,
    .report_info = reportInfo,
};

}  // namespace

const vesk_plugin_api* vesk_plugin_entry(void) { return &kApi; }
