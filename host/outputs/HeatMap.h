/// Rows of numbers as a picture of coloured cells, made of characters.
///
/// Each row of numbers is a band of cells, with its title and its scale on its left. The last line of
/// a band is half as high as the others, which leaves a gap to the next one:
///
///     D_SCAN_I    ██▓▓░░░░ ...
///     -9 to 306   ▀▀▀▀▀▀▀▀ ...
///     D_SCAN_Q    ...
///                 0       8       16 ...
#pragma once

#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/Value.h"
#include "host/outputs/Palette.h"

namespace vesk::host {

/// Numbers from `low` to `high`, which is drawn in all colours.
struct Scale {
  double low = std::numeric_limits<double>::infinity();  // above `high` while there was no sample
  double high = -std::numeric_limits<double>::infinity();

  /// Takes in the least and the greatest of `samples` at once, and follows them slowly where they
  /// come closer, so that a picture doesn't flicker. The first ones are taken as they are.
  void follow(const ArrayValue& samples);
};

/// Numbers under a title. Both must outlive the picture.
struct Band {
  std::string_view title;
  const ArrayValue& samples;
  Scale scale;
};

/// The room for a picture, in characters.
struct Room {
  unsigned columns;
  unsigned lines;

  bool operator==(const Room&) const = default;
};

/// The picture, a string a line, without line ends; `room.lines` of them at most. What the room has
/// no place for is left out, and a last line says so. Titles must be printable.
std::vector<std::string> heatMap(std::span<const Band> bands, const Room& room, Palette palette);

}  // namespace vesk::host
