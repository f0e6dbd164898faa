#include "host/run/Options.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <functional>
#include <string_view>
#include <utility>

#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::array<std::pair<std::string_view, ColourChoice>, 3> kColourChoices = {{
    {"auto", ColourChoice::Auto},
    {"always", ColourChoice::Always},
    {"never", ColourChoice::Never},
}};

constexpr std::array<std::pair<std::string_view, ReportType>, 3> kTypes = {{
    {"input", ReportType::Input},
    {"output", ReportType::Output},
    {"feature", ReportType::Feature},
}};

constexpr unsigned kMostJobs = 64;

constexpr const char* kExamples = R"(Examples:
  vesk-decode capture.hex                     decode lines of hex digits
  vesk-decode -o ndjson usb.pcapng | jq .     one JSON record a report
  vesk-decode /dev/hidraw3                    ask a controller for its feature reports
  vesk-decode --follow -o hid hid:vesk > a.hid  record a controller now, and look later
  vesk-decode -o csv --report 0x76 usb.pcap   image frames for a spreadsheet
  vesk-decode -o recording a.pcap > a.hid     convert to a recording
  vesk-decode -o html usb.pcapng > usb.html   a page that shows the reports in any browser
  xxd report.bin | vesk-decode --headers      say where each report comes from

Exit status:
  0  everything was decoded
  1  some reports were malformed, unknown or refused
  2  the command line makes no sense, or the file of limits
  3  an input can't be read, or the output can't be written
  4  the plug-in can't be loaded
  5  everything was decoded, and a limit was not kept)";

[[noreturn]] void refuseChoice(const std::string& option, const std::string& name,
                               const auto& choices, auto nameOfChoice) {
  std::string known;
  for (const auto& choice : choices)
    known += (known.empty() ? "" : ", ") + std::string(std::invoke(nameOfChoice, choice));
  throw UsageFault(option + " " + name + ": choose one of " + known);
}

/// The value that `name` stands for in `choices`, which are pairs of both.
template <class Choices>
auto choose(const std::string& option, const std::string& name, const Choices& choices) {
  using Choice = typename Choices::value_type;
  for (const Choice& choice : choices)
    if (choice.first == name) return choice.second;
  refuseChoice(option, name, choices, &Choice::first);
}

const InputForm& inputForm(const std::string& name) {
  if (const InputForm* const form = inputFormNamed(name)) return *form;
  refuseChoice("--input", name, inputForms(), &InputForm::name);
}

const OutputForm& outputForm(const std::string& name) {
  if (const OutputForm* const form = outputFormNamed(name)) return *form;
  refuseChoice("--output", name, outputForms(), &OutputForm::name);
}

/// What can't be decimal is hexadecimal without 0x, too.
std::uint32_t reportId(const std::string& option, std::string_view text) {
  auto id = parseDecimalOrHex<unsigned>(text);
  if (!id && text.size() <= 2) id = parseNumber<unsigned>(text, 16);
  if (!id || *id > 255)
    throw UsageFault(option + " " + std::string(text) + ": an ID is 0 to 255, such as 0x76");
  return *id;
}

/// IDs with commas between them.
std::vector<WantedReport> reportIds(const std::string& option,
                                    const std::vector<std::string>& lists) {
  std::vector<WantedReport> reports;
  for (std::string_view rest : lists) {
    for (;;) {
      const std::size_t comma = rest.find(',');
      const std::string_view text = rest.substr(0, comma);
      if (text.empty()) throw UsageFault(option + ": an ID in its list is empty");
      reports.push_back({reportId(option, text), std::string(text)});
      if (comma == std::string_view::npos) break;
      rest.remove_prefix(comma + 1);
    }
  }
  return reports;
}

UsbSelection::Device device(const std::string& text) {
  const std::size_t colon = text.find(':');
  const auto bus = parseDecimalOrHex<unsigned>(std::string_view(text).substr(0, colon));
  const auto address = colon == std::string::npos
                           ? std::nullopt
                           : parseDecimalOrHex<unsigned>(std::string_view(text).substr(colon + 1));
  if (!bus || !address || *bus > 65535 || *address > 65535)
    throw UsageFault("--device " + text + ": a device is BUS:DEV, such as 1:5");
  return {static_cast<std::uint16_t>(*bus), static_cast<std::uint16_t>(*address)};
}

