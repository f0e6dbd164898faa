/// One run over all files: reads, selects, decodes, writes, and tells what went wrong.
#pragma once

#include <array>
#include <bitset>
#include <memory>
#include <string>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/inputs/Input.h"
#include "host/live/Hidraw.h"
#include "host/outputs/Output.h"
#include "host/outputs/Statistics.h"
#include "host/outputs/Terminal.h"
#include "host/run/DescriptorSink.h"
#include "host/run/FileBytes.h"
#include "host/run/Jobs.h"
#include "host/run/LiveRun.h"
#include "host/run/Messages.h"
#include "host/run/Options.h"

namespace vesk::host {

/// Exit statuses of the program.
enum ExitStatus : int {
  kAllDecoded = 0,
  kSomeRefused = 1,
  kBadUsage = 2,
  kCannotReadOrWrite = 3,
  kNoPlugin = 4,
};

class Session {
 public:
  Session(const Options& options, const PluginLibrary& library, Plugin& plugin,
          const KnownReports& known, DescriptorSink& sink, Messages& messages);

  /// The exit status. Throws OutputFault, and UsageFault before anything is decoded.
  int run();

 private:
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
  const InputForm* likelyForm() const;
  bool wanted(std::uint32_t id) const;
  bool wanted(const Report& report) const;
  bool wanted(const Problem& problem) const;
  void tellUnmatched();
  void beforeRead(const FileBytes& bytes, bool wouldWait);
  void finish();

  const Options& _options;
  const PluginLibrary& _library;
  const KnownReports& _known;
  Hidraw _hidraw;
  DescriptorSink& _sink;
  Messages& _messages;
  const bool _terminal;  // whether the output is one
  TerminalSink _terminalSink;
  std::unique_ptr<Output> _output;
  std::unique_ptr<Live> _live;  // keeps the devices that were read: the counts speak of them
  std::unique_ptr<Jobs> _jobs;  // null while one thread does everything
  Statistics _statistics;
  std::string _file;
  const InputForm* _form = nullptr;  // of the file, once it is known
  std::array<std::uint64_t, kProblemCodes> _fileProblems{};
  std::uint64_t _fileReports = 0;       // decoded
  std::bitset<kReportIds> _matchedIds;  // that the selection let pass
  bool _someFound = false;              // reports, selected or not
  bool _someRefused = false;
  bool _someUnreadable = false;
};

/// Whether colours are wanted on a descriptor.
bool wantsColours(ColourChoice choice, int descriptor);

}  // namespace vesk::host
