#include "host/outputs/Screen.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <numeric>
#include <utility>

#include "host/Kinds.h"
#include "host/writing/Colour.h"
#include "host/writing/Numbers.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

using namespace std::chrono_literals;

// As many as a terminal shows; over ssh every picture costs its bytes.
constexpr auto kBetweenPictures = 1'000'000us / 60;

constexpr auto kBetweenLooks = 500ms;  // at a terminal that may have another size

constexpr std::size_t kTimesKept = 64;
constexpr unsigned kOtherLines = 4;  // above and below the picture

// Terminals that know it show what stands between both at once; others pass over it.
constexpr std::string_view kBeginUpdate = "\x1b[?2026h\x1b[H";
constexpr std::string_view kEndUpdate = "\x1b[?2026l";
constexpr std::string_view kClearLine = "\x1b[K";
constexpr std::string_view kClearBelow = "\x1b[J";

std::string textOf(const vesk_number& number) {
  std::string text(kNumberRoom, '\0');
  withValue(number, [&](auto value) {
    text.resize(static_cast<std::size_t>(putNumber(text.data(), value) - text.data()));
  });
  return text;
}

bool isFloating(const Field& field) {
  const auto* number = std::get_if<vesk_number>(&field.value);
  return number != nullptr && (number->kind == VESK_FLOAT || number->kind == VESK_DOUBLE);
}

std::string counted(std::uint64_t count, std::string_view what) {
  return std::to_string(count).append(" ").append(what);
}

}  // namespace

ScreenOutput::ScreenOutput(const OutputContext& context)
    : DecodingOutput(context),
      _sink(context.sink),
      _canvas(*context.canvas),
      _statistics(context.known) {}

void ScreenOutput::beginFile(std::string_view name) {
  _file = name;
  _statistics.beginFile(name);
  _times.clear();
}

/// The first kind with something to draw is shown to the end: two in turn would only flicker.
bool ScreenOutput::isShown(const Report& report, const ReportInfo& info,
                           const std::vector<Field>& fields) {
  if (_kind == nullptr && std::ranges::any_of(fields, [](const Field& field) {
        return std::holds_alternative<ArrayValue>(field.value);
      }))
    _kind = &info;
  if (_kind != &info) return false;
  _source = printable(describe(_file, report.place));
  return true;
}

void ScreenOutput::writeChecked(const Report& report, const ReportInfo& info) {
  auto fields = fieldsOf(decode(info, Plugin::Mode::Object));
  _statistics.count(report, &info);
  if (!isShown(report, info, fields)) {
    ++_others;
    return;
  }
  _frame = std::move(fields);
  if (report.microseconds) {
    if (_times.size() == kTimesKept) _times.pop_front();
    _times.push_back(*report.microseconds);
  }
  _isDrawn = false;
  drawIfDue();
}

void ScreenOutput::write(const Problem& problem) {
  ++_errors;
  _lastError = printable(describe(_file, problem.place) + ": " + problem.message);
  if (_kind == nullptr) return;
  _isDrawn = false;
  drawIfDue();
}

void ScreenOutput::drawIfDue() {
  if (Clock::now() >= _nextDraw) draw();
}

std::optional<Clock::time_point> ScreenOutput::idle() {
  if (_kind == nullptr) return std::nullopt;
  const bool isWhole = _canvas.isTaken() && _canvas.room() == _drawnRoom;
  if (!_isDrawn || !isWhole) drawIfDue();
  // The signal of another size may come just before the wait that it should end.
  return _isDrawn ? Clock::now() + kBetweenLooks : _nextDraw;
}

void ScreenOutput::draw() {
  _isDrawn = true;
  _nextDraw = Clock::now() + kBetweenPictures;
  std::string text;
  if (!_canvas.isTaken()) text += Canvas::kTake;
  _canvas.take();
  _drawnRoom = _canvas.room();
  text += kBeginUpdate;
  for (const std::string& line : picture(_drawnRoom)) {
    if (!text.ends_with(kBeginUpdate)) text += "\r\n";
    text.append(line) += kClearLine;
  }
  text.append(kClearBelow).append(kEndUpdate);
  _sink.appendControls(text);
}

std::vector<std::string> ScreenOutput::picture(const Room& room) {
  std::vector<Band> bands;
  for (const Field& field : _frame)
    if (const auto* samples = std::get_if<ArrayValue>(&field.value)) {
      Scale& scale = _scales[field.key];
      scale.follow(*samples);
      bands.push_back({field.key, *samples, scale});
    }
  const unsigned lines = room.lines > kOtherLines ? room.lines - kOtherLines : 0;
  const auto emphasized = [&](Colour colour, const std::string& text) {
    return _canvas.palette() == Palette::Shades ? text : coloured(colour, text);
  };
  std::vector<std::string> picture = {
      emphasized(Colour::Bold, _source + ", " + describe(_kind->id, _kind->type))};
  std::ranges::move(heatMap(bands, {room.columns, lines}, _canvas.palette()),
                    std::back_inserter(picture));
  picture.push_back(countsLine());
  picture.push_back(valuesLine());
  if (!_lastError.empty()) picture.push_back(emphasized(Colour::Red, _lastError));
  return picture;
}

std::string ScreenOutput::countsLine() const {
  std::string line;
  for (const Field& field : _frame)
    if (const auto* number = std::get_if<vesk_number>(&field.value))
      if (_kind->counter && field.key == _kind->counter->key)
        line = field.key + " " + textOf(*number) + ", ";
  line += rateText();
  const auto streams = _statistics.streams();
  const std::uint64_t lost = std::accumulate(
      streams.begin(), streams.end(), std::uint64_t{0}, [&](std::uint64_t sum, const auto* stream) {
        return sum + (stream->info == _kind ? stream->numbers.lost() : 0);
      });
  if (_kind->counter) line += counted(lost, "lost, ");
  line += counted(_statistics.reports() - _others, "frames");
  if (_others != 0) line += ", " + counted(_others, "other reports");
  if (_errors != 0) line += ", " + counted(_errors, "errors");
  return line;
}

/// What a report says beside its samples, measured values first: the line may be too long.
std::string ScreenOutput::valuesLine() const {
  std::string line;
  for (const bool floating : {true, false})
    for (const Field& field : _frame) {
      const auto* number = std::get_if<vesk_number>(&field.value);
      if (number == nullptr || isFloating(field) != floating ||
          (_kind->counter && field.key == _kind->counter->key))
        continue;
      line.append(line.empty() ? "" : "  ").append(field.key).append(" ").append(textOf(*number));
    }
  return line;
}

/// How many frames a second came lately, by their times.
std::string ScreenOutput::rateText() const {
  if (_times.size() < 2 || _times.back() <= _times.front()) return {};
  std::array<char, 48> text;
  std::snprintf(text.data(),
                text.size(),
                "%.1f a second, ",
                1e6 * static_cast<double>(_times.size() - 1) /
                    static_cast<double>(_times.back() - _times.front()));
  return text.data();
}

/// The last picture stays, where the messages follow it.
void ScreenOutput::finish() {
  if (_kind == nullptr) return;
  if (_canvas.isTaken()) _sink.appendControls(Canvas::kGiveBack);
  for (const std::string& line : picture(_canvas.room())) _sink.appendControls(line + "\n");
}

}  // namespace vesk::host
