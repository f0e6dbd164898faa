#include "emulate/Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "text/numbers.h"

namespace vesk::emulate {

namespace {

constexpr const char* kExamples = R"(Examples:
  vesk-emulate tour.hid -- vesk-decode /dev/hidraw9       decode an emulated device
  vesk-emulate --rate 1000 --loop a.pcap -- ./my-tool     1000 reports a second, without end
  vesk-emulate --fault stall=0xE1 a.hid -- ./my-tool      a report that can't be had
  vesk-emulate a.hid b.hid -- ls /sys/class/hidraw        two devices

Exit status: the command's, or
  2    the command line makes no sense
  3    a capture can't be read, or the device can't be made
  126  the command can't be run
  127  the command can't be found)";

constexpr unsigned kMostNode = 1048575;  // a device number has 20 bits for it
constexpr double kMostSeconds = 1e6;
constexpr double kMostRate = 100000;

using Nanoseconds = std::chrono::nanoseconds;

/// A number that is written without a sign; none for anything else.
std::optional<double> parseDecimal(std::string_view text) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, failure] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
  if (failure != std::errc{} || stop != end || text.starts_with('-') || !std::isfinite(value))
    return std::nullopt;
  return value;
}

/// "0.5", "0.5s", "500ms".
Nanoseconds seconds(const std::string& option, const std::string& text) {
  std::string_view digits = text;
  double unit = 1e9;
  if (digits.ends_with("ms")) {
    digits.remove_suffix(2);
    unit = 1e6;
  } else if (digits.ends_with('s')) {
    digits.remove_suffix(1);
  }
  const auto value = parseDecimal(digits);
  if (!value || *value * unit > kMostSeconds * 1e9)
    throw UsageFault(option + " " + text + ": a time is in seconds, such as 0.5, or 500ms");
  return Nanoseconds(std::llround(*value * unit));
}

/// What can't be decimal is hexadecimal without 0x, too.
std::uint8_t reportId(const std::string& fault, std::string_view text) {
  auto id = parseDecimalOrHex<unsigned>(text);
  if (!id && text.size() <= 2) id = parseNumber<unsigned>(text, 16);
  if (!id || *id > 255) throw UsageFault("--fault " + fault + ": an ID is 0 to 255, such as 0xE1");
  return static_cast<std::uint8_t>(*id);
}

Fault fault(const std::string& text) {
  using Kind = Fault::Kind;
  constexpr std::array<std::pair<std::string_view, Kind>, 7> kKinds = {{
      {"stall", Kind::Stall},
      {"short", Kind::Short},
      {"long", Kind::Long},
      {"empty", Kind::Empty},
      {"other-id", Kind::OtherId},
      {"late", Kind::Late},
      {"gone", Kind::Gone},
  }};
  const std::size_t equals = std::min(text.find('='), text.size());
  const std::string_view name = std::string_view(text).substr(0, equals);
  const auto found = std::ranges::find(kKinds, name, &std::pair<std::string_view, Kind>::first);
  if (found == kKinds.end())
    throw UsageFault("--fault " + text +
                     ": choose one of stall, short, long, empty, other-id, late, gone, and its ID: "
                     "stall=0xE1");
  std::string_view value = std::string_view(text).substr(std::min(equals + 1, text.size()));
  Fault fault{found->second, 0, Nanoseconds(0)};
  if (fault.kind == Kind::Late) {
    const std::size_t colon = value.find(':');
    if (colon == std::string_view::npos)
      throw UsageFault("--fault " + text + ": how late? late=ID:SECONDS");
    fault.delay = seconds("--fault", std::string(value.substr(colon + 1)));
    value = value.substr(0, colon);
  }
  fault.id = reportId(text, value);
  return fault;
}

unsigned nodeNumber(const std::string& text) {
  constexpr std::string_view kFolder = "/dev/";
  constexpr std::string_view kName = "hidraw";
  std::string_view rest = text;
  if (rest.starts_with(kFolder)) rest.remove_prefix(kFolder.size());
  const bool named = rest.starts_with(kName);
  if (named) rest.remove_prefix(kName.size());
  const auto number = parseNumber<unsigned>(rest);
  const bool padded = rest.size() > 1 && rest.starts_with('0');
  if (!named || !number || padded || *number > kMostNode)
    throw UsageFault("--node " + text + ": a node is /dev/hidrawN");
  return *number;
}

