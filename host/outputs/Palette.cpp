#include "host/outputs/Palette.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace vesk::host {

namespace {

// Night blue to pale yellow. Each is lighter than the one before it.
constexpr std::array<Rgb, 6> kAnchors = {{
    {10, 16, 70},
    {40, 60, 135},
    {38, 120, 142},
    {70, 170, 120},
    {160, 210, 70},
    {253, 236, 110},
}};

// The same way through the cube of 6 x 6 x 6 colours that every terminal of 256 colours has.
constexpr std::array<unsigned, 13> kCubeColours = {
    17, 18, 19, 24, 25, 30, 36, 71, 113, 149, 185, 227, 229};

/// `selector` is 38 for the ink, 48 for the ground.
std::string selected(Palette palette, unsigned level, const char* selector) {
  if (palette == Palette::Shades) return {};
  std::string text = std::string("\x1b[").append(selector);
  if (palette == Palette::Colours256)
    return text + ";5;" +
           std::to_string(kCubeColours[level * kCubeColours.size() / kPaletteLevels]) + "m";
  const Rgb colour = colourOf(level);
  text += ";2";
  for (const std::uint8_t part : {colour.red, colour.green, colour.blue})
    text.append(";").append(std::to_string(part));
  return text + "m";
}

}  // namespace

Rgb colourOf(unsigned level) {
  const double place = static_cast<double>(level) * (kAnchors.size() - 1) / (kPaletteLevels - 1);
  const auto below = std::min(static_cast<std::size_t>(place), kAnchors.size() - 2);
  const double part = place - static_cast<double>(below);
  const auto between = [&](std::uint8_t from, std::uint8_t to) {
    return static_cast<std::uint8_t>(std::lround(from + (to - from) * part));
  };
  const Rgb& a = kAnchors[below];
  const Rgb& b = kAnchors[below + 1];
  return {between(a.red, b.red), between(a.green, b.green), between(a.blue, b.blue)};
}

std::string inkOf(Palette palette, unsigned level) { return selected(palette, level, "38"); }
std::string groundOf(Palette palette, unsigned level) { return selected(palette, level, "48"); }

}  // namespace vesk::host
