/// A terminal as forms see it that draw on all of it.
#pragma once

#include <string_view>

#include "host/outputs/HeatMap.h"
#include "host/outputs/Palette.h"

namespace vesk::host {

class Canvas {
 public:
  virtual ~Canvas() = default;

  /// How large it is now.
  virtual Room room() = 0;

  virtual Palette palette() const = 0;

  /// From here on kTake is in what is written: whatever ends the program, kGiveBack must follow.
  virtual void take() = 0;

  /// Whether it is taken: not yet before take(), and no more after the program was stopped for a
  /// while.
  virtual bool isTaken() const = 0;

  /// What takes the terminal, on a screen of its own without a cursor and without wrapped lines, and
  /// what gives it back.
  static constexpr std::string_view kTake = "\x1b[?1049h\x1b[?25l\x1b[?7l\x1b[2J";
  static constexpr std::string_view kGiveBack = "\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l";
};

}  // namespace vesk::host
