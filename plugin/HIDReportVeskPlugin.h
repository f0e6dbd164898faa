/// The plug-in's one class: decodes the Vesk controller's HID reports.
///
/// A host makes an instance, hands it the plug-in's options, and then one report after another:
///
///     auto plugin = vesk::HIDReportVeskPlugin::init();
///     if (!plugin) ...                                       // no memory
///     const char* const options[] = {"-decimal"};
///     plugin->parseArgs(1, options);
///
///     char report[] = "\xD0" "1.2.3";                        // byte 0 is the report ID
///     const auto result = plugin->reportToObject(report, 0xD0, vesk::kFeature, sizeof report);
///     result.object()->string();                             // "1.2.3"
///     plugin->parseReport(report, 0xD0, vesk::kFeature, sizeof report);  // prints it
///
/// Reports of an unknown type or ID give nil: no result, nothing printed, no error.
///
/// The decoders of feature reports read the whole layout of their report whatever length they are
/// told: a host must not hand over a shorter buffer (decoderInfo() says how long it must be). Where
/// the platform's collections would raise, an exception leaves the operation: std::invalid_argument
/// for a missing element, std::out_of_range for an index past the end, std::bad_alloc for memory.
/// The instance stays usable. Calls on one instance must not overlap; there is no lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "model/LineList.h"
#include "model/Number.h"
#include "model/Result.h"
#include "model/wire.h"
#include "plugin/Error.h"
#include "plugin/ReportTable.h"

namespace vesk {

/// HID report types, as a host passes them.
inline constexpr std::int32_t kInput = 0;
inline constexpr std::int32_t kOutput = 1;
inline constexpr std::int32_t kFeature = 2;

/// Options as a dictionary. Keys: "Decimal" and "UseStrings". A value switches on if it is a number
/// equal to YES, of whatever kind; every other number, a string, or no value switches off.
using PluginConfig = std::map<std::string, std::variant<Number, std::string>>;

/// The number that each report of a stream carries, one more than that of the report before it: an
/// unsigned 32-bit field that wraps around.
struct StreamCounter {
  std::string_view key{};  // under which the object has it, "FRAME_NUMBER"; empty: there is none
  std::size_t offset = 0;  // of the field, in bytes from the report ID

  friend constexpr bool operator==(const StreamCounter&, const StreamCounter&) = default;
};

/// What a host must know of a decoder before it hands over a report.
struct DecoderInfo {
  std::string_view name;
  std::size_t smallestBuffer;  // bytes that are read at least, the report ID included
  bool exactLength;            // every other report_len than smallestBuffer is refused with nil
  bool nulTerminated;          // the text from byte 1 runs to the first NUL, wherever it lies
  StreamCounter counter;
};

class __attribute__((visibility("default"))) HIDReportVeskPlugin {
 public:
  /// `init`: a whole instance in object mode, with its three tables; null if there is no memory for
  /// it.
  static std::unique_ptr<HIDReportVeskPlugin> init() noexcept;
  ~HIDReportVeskPlugin();

  HIDReportVeskPlugin(const HIDReportVeskPlugin&) = delete;
  HIDReportVeskPlugin& operator=(const HIDReportVeskPlugin&) = delete;

  // ------------------------------------------------------------------------------- properties

  /// The report buffer of the last report handed in; byte 0 is the report ID. Not owned, and valid
  /// only during the call that stored it.
  char* report_buf() const { return _report_buf; }
  void setReport_buf(char* buffer) { _report_buf = buffer; }

  std::uint32_t report_type() const { return _report_type; }
  void setReport_type(std::uint32_t type) { _report_type = type; }

  std::uint32_t report_id() const { return _report_id; }
  void setReport_id(std::uint32_t id) { _report_id = id; }

  /// Bytes in the buffer, as the host gave it.
  std::int64_t report_len() const { return _report_len; }
  void setReport_len(std::int64_t length) { _report_len = length; }

  /// Sample blocks in decimal instead of hexadecimal.
  bool displayDecimal() const { return _displayDecimal; }
  void setDisplayDecimal(bool decimal) { _displayDecimal = decimal; }

  /// true: decoders return lines (text mode); false: objects (object mode).
  bool useStrings() const { return _useStrings; }
  void setUseStrings(bool use) { _useStrings = use; }

  /// Report ID to decoder name: feature reports and input reports. Dispatch follows the table
  /// that is set; without one (null) no report is known.
  std::shared_ptr<const ReportTable> reportIds() const { return _reportIds; }
  void setReportIds(std::shared_ptr<const ReportTable> table) { _reportIds = std::move(table); }
  std::shared_ptr<const ReportTable> inputReportIds() const { return _inputReportIds; }
  void setInputReportIds(std::shared_ptr<const ReportTable> table) {
    _inputReportIds = std::move(table);
  }

  /// Feature report ID to display name: the decoder's name without its first six characters.
  std::shared_ptr<const ReportTable> reportIdNames() const { return _reportIdNames; }

  // ---------------------------------------------------------------------------------- options

  /// `parseArgs:argv:`: applies `argc` options (no program name among them); true if they were
  /// accepted. An invalid one prints the error's description with puts and changes nothing. A
  /// success leaves the instance in object mode. Throws std::invalid_argument for an option that is
  /// null or not UTF-8.
  bool parseArgs(std::int32_t argc, const char* const* argv);

