/// What every form of output looks like from outside.
///
/// To add a form: write a class in a file of its own in this folder, made of an OutputContext, name
/// the file in host/CMakeLists.txt, and add a row for the class to the table in Forms.cpp. A form
/// that shows decoded reports is a DecodingOutput, which leaves it writeChecked() to define, and
/// the write() of problems.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/Problem.h"
#include "host/Report.h"
#include "host/outputs/Canvas.h"
#include "host/outputs/Page.h"
#include "host/outputs/Statistics.h"
#include "host/writing/Sink.h"

namespace vesk::host {

struct ChangeRules;
struct Verdict;  // host/limits/Verdict.h

/// Lines before the reports that say where each came from.
enum class Headers : std::uint8_t { None, Plain, Coloured };

/// What a form may need. All of it must outlive the output.
struct OutputContext {
  Plugin& plugin;
  const KnownReports& known;
  Sink& sink;
  Headers headers = Headers::None;
  bool lines = false;     // a report's lines, too, where there is room for them beside its object
  bool elements = false;  // each element of an array by itself, instead of the array
  bool colours = false;   // the sink wants colours
  const ChangeRules* changes = nullptr;  // where changes are wanted instead of reports
  Canvas* canvas = nullptr;              // for a form that draws on a terminal, and for no other
  const Page* page = nullptr;            // for a form that puts reports into it, and for no other
};

using Clock = std::chrono::steady_clock;

class Output {
 public:
  virtual ~Output() = default;

  /// What comes from here on comes from this file.
  virtual void beginFile(std::string_view /*name*/) {}

  /// Writes a report, of which `info` is null if no decoder knows it. Where it can't be written,
  /// the problem with it is written in its place and given back, to be told to people.
  std::optional<Problem> write(const Report& report, const ReportInfo* info);

  /// Writes what a host sends to the device, if this form can tell that from what the device sends.
  /// What can't be decoded is left out: whatever it is, it is no fault of the device.
  void writeToDevice(const Report& report, const ReportInfo* info);

  /// Writes that something in the file is wrong, if this form has a place for it: programs read it
  /// here, people are told elsewhere.
  virtual void write(const Problem& /*problem*/) {}

  /// Writes the counts, if this form has a place for them; false if it has none.
  virtual bool writeStatistics(const Statistics& /*statistics*/) { return false; }

  /// Nothing comes for now: shows what was held back. Gives back when to be called again, if
  /// something is held back still and nothing comes until then.
  virtual std::optional<Clock::time_point> idle() { return std::nullopt; }

  /// Writes what limits say of the file that has ended, if this form has a place for it; false if
  /// it has none.
  virtual bool writeVerdict(const Verdict& /*verdict*/) { return false; }

  /// What has to stand at the end.
  virtual void finish() {}

  /// Reports that were the same as before, which a form for changes doesn't show; none in others.
  virtual std::optional<std::uint64_t> unchanged() const { return std::nullopt; }

  /// What was passed over on the way and why, for people; empty if nothing was.
  virtual std::string leftOut() const { return {}; }

  /// Why nothing will be written at the end, for people, in a form that writes all or nothing; empty
  /// if nothing is in its way.
  virtual std::string refusal() const { return {}; }

 protected:
  /// Writes all of a report, or writes nothing and returns what is wrong with it.
  virtual std::optional<Problem> tryToWrite(const Report& report, const ReportInfo* info) = 0;

  /// Whether what this form writes says which way a report goes.
  virtual bool tellsDirection() const { return false; }
};

/// An output that shows decoded reports. It guards the decoders: they read their layout whatever
/// length they are told, so a report that is too short never gets to them.
class DecodingOutput : public Output {
 public:
  explicit DecodingOutput(const OutputContext& context);

 protected:
  /// Writes a report that its decoder accepts. May throw DecoderFault, before anything is written.
  virtual void writeChecked(const Report& report, const ReportInfo& info) = 0;

  /// Decodes the report that writeChecked() is called for.
  Decoded decode(const ReportInfo& info, Plugin::Mode mode);

  /// The same to lines. Throws DecoderFault if there are none.
  Decoded decodeLines(const ReportInfo& info);

 private:
  std::optional<Problem> tryToWrite(const Report& report, const ReportInfo* info) final;
  void copy(std::span<const std::uint8_t> bytes);

  Plugin& _plugin;
  std::vector<std::uint8_t> _buffer;      // as long as any report and any layout, and a NUL
  std::span<const std::uint8_t> _report;  // the part of it that the present report takes
};

/// "12.345678"; a time before the epoch has its minus.
std::string secondsText(std::int64_t microseconds);

}  // namespace vesk::host