/// "1209:0001", in hexadecimal.
std::pair<std::uint16_t, std::uint16_t> ids(const std::string& text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const std::string_view all = text;
  const auto vendor = parseNumber<std::uint16_t>(all.substr(0, colon), 16);
  const auto product = parseNumber<std::uint16_t>(all.substr(std::min(colon + 1, all.size())), 16);
  if (!vendor || !product)
    throw UsageFault("--ids " + text + ": it is VENDOR:PRODUCT in hexadecimal, such as 1209:0001");
  return {*vendor, *product};
}

host::UsbSelection::Device device(const std::string& text) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  const std::string_view all = text;
  const auto bus = parseDecimalOrHex<std::uint16_t>(all.substr(0, colon));
  const auto address =
      parseDecimalOrHex<std::uint16_t>(all.substr(std::min(colon + 1, all.size())));
  if (!bus || !address) throw UsageFault("--device " + text + ": a device is BUS:DEV, such as 1:5");
  return {*bus, *address};
}

const host::InputForm& inputForm(const std::string& name) {
  if (const host::InputForm* const form = host::inputFormNamed(name)) return *form;
  std::string known;
  for (const host::InputForm& form : host::inputForms())
    known.append(known.empty() ? "" : ", ").append(form.name);
  throw UsageFault("--input " + name + ": choose one of " + known);
}

/// Options as they stand on the command line.
struct RawOptions {
  std::string input, device, node, name, serial, ids, rate, unplugAfter, returnAfter, appearAfter;
  std::vector<std::string> faults;
  bool fast = false;
  bool version = false;
};

constexpr const char* kEmptyValue = "its value is empty";

/// An unset variable must not read as an option that was never given.
std::string refuseEmpty(const std::string& value) { return value.empty() ? kEmptyValue : ""; }

