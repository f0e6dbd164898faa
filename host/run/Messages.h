/// What the program says to people, on standard error: messages, and how far it is.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vesk::host {

class Messages {
 public:
  /// `progress` allows a progress line, `colours` colours.
  Messages(bool progress, bool colours) : _progress(progress), _colours(colours) {}

  /// "where: message". Control characters in them, as in file names, are escaped.
  void tell(std::string_view where, std::string_view message);

  /// The same for a problem, which stands out where there are colours.
  void complain(std::string_view where, std::string_view message);

  /// Lines as they are, but for such characters.
  void show(std::string_view lines);

  /// A file begins.
  void beginFile();

  /// `bytes` of it are read, out of `size` where that is known, and `reports` are decoded.
  /// Shown when the file takes long, and not too often.
  void progress(std::uint64_t bytes, std::optional<std::uint64_t> size, std::uint64_t reports);

  /// Removes the progress line.
  void clear();

  /// Keeps back what is told, while a picture has the terminal.
  void hold() { _held = true; }

  /// Tells what was kept back, and holds no more.
  void release();

 private:
  void write(std::string_view where, std::string_view message);
  void put(std::string_view text);

  using Clock = std::chrono::steady_clock;

  bool _progress;
  bool _colours;
  bool _lineShown = false;
  bool _held = false;
  std::string _kept;
  Clock::time_point _begin{};
  Clock::time_point _next{};
  std::uint64_t _reportsAtBegin = 0;
  bool _begun = false;
};

}  // namespace vesk::host
