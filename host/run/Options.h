/// The command line.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "host/Report.h"
#include "host/TimeWindow.h"
#include "host/inputs/Forms.h"
#include "host/outputs/Forms.h"

namespace vesk::host {

enum class ColourChoice : std::uint8_t { Auto, Always, Never };

/// An ID of --report, and how it was written.
struct WantedReport {
  std::uint32_t id;
  std::string text;
};

struct Options {
  std::vector<std::string> files;                         // "-" is standard input; never empty
  const InputForm* inputForm = nullptr;                   // null: by the content
  const OutputForm* outputForm = &outputForms().front();  // never null
  std::vector<WantedReport> reports;                      // empty: all
  std::optional<ReportType> type;
  TimeWindow window;
  UsbSelection usb;
  std::string selection;  // the options that select, as they were written; empty: all
  std::vector<std::string> pluginArguments;
  std::optional<std::string> plugin;
  std::optional<std::string> viewer;  // the page that reports go into, for the form that does so
  ColourChoice colour = ColourChoice::Auto;
  std::optional<std::string> limits;  // their file
  std::optional<unsigned> jobs;       // threads; none: as the input is worth
  bool headers = false;
  bool lines = false;
  bool elements = false;
  bool statistics = false;
  bool hostWrites = false;
  bool verbose = false;
  bool listReports = false;
  bool changes = false;                 // instead of reports: -o changes, or --changes
  std::optional<std::string> baseline;  // the capture to compare with; "-" is standard input
  std::vector<WantedReport> across;     // none, or at least two
  bool layout = false;
  bool showVersion = false;

  // Of live devices, but for the count.
  bool listDevices = false;
  bool follow = false;
  bool wait = false;
  std::optional<std::chrono::milliseconds> every;
  std::optional<std::chrono::milliseconds> duration;
  std::optional<std::uint64_t> count;  // reports after which all ends
};

/// The command line makes no sense; one line says why.
class UsageFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The help was asked for.
struct HelpText {
  std::string text;
};

/// `arguments` are those after the program's name. Throws UsageFault.
std::variant<Options, HelpText> parseOptions(const std::vector<std::string>& arguments);

}  // namespace vesk::host
