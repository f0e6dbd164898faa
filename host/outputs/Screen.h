/// The latest frame as a picture on a terminal, while frames come.
#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "host/Value.h"
#include "host/outputs/HeatMap.h"
#include "host/outputs/Output.h"
#include "host/outputs/Statistics.h"

namespace vesk::host {

/// Draws the reports of one kind: the first one to come whose object has arrays of numbers, each of
/// which is a band of the picture. Its other values stand below, with how many reports a second come
/// and how many were lost; reports of other kinds are counted. When the run is over, the last picture
/// stays on the terminal.
class ScreenOutput final : public DecodingOutput {
 public:
  explicit ScreenOutput(const OutputContext& context);

  void beginFile(std::string_view name) override;
  using DecodingOutput::write;
  void write(const Problem& problem) override;
  std::optional<Clock::time_point> idle() override;
  void finish() override;

 private:
  void writeChecked(const Report& report, const ReportInfo& info) override;
  bool isShown(const Report& report, const ReportInfo& info, const std::vector<Field>& fields);
  void drawIfDue();
  void draw();
  std::vector<std::string> picture(const Room& room);
  std::string countsLine() const;
  std::string valuesLine() const;
  std::string rateText() const;

  Sink& _sink;
  Canvas& _canvas;
  Statistics _statistics;
  std::string _file;

  const ReportInfo* _kind = nullptr;  // of the frames that are shown
  std::string _source;                // of the frame shown, for people
  std::vector<Field> _frame;          // the latest
  std::map<std::string, Scale, std::less<>> _scales;
  std::deque<std::int64_t> _times;  // of the latest frames
  std::uint64_t _others = 0;
  std::uint64_t _errors = 0;
  std::string _lastError;

  bool _isDrawn = true;  // the latest frame
  Room _drawnRoom{};
  Clock::time_point _nextDraw{};
};

}  // namespace vesk::host
