#include "host/run/Run.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <new>
#include <optional>
#include <variant>
#include <vector>

#include "host/Plugin.h"
#include "host/limits/Limits.h"
#include "host/live/Hidraw.h"
#include "host/outputs/LayoutPages.h"
#include "host/run/DescriptorSink.h"
#include "host/run/LiveRun.h"
#include "host/run/Messages.h"
#include "host/run/Options.h"
#include "host/run/Session.h"
#include "host/run/Sieve.h"
#include "host/run/Signals.h"
#include "host/run/ViewerPage.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

constexpr std::string_view kProgram = "vesk-decode";

std::terminate_handler otherEnd = nullptr;

/// Where there is no memory even for the exception that tells so, the C++ library ends the program.
/// That may come before main(): the library of options makes its validators as the program starts.
[[noreturn]] void endWithoutMemory() {
  if (std::current_exception() != nullptr) otherEnd();  // an exception that nobody caught
  constexpr std::string_view message = "vesk-decode: out of memory\n";
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, message.data(), message.size());
  _exit(kCannotReadOrWrite);
}

[[gnu::constructor(101)]] void tellOfTheEnd() { otherEnd = std::set_terminate(endWithoutMemory); }

std::string versionText(const PluginLibrary& library) {
  return std::string(kProgram) + " " + VESK_HOST_VERSION + "\nplug-in " +
         library.api().plugin_version + " (ABI version " +
         std::to_string(library.api().abi_version) + ") at " + printable(library.path()) + "\n";
}

std::string lengthText(const ReportInfo& info) {
  if (info.nulTerminated) return "text";
  return (info.exactLength ? "" : "at least ") + std::to_string(info.smallest);
}

std::string tableText(const KnownReports& known) {
  std::string text = "TYPE     ID    BYTES         DECODER                       DISPLAY NAME\n";
  for (const ReportInfo& info : known.all()) {
    std::array<char, 256> line;
    std::snprintf(line.data(),
                  line.size(),
                  "%-8s 0x%02X  %-13s %-29s %s",
                  std::string(nameOf(info.type)).c_str(),
                  info.id,
                  lengthText(info).c_str(),
                  info.decoder.c_str(),
                  info.displayName.value_or("").c_str());
    std::string row = line.data();
    row.erase(row.find_last_not_of(' ') + 1);
    text += row + '\n';
  }
  return text;
}

/// The maps of the kinds that --report and --type choose, which must be known.
std::string layoutText(const Options& options, Plugin& plugin, const KnownReports& known) {
  for (const WantedReport& wanted : options.reports)
    if (std::ranges::find(known.all(), wanted.id, &ReportInfo::id) == known.all().end())
      throw UsageFault("--report " + wanted.text +
                       ": no decoder knows this report; --list-reports shows the known ones");
  const Selection selection = selectionOf(options);
  std::vector<KindLayout> kinds;
  for (const ReportInfo& info : known.all()) {
    if (selection.has(info.id) && selection.has(info.type))
      kinds.push_back({&info, layoutOf(plugin, info)});
  }
  if (kinds.empty()) throw UsageFault("--layout: nothing matches " + options.selection);
  if (options.outputForm->name != "text")
    return layoutRecords(kinds, options.elements, options.outputForm->name == "json");
  return layoutTables(kinds, options.elements, wantsColours(options.colour, STDOUT_FILENO));
}

/// A progress line among the decoded text of a terminal would only disturb.
Messages messagesFor(const Options& options) {
  const bool progress = isatty(STDERR_FILENO) != 0 && isatty(STDOUT_FILENO) == 0;
  return {progress, wantsColours(options.colour, STDERR_FILENO)};
}

int print(DescriptorSink& sink, std::string_view text) {
  sink.append(text);
  sink.flush();
  return kAllDecoded;
}

int carryOut(const Options& options, DescriptorSink& sink, Messages& messages) {
  const PluginLibrary library(options.plugin);
  if (options.showVersion) return print(sink, versionText(library));
  if (options.verbose)
    messages.tell(kProgram, "plug-in " + library.path() + ", " + library.api().plugin_version);
  Plugin plugin(library, options.pluginArguments);
  const KnownReports known(plugin.reports());
  if (options.listReports) return print(sink, tableText(known));
  if (options.layout) return print(sink, layoutText(options, plugin, known));
  if (options.listDevices) {
    Hidraw hidraw;
    return print(sink, deviceListText(options, known, hidraw));
  }
  std::optional<Limits> limits;
  if (options.limits) limits = loadLimits(*options.limits, known, plugin);
  return Session(options, library, plugin, known, limits ? &*limits : nullptr, sink, messages)
      .run();
}

}  // namespace

int run(int count, const char* const* arguments) {
  Messages messages(false, false);
  try {
    DescriptorSink sink(STDOUT_FILENO);
    const auto parsed = parseOptions({arguments, arguments + count});
    if (const auto* help = std::get_if<HelpText>(&parsed)) return print(sink, help->text);
    const auto& options = std::get<Options>(parsed);
    messages = messagesFor(options);
    catchInterrupts();
    const int status = carryOut(options, sink, messages);
    dieIfInterrupted();
    return status;
  } catch (const UsageFault& fault) {
    messages.complain(kProgram, std::string(fault.what()) + "; --help shows the options");
    return kBadUsage;
  } catch (const LimitsFault& fault) {
    messages.complain(fault.place(), fault.what());
    return kBadUsage;
  } catch (const PluginFault& fault) {
    messages.complain(kProgram, fault.what());
    return kNoPlugin;
  } catch (const PageFault& fault) {
    messages.complain(kProgram, fault.what());
    return kCannotReadOrWrite;
  } catch (const OutputFault& fault) {
    messages.complain(kProgram, std::string("cannot write standard output: ") + fault.what());
    return kCannotReadOrWrite;
  } catch (const std::bad_alloc&) {
    messages.complain(kProgram, "out of memory");
    return kCannotReadOrWrite;
  }
}

}  // namespace vesk::host