std::uint8_t endpoint(const std::string& text) {
  const auto value = parseDecimalOrHex<unsigned>(text);
  if (!value || (*value & ~0x8Fu) != 0)
    throw UsageFault("--endpoint " + text + ": an endpoint is 0 to 15, or 0x81 to 0x8F");
  return static_cast<std::uint8_t>(*value & 0x0F);
}

unsigned jobs(const std::string& text) {
  const auto count = parseDecimalOrHex<unsigned>(text);
  if (!count || *count < 1 || *count > kMostJobs)
    throw UsageFault("--jobs " + text + ": a number of threads is 1 to " +
                     std::to_string(kMostJobs));
  return *count;
}

std::optional<std::int64_t> moment(const std::string& option, const std::string& text) {
  if (text.empty()) return std::nullopt;
  if (const auto found = momentFrom(text)) return found;
  throw UsageFault(option + " " + text +
                   ": a time is in the capture's seconds, such as 12.5, or in ISO 8601 with its "
                   "zone, such as 2023-11-14T22:13:20Z");
}

/// A whole number with its unit.
std::chrono::milliseconds duration(const std::string& option, const std::string& text) {
  constexpr auto kUnits = std::to_array<std::pair<std::string_view, std::uint64_t>>(
      {{"ms", 1}, {"s", 1000}, {"m", 60'000}, {"h", 3'600'000}});
  constexpr std::uint64_t kMost = 1000ull * 24 * 3'600'000;  // far from where a clock ends
  const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
  const std::string_view unit = std::string_view(text).substr(digits);
  const auto value = parseNumber<std::uint64_t>(std::string_view(text).substr(0, digits));
  for (const auto& [name, milliseconds] : kUnits)
    if (unit == name && value && *value >= 1 && *value <= kMost / milliseconds)
      return std::chrono::milliseconds(*value * milliseconds);
  throw UsageFault(option + " " + text +
                   ": a time is a whole number with ms, s, m or h, such as 500ms");
}

std::uint64_t reportCount(const std::string& text) {
  const auto count = parseDecimalOrHex<std::uint64_t>(text);
  if (!count || *count < 1)
    throw UsageFault("--count " + text + ": a number of reports is 1 or more");
  return *count;
}

constexpr const char* kEmptyValue = "its value is empty";

/// What the library that parses would read otherwise than people mean it: the plug-in's own option
/// has one dash, and would be seven short options; "--device=" would take the next argument.
std::vector<std::string> prepared(std::vector<std::string> arguments) {
  for (std::string& argument : arguments) {
    if (argument == "--") break;
    if (argument == "-decimal") argument = "--decimal";
    if (argument.starts_with("--") && argument.ends_with('='))
      throw UsageFault(argument.substr(0, argument.size() - 1) + ": " + kEmptyValue);
  }
  return arguments;
}

/// An unset variable must not read as an option that was never given.
std::string refuseEmpty(const std::string& value) { return value.empty() ? kEmptyValue : ""; }

/// The options that select, as they stand on a command line.
std::string selectionText(const std::vector<std::pair<std::string_view, std::string_view>>& given) {
  std::string text;
  for (const auto& [option, value] : given)
    if (!value.empty())
      text.append(text.empty() ? "" : " ").append(option).append(" ").append(value);
  return text;
}

/// Options as they stand on the command line.
struct RawOptions {
  std::string input, output{outputForms().front().name}, limits, jobs, type, from, to, device,
      endpoint, plugin, viewer, baseline, across, colour = "auto";
  std::string count, every, duration;
  std::vector<std::string> reports;
  bool decimal = false;
};

std::string inputHelp() {
  std::string help = "Form of the input, where its content does not tell:";
  for (const InputForm& form : inputForms())
    help.append("\n").append(form.name).append(": ").append(form.description);
  return help;
}

std::string outputHelp() {
  std::string help;
  for (const OutputForm& form : outputForms()) {
    help.append(help.empty() ? "" : "\n").append(form.name).append(": ").append(form.description);
    if (&form == &outputForms().front()) help += " (the default)";
    if (!form.alias.empty()) help.append("; ").append(form.alias).append(" is the same");
  }
  return help;
}

void declare(CLI::App& app, Options& options, RawOptions& raw) {
  const auto text = [&](const char* group,
                        const char* names,
                        std::string& value,
                        const std::string& description,
                        const char* placeholder) {
    app.add_option(names, value, description)
        ->group(group)
        ->type_name(placeholder)
        ->check(refuseEmpty)
        ->take_last();
  };
  const auto flag =
      [&](const char* group, const char* names, bool& value, const char* description) {
        app.add_flag(names, value, description)->group(group);
      };

  app.add_option("FILE",
                 options.files,
                 "Files to decode, in order; - is standard input. Behind them, live devices:\n"
                 "/dev/hidraw3, hid:VID:PID, hid:NAME or hid:serial=TEXT")
      ->type_name("");
  text("Input", "-i,--input", raw.input, inputHelp(), "FORM");
  text("Input", "--device", raw.device, "Only what this device of a USB capture sends", "BUS:DEV");
  text("Input",
       "--endpoint",
       raw.endpoint,
       "Only what this endpoint of it sends; 0 is for feature reports",
       "N");

  text("Output", "-o,--output", raw.output, outputHelp(), "FORM");
  flag("Output", "--decimal", raw.decimal, "Samples in decimal, in text; -decimal is the same");
  flag("Output", "--headers", options.headers, "In text, a line before each report on its origin");
  flag("Output", "--lines", options.lines, "In JSON, add each report's text lines");
  flag("Output", "--elements", options.elements, "Of an array, show each element by itself");
  flag("Output",
       "--stats",
       options.statistics,
       "End with counts of reports and errors, and of frames that were lost");
  flag("Output",
       "--host-writes",
       options.hostWrites,
       "In text and JSON, show what the host of a USB capture sends to the device, too");
  text("Output", "--limits", raw.limits, "Tell of each file whether it keeps these limits", "FILE");
  text("Output",
       "--jobs",
       raw.jobs,
       "Decode text and NDJSON in so many threads; without it, large files to NDJSON in two",
       "N");
  flag("Output", "--changes", options.changes, "In JSON, what changed instead of the reports");
  text("Output",
       "--baseline",
       raw.baseline,
       "Changes since the last report of each kind in this capture",
       "FILE");
  text("Output",
       "--across",
       raw.across,
       "Changes from the report of the first ID to those of the others",
       "ID,ID[,ID...]");
  text("Output",
       "--viewer",
       raw.viewer,
       "For -o html, put the reports into this vesk-viewer.html instead of the installed one",
       "FILE");
  text("Output", "--color", raw.colour, "Colours: auto, always or never", "WHEN");

  app.add_option("--report", raw.reports, "Only reports with these IDs")
      ->group("Selection")
      ->type_name("ID[,ID...]")
      ->check(refuseEmpty)
      ->allow_extra_args(false);
  text("Selection",
       "--type",
       raw.type,
       "Only reports of this type: input, output or feature",
       "TYPE");
  text(
      "Selection",
      "--from",
      raw.from,
      "Only reports from this time on: seconds of the capture, or ISO 8601 as 2023-11-14T22:13:20Z",
      "TIME");
  text("Selection", "--to", raw.to, "Only reports up to this time", "TIME");

  text("Selection",
       "--count",
       raw.count,
       "End behind so many reports, of all files and devices together",
       "N");

  flag("Live devices",
       "--list-devices",
       options.listDevices,
       "Show the HID devices of this machine: their nodes, names and known reports");
  flag("Live devices",
       "--follow",
       options.follow,
       "Behind its feature reports, go on with a device's input reports as they come");
  text("Live devices",
       "--every",
       raw.every,
       "Ask for the feature reports again and again, so often: 5s, 500ms, 2m",
       "TIME");
  text("Live devices", "--duration", raw.duration, "End after this time", "TIME");
  flag("Live devices",
       "--wait",
       options.wait,
       "Wait for a device to appear, and for its return when it is unplugged");

  text("Plug-in", "--plugin", raw.plugin, "Load this plug-in instead of the installed one", "FILE");
  flag("Plug-in", "--list-reports", options.listReports, "Show the reports that it knows");
  flag(
      "Plug-in",
      "--layout",
      options.layout,
      "Show which byte of a report says what, as text, ndjson or json; --report and --type choose");

  flag(
      "Help", "-v,--verbose", options.verbose, "Tell which plug-in and which input forms are used");
  flag("Help", "--version", options.showVersion, "Show the versions of program and plug-in");
  app.set_help_flag("-h,--help", "Show this help")->group("Help");
}

void interpret(const RawOptions& raw, Options& options) {
  if (!raw.input.empty()) options.inputForm = &inputForm(raw.input);
  options.outputForm = &outputForm(raw.output);
  if (!raw.limits.empty()) options.limits = raw.limits;
  if (options.outputForm->needs == Needs::Limits && !options.limits)
    throw UsageFault("--output " + raw.output + " shows what --limits FILE finds: give both");
  const bool isShown =
      options.listReports || options.showVersion || options.layout || options.listDevices;
  if (options.limits && isShown)
    throw UsageFault("--limits is for decoding: leave it away, or the option that shows something");
  options.colour = choose("--color", raw.colour, kColourChoices);
  if (!raw.jobs.empty()) options.jobs = jobs(raw.jobs);
  if (!raw.type.empty()) options.type = choose("--type", raw.type, kTypes);
  options.window = {moment("--from", raw.from), moment("--to", raw.to)};
  if (options.window.from && options.window.to && *options.window.from > *options.window.to)
    throw UsageFault("--from " + raw.from + " is later than --to " + raw.to);
  if (!raw.device.empty()) options.usb.device = device(raw.device);
  if (!raw.endpoint.empty()) options.usb.endpoint = endpoint(raw.endpoint);
  if (!raw.count.empty()) options.count = reportCount(raw.count);
  if (!raw.every.empty()) options.every = duration("--every", raw.every);
  if (!raw.duration.empty()) options.duration = duration("--duration", raw.duration);
  options.reports = reportIds("--report", raw.reports);
  std::string ids;
  for (const WantedReport& report : options.reports)
    ids.append(ids.empty() ? "" : ",").append(report.text);
  options.selection = selectionText({{"--device", raw.device},
                                     {"--endpoint", raw.endpoint},
                                     {"--report", ids},
                                     {"--type", raw.type},
                                     {"--from", raw.from},
                                     {"--to", raw.to}});
  if (raw.decimal) options.pluginArguments.emplace_back("-decimal");
  if (!raw.plugin.empty()) options.plugin = raw.plugin;
  if (!raw.viewer.empty()) options.viewer = raw.viewer;
}

constexpr std::string_view kChanges = "changes";

/// What asks for changes, and what makes no sense with them.
void interpretChanges(const RawOptions& raw, Options& options) {
  const std::string_view form = options.outputForm->name;
  const bool inJson = form == "ndjson" || form == "json";
  if (options.changes && !inJson && form != kChanges)
    throw UsageFault("--changes is for -o ndjson and -o json; for people there is -o changes");
  if (form == kChanges) options.changes = true;
  if (!raw.baseline.empty()) options.baseline = raw.baseline;
  if (!raw.across.empty()) options.across = reportIds("--across", {raw.across});
  const auto needsChanges = [&](bool given, const std::string& option) {
    if (given && !options.changes)
      throw UsageFault(option + " is for changes: -o changes, or -o ndjson --changes");
  };
  needsChanges(options.baseline.has_value(), "--baseline");
  needsChanges(!options.across.empty(), "--across");
  if (options.baseline && !options.across.empty())
    throw UsageFault("--baseline and --across: choose one of both to compare with");
  if (options.changes && options.hostWrites)
    throw UsageFault("--host-writes: what the host sends is no change of the device");
  if (options.changes && inJson && options.lines)
    throw UsageFault("--lines: a record of a change has no lines");
  if (options.baseline == "-" && std::ranges::find(options.files, "-") != options.files.end())
    throw UsageFault("--baseline -: standard input is decoded already");
}

/// What a page shows is decoded where it is looked at.
void refuseIdleInPage(const Options& options) {
  const std::string form(options.outputForm->name);
  if (options.outputForm->needs != Needs::Page) {
    if (options.viewer) throw UsageFault("--viewer goes with -o html");
    return;
  }
  const auto refuse = [&](bool given, const std::string& option) {
    if (given) throw UsageFault(option + ": -o " + form + " holds reports undecoded");
  };
  refuse(options.headers, "--headers");
  refuse(options.lines, "--lines");
  refuse(!options.pluginArguments.empty(), "--decimal");
  if (options.hostWrites)
    throw UsageFault("--host-writes: -o " + form + " holds what devices send, as a recording");
}

/// What would be ignored is a mistake.
void refuseIdle(const Options& options) {
  refuseIdleInPage(options);
  const bool idleElements = options.outputForm->elements == ElementsShown::Never;
  if (options.elements && !options.layout && !options.changes && idleElements) {
    std::string known = "--layout, --changes";
    for (const OutputForm& form : outputForms())
      if (form.elements == ElementsShown::IfAsked) known.append(", -o ").append(form.name);
    throw UsageFault("--elements goes with " + known);
  }
  if (!options.layout) return;
  constexpr std::string_view kForms[] = {"text", "ndjson", "json"};
  if (std::ranges::find(kForms, options.outputForm->name) == std::end(kForms))
    throw UsageFault("--layout goes with -o text, ndjson or json");
  if (!options.files.empty())
    throw UsageFault("--layout reads no file, and " + options.files.front() +
                     " is one; -o explain shows the layout of its reports");
  if (options.changes) throw UsageFault("--layout shows what may change; leave --changes away");
  if (options.window.isBounded()) throw UsageFault("--layout has no times for --from and --to");
  if (options.listReports) throw UsageFault("--layout and --list-reports: choose one of them");
}

/// The library's help has two empty lines between groups; one is enough.
HelpText helpOf(const CLI::App& app) {
  std::string text = app.help();
  for (std::size_t at = 0; (at = text.find("\n\n\n", at)) != std::string::npos;) text.erase(at, 1);
  return {text};
}

}  // namespace

std::variant<Options, HelpText> parseOptions(const std::vector<std::string>& arguments) {
  CLI::App app("Decodes HID reports of the Vesk controller.", "vesk-decode");
  app.footer(kExamples);
  Options options;
  RawOptions raw;
  declare(app, options, raw);
  std::vector<std::string> reversed = prepared(arguments);
  std::ranges::reverse(reversed);
  try {
    app.parse(std::move(reversed));
  } catch (const CLI::CallForHelp&) {
    return helpOf(app);
  } catch (const CLI::ParseError& error) {
    throw UsageFault(error.what());
  }
  interpret(raw, options);
  refuseIdle(options);

  const bool decodes =
      !options.listReports && !options.layout && !options.showVersion && !options.listDevices;
  const bool isLive = options.follow || options.wait || options.every || options.duration;
  if (!decodes && (isLive || options.count))
    throw UsageFault("--count, --duration, --every, --follow and --wait are for decoding");
  if (options.listDevices && !options.files.empty())
    throw UsageFault("--list-devices shows all devices, and takes no FILE");
  if (options.files.empty() && decodes && isatty(STDIN_FILENO) != 0) return helpOf(app);
  if (options.files.empty()) options.files.emplace_back("-");
  interpretChanges(raw, options);
  return options;
}

}  // namespace vesk::host
