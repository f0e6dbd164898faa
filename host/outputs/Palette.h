/// Colours for heat maps, dark for low values and light for high ones: their lightness alone tells
/// the order, so that people with any colour vision, and a grey printout, show the same picture.
#pragma once

#include <cstdint>
#include <string>

namespace vesk::host {

/// How a picture is coloured.
enum class Palette : std::uint8_t { Shades, Colours256, TrueColour };

/// Steps from the lowest value to the highest.
inline constexpr unsigned kPaletteLevels = 32;

struct Rgb {
  std::uint8_t red, green, blue;
};

/// The colour of a level, below kPaletteLevels.
Rgb colourOf(unsigned level);

/// The control sequence that selects the colour of a level for what is written next: its ink, or the
/// ground behind it. Empty for Shades, which have none.
std::string inkOf(Palette palette, unsigned level);
std::string groundOf(Palette palette, unsigned level);

}  // namespace vesk::host
