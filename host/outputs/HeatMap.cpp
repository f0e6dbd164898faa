#include "host/outputs/HeatMap.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <optional>
#include <utility>

#include "host/Kinds.h"

namespace vesk::host {

namespace {

constexpr unsigned kTicks = 8;        // cells from one number below the picture to the next
constexpr unsigned kHighestBand = 3;  // lines; more show no more
constexpr unsigned kWidestCell = 4;   // columns
constexpr unsigned kNarrowestPicture = kTicks;
constexpr std::size_t kLabelWidth = 11;  // at least: pictures with other scales stand as wide
constexpr std::string_view kNormal = "\x1b[0m";
constexpr std::string_view kWholeCell = "\u2588";  // full block
constexpr std::string_view kHalfCell = "\u2580";   // upper half block

/// Calls use(value) with each number as a double.
template <class Use>
void forEach(const ArrayValue& samples, Use use) {
  withValues(samples.kind, samples.values(), samples.count, [&](auto values) {
    for (const auto value : values) use(static_cast<double>(value));
  });
}

/// The level of each number; none for what is no number.
std::vector<std::optional<unsigned>> levelsOf(const Band& band) {
  std::vector<std::optional<unsigned>> levels;
  levels.reserve(band.samples.count);
  const double width = band.scale.high - band.scale.low;
  forEach(band.samples, [&](double value) {
    const double part = width > 0 ? (value - band.scale.low) / width : 0.5;
    if (std::isnan(part))
      levels.push_back(std::nullopt);
    else
      levels.push_back(static_cast<unsigned>(std::clamp(part, 0.0, 1.0) * (kPaletteLevels - 1)));
  });
  return levels;
}

/// Shades are told apart by how much of a cell they fill.
std::string_view shadeOf(unsigned level) {
  constexpr std::array<std::string_view, 5> kShades = {
      " ", "\u2591", "\u2592", "\u2593", kWholeCell};
  return kShades[level * kShades.size() / kPaletteLevels];
}

/// A line of cells; half ones are the upper halves of characters. Neighbours of one colour share its
/// control sequence, and whole cells are blanks before a coloured ground: each picture may have to go
/// over a slow line.
std::string cells(std::span<const std::optional<unsigned>> levels, unsigned width, bool isHalf,
                  Palette palette) {
  std::string line;
  std::string selected(kNormal);
  for (const auto& level : levels) {
    std::string colour(kNormal);
    if (level && palette != Palette::Shades)
      colour = isHalf ? inkOf(palette, *level) : groundOf(palette, *level);
    if (colour != selected) line += colour;
    selected = std::move(colour);
    std::string_view cell = " ";
    if (level && palette == Palette::Shades && !isHalf) cell = shadeOf(*level);
    if (level && palette != Palette::Shades && isHalf) cell = kHalfCell;
    for (unsigned i = 0; i < width; ++i) line += cell;
  }
  if (selected != kNormal) line += kNormal;
  return line;
}

/// As many digits as one compares at a glance: a scale that follows its samples has fractions.
std::string shortNumber(double value) {
  std::array<char, 32> text;
  const bool isLarge = std::abs(value) >= 10 && std::abs(value) < 1e9;
  std::snprintf(text.data(), text.size(), isLarge ? "%.0f" : "%.3g", value);
  return text.data();
}

std::string scaleText(const Scale& scale) {
  return shortNumber(scale.low) + " to " + shortNumber(scale.high);
}

std::string padded(std::string text, std::size_t width) {
  text.resize(std::max(text.size(), width), ' ');
  return text;
}

/// "0       8       16": the number of every eighth cell, where it begins.
std::string axis(std::size_t cellCount, unsigned width) {
  std::string line;
  for (std::size_t i = 0; i < cellCount; i += kTicks)
    line = padded(std::move(line), i * width) + std::to_string(i);
  return line;
}

}  // namespace

void Scale::follow(const ArrayValue& samples) {
  double least = std::numeric_limits<double>::infinity();
  double greatest = -least;
  forEach(samples, [&](double value) {
    if (!std::isfinite(value)) return;
    least = std::min(least, value);
    greatest = std::max(greatest, value);
  });
  if (least > greatest) return;
  constexpr double kStep = 0.02;
  const bool isFirst = low > high;
  low = isFirst ? least : std::min(least, low + (least - low) * kStep);
  high = isFirst ? greatest : std::max(greatest, high + (greatest - high) * kStep);
}

std::vector<std::string> heatMap(std::span<const Band> bands, const Room& room, Palette palette) {
  std::size_t labelWidth = kLabelWidth;
  std::size_t longest = 0;
  for (const Band& band : bands) {
    labelWidth = std::max({labelWidth, band.title.size(), scaleText(band.scale).size()});
    longest = std::max(longest, band.samples.count);
  }
  labelWidth += 2;
  if (longest == 0 || room.lines == 0) return {};
  if (room.columns < labelWidth + kNarrowestPicture) return {"too narrow for the picture"};

  // What is longer than a line goes on in the next one, at a number that the axis has.
  const std::size_t columns = room.columns - labelWidth;
  const std::size_t perLine = longest <= columns ? longest : columns / kTicks * kTicks;
  const auto width = static_cast<unsigned>(std::min<std::size_t>(columns / perLine, kWidestCell));
  std::size_t rows = 0;
  for (const Band& band : bands) rows += (band.samples.count + perLine - 1) / perLine;
  const std::size_t height =
      std::clamp<std::size_t>((room.lines - 1) / rows, 1, std::size_t{kHighestBand});

  std::vector<std::string> lines;
  for (const Band& band : bands) {
    const auto levels = levelsOf(band);
    for (std::size_t begin = 0; begin < levels.size(); begin += perLine) {
      const auto row = std::span(levels).subspan(begin, std::min(perLine, levels.size() - begin));
      for (std::size_t line = 0; line < height; ++line) {
        const bool isHalf = line + 1 == height && height > 1;
        std::string label;
        if (begin == 0 && line == 0) label = band.title;
        if (begin == 0 && line == 1) label = scaleText(band.scale);
        if (begin != 0 && line == 0) label = "from " + std::to_string(begin);
        lines.push_back(padded(std::move(label), labelWidth) + cells(row, width, isHalf, palette));
      }
    }
  }
  lines.push_back(std::string(labelWidth, ' ') + axis(perLine, width));
  if (lines.size() > room.lines) {
    lines.resize(room.lines);
    lines.back() = "the terminal is too low for all of the picture";
  }
  return lines;
}

}  // namespace vesk::host
