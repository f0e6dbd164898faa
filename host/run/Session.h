/// One run over all files: reads, selects, decodes, writes, and tells what went wrong.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/changes/Tracker.h"
#include "host/inputs/Input.h"
#include "host/limits/LimitTests.h"
#include "host/live/Hidraw.h"
#include "host/outputs/Output.h"
#include "host/outputs/Statistics.h"
#include "host/run/DescriptorSink.h"
#include "host/run/FileBytes.h"
#include "host/run/Jobs.h"
#include "host/run/LiveRun.h"
#include "host/run/Messages.h"
#include "host/run/Options.h"
#include "host/run/Preamble.h"
#include "host/run/Sieve.h"
#include "host/run/TerminalCanvas.h"
#include "host/run/ViewerPage.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

/// Exit statuses of the program.
enum ExitStatus : int {
  kAllDecoded = 0,
  kSomeRefused = 1,
  kBadUsage = 2,
  kCannotReadOrWrite = 3,
  kNoPlugin = 4,
  kLimitNotKept = 5,
};

class Session {
 public:
  /// `limits` is null where none are wanted.
  Session(const Options& options, const PluginLibrary& library, Plugin& plugin,
          const KnownReports& known, Limits* limits, DescriptorSink& sink, Messages& messages);

  /// The exit status. Throws OutputFault, and UsageFault or PageFault before anything is decoded.
  int run();

 private:
  ChangeRules changeRules();
  void takeBaseline();
  void decodeFile(const std::string& file);
  void decodeLive(LiveRun& run);
  bool enough() const { return _options.count && _statistics.reports() >= *_options.count; }
  void shareWork(const FileBytes& bytes);
  std::unique_ptr<Output> makeOutput(Plugin& plugin, Sink& sink) const;
  std::unique_ptr<Input> open(Bytes& bytes, const std::string& file);
  void decodeAll(Input& input);
  void handle(Report& report);
  void handleToDevice(const Report& report, const ReportInfo* info);
  void handle(const Problem& problem);
  void commit(const Jobs::Batch& batch);
  void count(const Report& report, const ReportInfo* info);
  void tell(const Problem& problem);
  void tell(const Remark& remark);
  void tellUnshown();
  void judgeFile();
  void tellFailures(const Verdict& verdict);
  const InputForm* likelyForm() const;
  bool lacks(const WantedReport& wanted) const;
  void tellOtherPlugin() const;
  void tellUntimed();
  std::optional<Clock::time_point> beforeRead(const FileBytes& bytes, bool wouldWait);
  void finish();

  const Options& _options;
  const PluginLibrary& _library;
  Plugin& _plugin;
  const KnownReports& _known;
  Hidraw _hidraw;
  DescriptorSink& _sink;
  Messages& _messages;
  const bool _terminal;  // whether the output is one
  TerminalSink _terminalSink;
  std::unique_ptr<TerminalCanvas> _canvas;  // for a form that draws on it
  std::unique_ptr<ViewerPage> _page;        // for a form that puts reports into it
  Baseline _baseline;                       // filled before anything is compared with it
  bool _lacksBaseline = false;
  const ChangeRules _changeRules;
  std::unique_ptr<Output> _output;
  std::unique_ptr<Live> _live;         // keeps the devices that were read: the counts speak of them
  std::unique_ptr<Jobs> _jobs;         // null while one thread does everything
  std::optional<Plugin> _testPlugin;   // of the tests of limits
  std::unique_ptr<LimitTests> _tests;  // null without limits
  Sieve _sieve;
  Statistics _statistics;
  std::string _file;
  const InputForm* _form = nullptr;  // of the file, once it is known
  std::array<std::uint64_t, kProblemCodes> _fileProblems{};
  std::uint64_t _fileReports = 0;  // decoded
  Preamble _preamble;
  bool _someRefused = false;
  bool _someUnreadable = false;
  bool _isRefused = false;  // what should have been written
  bool _someLimitNotKept = false;
  std::string _leftOut;  // what the output had left out when the last file ended
};

/// Whether colours are wanted on a descriptor.
bool wantsColours(ColourChoice choice, int descriptor);

}  // namespace vesk::host
