// Black box configuration 0xE2: how the firmware treats an event, one option byte for each.

#include <array>

#include "plugin/vesk_plugin.h"
#include "reports/blackbox/catalogue.h"
#include "reports/blackbox/severity.h"
#include "reports/decoder.h"

namespace vesk {

namespace {

using namespace blackbox;

template <std::size_t events>
struct OptionBytes {
  u8 event[events];
};

struct ConfigReport {
  u8 id;
  u8 global[kSeverityNames.size()];  // by severity
  Modules<OptionBytes> modules;
};
static_assert(sizeof(ConfigReport) == layoutSize("parseBlackBoxConfig"));
static_assert(offsetof(ConfigReport, modules.black_box) == 7);
static_assert(offsetof(ConfigReport, modules.pse) == 12);
static_assert(offsetof(ConfigReport, modules.open_short_test) == 22);
static_assert(offsetof(ConfigReport, modules.scan_logger) == 28);
static_assert(offsetof(ConfigReport, modules.svc_smgr) == 29);
static_assert(offsetof(ConfigReport, modules.blob) == 33);
static_assert(offsetof(ConfigReport, modules.hidspi_master) == 96);
static_assert(offsetof(ConfigReport, modules.algs) == 113);
static_assert(offsetof(ConfigReport, modules.sys) == 183);
static_assert(offsetof(ConfigReport, modules.zub) == 185);
static_assert(offsetof(ConfigReport, modules.hidspi_slave) == 195);
static_assert(offsetof(ConfigReport, modules.otp) == 221);
static_assert(offsetof(ConfigReport, modules.pmgr) == 224);
static_assert(offsetof(ConfigReport, modules.last_blob) == 225);

// --------------------------------------------------------------------------------- an option byte

using OptionText = format::Text<48>;

/// The flags of an option byte, bits 3 to 7: masked, message, GPIO, breakpoint, in this order (not
/// that of the bits), each with a blank behind it.
constexpr OptionText flagsOf(unsigned option) {
  constexpr std::string_view gpio[] = {"", "GPIO_0 ", "GPIO_1 ", "GPIO_2 "};
  if ((option & 0xF8) == 0) return OptionText("(no options set)");
  return {(option & 0x08) != 0 ? "MASKED " : "",
          (option & 0x40) != 0 ? "MESSAGE " : "",
          gpio[option >> 4 & 3],
          (option & 0x80) != 0 ? "BREAKPOINT " : ""};
}

/// The severity level before them; one without a name as a null string prints.
constexpr OptionText levelAndFlagsOf(unsigned option) {
  const char* const level = severityName(static_cast<unsigned char>(option & kSeverityMask));
  return {level != nullptr ? level : "(null)", " ", flagsOf(option).view()};
}

/// The text of each of the 256 option bytes.
template <OptionText (*textOf)(unsigned)>
constexpr std::array<OptionText, 256> makeTexts() {
  std::array<OptionText, 256> texts;
  for (unsigned option = 0; option < texts.size(); ++option) texts[option] = textOf(option);
  return texts;
}

constexpr auto kFlags = makeTexts<flagsOf>();
constexpr auto kLevelsAndFlags = makeTexts<levelAndFlagsOf>();

/// The texts of option bytes, from one of the tables.
template <std::size_t count>
struct Texts {
  static constexpr std::size_t kExtent = count;
  const std::array<OptionText, 256>& of;
  const u8 (&option)[count];
  const OptionText& operator[](std::size_t i) const { return of[option[i]]; }
};

template <std::size_t count>
Texts(const std::array<OptionText, 256>&, const u8 (&)[count]) -> Texts<count>;

// ------------------------------------------------------------------------------------------ text

constexpr auto kGlobalLabels = std::array{Label("Global Trace Config"),
                                          Label("Global Debug Config"),
                                          Label("Global Info Config"),
                                          Label("Global Warning Config"),
                                          Label("Global Error Config"),
                                          Label("Global Critical Config")};

/// The severities and an empty line; then of each module its events and an empty line, and of a blob
/// its name before them.
constexpr std::size_t kLines = kGlobalLabels.size() + 1 + kEvents + kModules + kBlobs;
static_assert(kLines == 264);

/// Room for them: no line is longer than a label and the text of an option byte can be, unless a host
/// gave a blob a long name.
constexpr std::size_t kCharacters =
    kLines * (sizeof(Label::characters) + sizeof(OptionText::characters) + 1);

LineList lines(ConfigReport r) {
  // The line of SINGLE_OPEN has always shown the byte of DOUBLE_OPEN; its own byte is not shown.
  auto& openShort = r.modules.open_short_test.event;
  openShort[4] = openShort[3];

  LineList out(kLines, kCharacters);
  out.add(each<"%s %s">(kGlobalLabels, Texts{kFlags, r.global}), line<"">());
  visitNamed(r.modules, [&out](const auto& module, const auto& options, std::size_t) {
    out.add(each<"%s%s">(module.event, Texts{kLevelsAndFlags, options.event}), line<"">());
  });
  visitBlobs(r.modules, [&out](std::size_t row, const auto& options, std::size_t) {
    out.add(line<"%40s">(blob_names[row]),
            each<"%s%s">(kBlobEvents, Texts{kLevelsAndFlags, options.event}),
            line<"">());
  });
  return out;
}

}  // namespace

std::string HIDReportVeskPlugin::blackBoxOptionToString(unsigned char option, const char* eventName,
                                                        bool printLevel) const {
  if (printLevel) return format::string<"%40s: %s">(eventName, kLevelsAndFlags[option]);
  return format::string<"%40s:  %s">(eventName, kFlags[option]);
}

Result HIDReportVeskPlugin::parseBlackBoxConfig() {
  if (!useStrings()) return {};  // the configuration has no object
  return lines(view<ConfigReport>(report_buf()));
}

}  // namespace vesk
