/// The terminal of a form that draws on all of it, and that it is given back whatever happens.
#pragma once

#include <sys/types.h>
#include <string_view>

#include "host/outputs/Canvas.h"
#include "host/run/Messages.h"

namespace vesk::host {

/// At most one exists at a time. While it does, messages are held back: they would stand in the
/// picture. A stop from the keyboard gives the terminal back until the program goes on. A second
/// process sees to the rest: where this one dies without having given the terminal back, by SIGKILL
/// even, that one does.
class TerminalCanvas final : public Canvas {
 public:
  /// `descriptor` is the terminal's. Without `colours` pictures are made of shades.
  TerminalCanvas(int descriptor, bool colours, Messages& messages);
  ~TerminalCanvas() override;
  TerminalCanvas(const TerminalCanvas&) = delete;
  TerminalCanvas& operator=(const TerminalCanvas&) = delete;

  Room room() override;
  Palette palette() const override { return _palette; }
  void take() override;
  bool isTaken() const override;

  /// The terminal has got Canvas::kGiveBack: messages may follow.
  void giveBack();

 private:
  void startGuard();
  void tellGuard(char state);

  int _descriptor;
  Palette _palette;
  Messages& _messages;
  pid_t _guard = -1;
  int _toGuard = -1;
};

}  // namespace vesk::host