void declare(CLI::App& app, Options& options, RawOptions& raw) {
  const auto text = [&](const char* group,
                        const char* names,
                        std::string& value,
                        const char* description,
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

  app.add_option("CAPTURE", options.captures, "Captures, a device each; - is standard input")
      ->type_name("");
  text("Captures",
       "-i,--input",
       raw.input,
       "Form of the captures, as vesk-decode knows them",
       "FORM");
  text("Captures",
       "--device",
       raw.device,
       "Only what this device of a USB capture sends",
       "BUS:DEV");

  text("Device", "--node", raw.node, "The first device's node, else /dev/hidraw9", "NODE");
  text("Device", "--name", raw.name, "Its name", "TEXT");
  text("Device", "--serial", raw.serial, "Its serial number, else EMULATED", "TEXT");
  text("Device", "--ids", raw.ids, "Its vendor and product, in hexadecimal", "VID:PID");
  flag("Device", "--uhid", options.uhid, "Make real devices by /dev/uhid");

  text("Input reports", "--rate", raw.rate, "So many a second, not at the capture's times", "HZ");
  flag("Input reports",
       "--as-fast-as-possible",
       raw.fast,
       "As fast as they are read, without losing one");
  flag("Input reports", "--loop", options.behaviour.loop, "Again and again, feature reports too");

  app.add_option("--fault",
                 raw.faults,
                 "What asking for a feature report comes to:\n"
                 "stall=ID: it fails\n"
                 "short=ID: half of its bytes\n"
                 "long=ID: eight bytes more\n"
                 "empty=ID: no bytes\n"
                 "other-id=ID: another report ID\n"
                 "late=ID:SECONDS: it takes time\n"
                 "gone=ID: the device is unplugged meanwhile")
      ->group("Misbehaviour")
      ->type_name("FAULT")
      ->check(refuseEmpty)
      ->allow_extra_args(false);
  text("Misbehaviour", "--unplug-after", raw.unplugAfter, "Unplug it after N input reports", "N");
  text("Misbehaviour",
       "--return-after",
       raw.returnAfter,
       "Plug it in again after the time",
       "SECONDS");
  text("Misbehaviour",
       "--appear-after",
       raw.appearAfter,
       "Plug it in after the time, not at the start",
       "SECONDS");
  flag("Misbehaviour", "--refuse", options.behaviour.refuse, "Let nobody open it");

  flag("Help", "--stats", options.statistics, "End with counts, a line a device");
  flag("Help", "--version", raw.version, "Show the version");
  app.set_help_flag("-h,--help", "Show this help")->group("Help");
}

void interpret(const RawOptions& raw, Options& options) {
  if (!raw.input.empty()) options.howToRead.form = &inputForm(raw.input);
  if (!raw.device.empty()) options.howToRead.usb.device = device(raw.device);
  if (!raw.node.empty()) options.firstNode = nodeNumber(raw.node);
  if (!raw.name.empty()) options.name = raw.name;
  if (!raw.serial.empty()) options.serial = raw.serial;
  if (!raw.ids.empty()) options.ids = ids(raw.ids);

  Behaviour& behaviour = options.behaviour;
  if (!raw.rate.empty()) {
    const auto rate = parseDecimal(raw.rate);
    if (!rate || *rate < 1 / kMostSeconds || *rate > kMostRate)
      throw UsageFault("--rate " + raw.rate + ": it is reports a second, up to 100000");
    behaviour.pace = Behaviour::Pace::Even;
    behaviour.distance = Nanoseconds(std::llround(1e9 / *rate));
  }
  if (raw.fast) behaviour.pace = Behaviour::Pace::AsFastAsPossible;
  for (const std::string& text : raw.faults) behaviour.faults.push_back(fault(text));
  if (!raw.unplugAfter.empty()) {
    behaviour.unplugAfter = parseDecimalOrHex<std::uint64_t>(raw.unplugAfter);
    if (!behaviour.unplugAfter || *behaviour.unplugAfter == 0)
      throw UsageFault("--unplug-after " + raw.unplugAfter + ": a number of reports is 1 or more");
  }
  if (!raw.returnAfter.empty()) behaviour.returnAfter = seconds("--return-after", raw.returnAfter);
  if (!raw.appearAfter.empty()) behaviour.appearAfter = seconds("--appear-after", raw.appearAfter);
}

/// What can't be meant together.
void checkTogether(const RawOptions& raw, const Options& options) {
  if (raw.fast && !raw.rate.empty())
    throw UsageFault("--rate and --as-fast-as-possible: choose one of them");
  const bool unplugs =
      options.behaviour.unplugAfter ||
      std::ranges::find(options.behaviour.faults, Fault::Kind::Gone, &Fault::kind) !=
          options.behaviour.faults.end();
  if (options.behaviour.returnAfter && !unplugs)
    throw UsageFault(
        "--return-after: it is never unplugged; --unplug-after N or --fault gone=ID do");
  if (options.uhid && !raw.node.empty())
    throw UsageFault("--uhid and --node: the kernel chooses the node");
  if (options.uhid && options.behaviour.refuse)
    throw UsageFault("--uhid and --refuse: the kernel decides who may open a real node");
  if (options.uhid && raw.fast)
    throw UsageFault("--uhid and --as-fast-as-possible: the kernel does not tell what it drops");
  if (options.captures.empty()) throw UsageFault("which CAPTURE?");
  if (options.captures.size() > kMostNode - options.firstNode)
    throw UsageFault("--node " + raw.node + ": there are no nodes behind it for all captures");
}

/// The library's help has two empty lines between groups; one is enough.
Answer helpOf(const CLI::App& app) {
  std::string text = app.help();
  for (std::size_t at = 0; (at = text.find("\n\n\n", at)) != std::string::npos;) text.erase(at, 1);
  const std::string usage = "[OPTIONS] [CAPTURE...]";
  const std::size_t at = text.find(usage);
  if (at != std::string::npos)
    text.replace(at, usage.size(), "[OPTIONS] CAPTURE... -- COMMAND [ARGUMENT...]");
  return {text};
}

}  // namespace

std::variant<Options, Answer> parseOptions(const std::vector<std::string>& arguments) {
  CLI::App app("Runs a command that finds emulated devices, made from captures.", "vesk-emulate");
  app.footer(kExamples);
  Options options;
  RawOptions raw;
  declare(app, options, raw);
  const auto dashes = std::ranges::find(arguments, "--");
  std::vector<std::string> ours(arguments.begin(), dashes);
  for (const std::string& argument : ours)
    if (argument.starts_with("--") && argument.ends_with('='))
      throw UsageFault(argument.substr(0, argument.size() - 1) + ": " + kEmptyValue);
  std::ranges::reverse(ours);
  try {
    app.parse(std::move(ours));
  } catch (const CLI::CallForHelp&) {
    return helpOf(app);
  } catch (const CLI::ParseError& error) {
    throw UsageFault(error.what());
  }
  if (raw.version) return Answer{"vesk-emulate " VESK_HOST_VERSION "\n"};
  interpret(raw, options);
  checkTogether(raw, options);
  if (dashes != arguments.end()) options.command.assign(dashes + 1, arguments.end());
  if (options.command.empty() && !options.uhid)
    throw UsageFault("which command? vesk-emulate CAPTURE... -- COMMAND");
  return options;
}

}  // namespace vesk::emulate
