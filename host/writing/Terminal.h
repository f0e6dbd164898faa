/// Text from outside, made fit for a terminal: what a file or a device says must not steer it.
#pragma once

#include <string>
#include <string_view>

#include "host/writing/Sink.h"

namespace vesk::host {

/// `text` on one line, with "\u001b" in the place of a control character (U+001B here), and "\xff"
/// in that of a byte that isn't part of valid UTF-8.
///
///     printable("log\x1b[2J\n");  // "log\u001b[2J\u000a"
std::string printable(std::string_view text);

/// The same for whole lines: newlines and tabs stay.
std::string printableLines(std::string_view text);

/// A sink that is a terminal. In JSON what it writes stays the same value.
class TerminalSink final : public Sink {
 public:
  /// Writes to `terminal`, which must outlive it.
  explicit TerminalSink(Sink& terminal) : _terminal(terminal) {}

  using Sink::append;
  void append(std::string_view text) override { _terminal.append(printableLines(text)); }
  void appendControls(std::string_view text) override { _terminal.appendControls(text); }

 private:
  Sink& _terminal;
};

}  // namespace vesk::host