  /// `argsToConfig:error:`: the configuration that the options ask for; nothing, and *error set
  /// (unless `error` is null), at the first invalid one.
  std::optional<PluginConfig> argsToConfig(const std::vector<std::string>& args,
                                           std::optional<Error>* error) const;

  /// `configParser:error:`: sets both switches from a configuration. Always true; *error is never
  /// written.
  bool configParser(const PluginConfig& config, std::optional<Error>* error);

  // --------------------------------------------------------------------------------- dispatch

  /// `parseReport:reportID:type:length:`: decodes a report in text mode and prints its lines;
  /// false, with nothing printed, if there are none. The instance stays in text mode.
  bool parseReport(char* buffer, std::uint32_t reportID, std::int32_t type, std::int64_t length);

  /// `reportToObject:reportID:type:length:`: decodes a report in the current mode.
  Result reportToObject(char* buffer, std::uint32_t reportID, std::int32_t type,
                        std::int64_t length);

  /// `runParser:reportID:type:length:`: stores the four values, then calls the decoder that the
  /// table of the type names for the ID; nil if there is none. Throws std::invalid_argument for a
  /// name that no decoder has.
  Result runParser(char* buffer, std::uint32_t reportID, std::int32_t type, std::int64_t length);

  /// `printStrings:`: writes a newline, each line, and a newline to standard output; false, with
  /// nothing printed, for nil (null).
  bool printStrings(const LineList* lines) const;

  /// What a host must know of the decoder of that name; null if there is none. Lives as long as the
  /// library.
  static const DecoderInfo* decoderInfo(std::string_view name);

  // ----------------------------------------------------------------------------- value arrays
  // Runs of `dataLength` elements that lie in a report, at any alignment.

  /// `addArrayUint32:data:dataLength:format:` and its siblings: append the values to `lines`, eight
  /// to a line, each as printf makes it in the "C" locale of `format`, which has exactly one
  /// conversion for one value ("%08x "): one of d i u o x X c for the whole numbers, one of
  /// f F e E g G a A for floats. A length modifier converts the value to the type that it names
  /// ("%hhx"). No value at all appends one empty line, whatever the format. Throw
  /// std::invalid_argument for another format, and for * and 1$.
  void addArrayUint32(LineList& lines, const u32* data, std::uint32_t dataLength,
                      const char* format) const;
  void addArrayInt32(LineList& lines, const i32* data, std::uint32_t dataLength,
                     const char* format) const;
  void addArrayFloat(LineList& lines, const f32* data, std::uint32_t dataLength,
                     const char* format) const;

  /// `arrayWithUint32Array:length:` and its siblings: the values as numbers.
  NumberArray arrayWithUint32Array(const u32* data, std::uint32_t length) const;
  NumberArray arrayWithInt32Array(const i32* data, std::uint32_t length) const;
  NumberArray arrayWithFloatArray(const f32* data, std::uint32_t length) const;

  // --------------------------------------------------------------------------------- decoders
  // Each reads the stored report and the two switches, and keeps nothing.

  Result parseVersion();                  // feature 0xD0
  Result parseVersionExtended();          // feature 0xD2
  Result parseWatchDogReport();           // feature 0xDF
  Result parsePowerModeStats();           // feature 0xA9
  Result parseVeskImage();                // input 0x76
  Result parseAdcDumpConfig();            // feature 0xDC
  Result parseAdcDumpState();             // feature 0xDE
  Result parseAdcDumpPacket();            // input 0x77
  Result parserVeskAlgBaselineRequest();  // feature 0xA2
  Result parseBlackBoxSummary();          // feature 0xE0
  Result parseBlackBoxFullReport();       // feature 0xE1, 0xEA
  Result parseBlackBoxConfig();           // feature 0xE2; nil in object mode
  Result parseOpenShortTest();            // feature 0xE3
  Result parseOpenShortData();            // feature 0xE4, 0xE5

  // ------------------------------------------------------------- pieces that decoders share

  /// `errorLevelToString:levelStr:`: stores the name of a severity level (0 to 5: TRACE, DEBUG,
  /// INFO, WARNING, ERROR, CRITICAL), a constant string, in *levelStr. Leaves *levelStr alone for
  /// any other level.
  void errorLevelToString(unsigned char level, const char** levelStr) const;

  /// `blackBoxOptionToString:eventName:printLevel:`: the configuration line of one event, from its
  /// option byte: the name right-aligned in 40 columns, the severity level if `printLevel`, and the
  /// flags.
  std::string blackBoxOptionToString(unsigned char option, const char* eventName,
                                     bool printLevel) const;

  /// `printOSTResult:result:`: the label, a blank, and bits 47 to 0 of a channel mask as marks, X or
  /// '.', in groups of eight, each with a blank before it.
  std::string printOSTResult(const char* label, std::uint64_t result) const;

 private:
  HIDReportVeskPlugin() = default;

  char* _report_buf = nullptr;
  std::uint32_t _report_type = 0;
  std::uint32_t _report_id = 0;
  std::int64_t _report_len = 0;
  bool _displayDecimal = false;
  bool _useStrings = false;
  std::shared_ptr<const ReportTable> _inputReportIds;
  std::shared_ptr<const ReportTable> _reportIds;
  std::shared_ptr<const ReportTable> _reportIdNames;
};

}  // namespace vesk
