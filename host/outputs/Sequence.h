/// What the numbers that a stream of reports counts up tell: which reports are lost, came late or
/// twice, and where the sender began anew.
///
/// A number ahead of the newest one makes those between them missing. Any other number is
/// - late, if it is missing and one of the 64 up to the newest: it is lost no more;
/// - late, too, if it is one of the eight up to the newest, and from before the stream's first one;
/// - doubled, if it is one of the eight up to the newest, and came already;
/// - else a restart: the sender counts on from it, and nothing is missing in front of it.
/// Where the old count goes on, by one, behind no more than eight reports of a restart, there was
/// none: those reports were late.
///
///     Sequence sequence;
///     for (const std::uint32_t number : {5, 6, 9, 9, 7, 8}) sequence.follow(number, place);
///     sequence.lost();     // 0
///     sequence.late();     // 2: 7 and 8
///     sequence.doubled();  // 1: 9
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Report.h"

namespace vesk::host {

/// Counts have 32 bits and go on at 0 after the largest.
class Sequence {
 public:
  /// Numbers that are missing, one behind another.
  struct Gap {
    std::string before;  // the place of the report that made them missing
    std::uint32_t first;
    std::uint32_t last;
  };

  /// Takes the number of the next report, which stands at `place`.
  void follow(std::uint32_t number, const Place& place);

  /// The stream, which was that of `file`, is over: the next one's first number may be any.
  void endStream(std::string_view file);

  std::uint64_t lost() const { return _ended.lost + _before.lost + _run.lost; }
  std::uint64_t late() const { return _late; }
  std::uint64_t doubled() const { return _doubled; }
  std::uint64_t restarted() const { return _restarted; }
  std::uint64_t gapCount() const;

  /// The first gaps, ten at most. The stream that is not over yet is that of `file`.
  std::vector<Gap> gaps(std::string_view file) const;

 private:
  /// A gap whose file is still at hand: most are never shown, and need no text.
  struct OpenGap {
    Place before;
    std::uint32_t first;
    std::uint32_t last;
  };

  /// Reports whose numbers go on from each other.
  struct Run {
    std::optional<std::uint32_t> newest;
    std::uint64_t came = 0;     // bit i: the number that lies i below the newest
    std::uint32_t reach = 0;    // how many of those lie within the run
    std::uint64_t reports = 0;  // that came in order
    std::uint64_t lost = 0;
    std::uint64_t unnamed = 0;  // gaps that are not kept
    std::vector<OpenGap> gaps;  // the first ones, and those that late reports can still fill

    void begin(std::uint32_t number);
    void advance(std::uint32_t number, const Place& place);
    void fill(std::uint32_t number);
    void forget();
    void append(const Run& other);
  };

  void fallBack(std::uint32_t number);
  void restart(std::uint32_t number);

  std::vector<Gap> _gaps;  // of the streams that are over
  Run _ended;   // what was found in all runs that are over, and their gaps of this stream
  Run _before;  // the run before a restart, while it may go on
  Run _run;
  std::uint64_t _late = 0;
  std::uint64_t _doubled = 0;
  std::uint64_t _restarted = 0;
};

}  // namespace vesk::host
