/// What an overview keeps of all reports of one decoder, however many there are: of each number the
/// least and the most in some parts of the capture, its mean and its noise; and where the numbers of
/// reports jump. Its memory doesn't grow with the capture.
///
///     Series series("FRAME_NUMBER");
///     series.add(table, senders);          // tables of further reports, in order
///     series.noise();                      // of each channel
///     series.least(series.channel("D_SCAN_I", 7));  // over the capture
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/columns/Table.h"

namespace vesk::viewer {

class Series {
 public:
  /// The most parts that a capture is divided into.
  static constexpr std::size_t kParts = 1024;

  static constexpr std::size_t kMostJumps = 10'000;

  /// A column's numbers: a channel each, from `first` on.
  struct Channels {
    std::string name;
    std::size_t count;
    bool isArray;
    std::size_t first;
    std::int32_t kind;   // a vesk_kind
    std::size_t offset;  // in a row, in bytes
  };

  /// The numbers of two reports of a sender that follow each other, and aren't one apart.
  struct Jump {
    std::size_t row;  // of the second one
    std::uint32_t from;
    std::uint32_t to;
  };

  /// `counter` is the key of the number that each report carries; empty if there is none.
  explicit Series(std::string counter) : _counter(std::move(counter)) {}

  /// Takes further rows, of which all tables have the same columns. `senders` has a number for the
  /// sender of each.
  void add(const host::Table& table, std::span<const std::uint32_t> senders);

  std::size_t rows() const { return _rows; }
  const std::vector<Channels>& columns() const { return _columns; }

  /// Of the first row; of all channels, as the next ones.
  const std::vector<double>& start() const { return _start; }

  /// Numbers that are none (NaN) are passed over; NaN if all are.
  std::vector<double> least() const;
  std::vector<double> most() const;

  /// NaN if one of the numbers is.
  const std::vector<double>& mean() const { return _mean; }

  /// Standard deviation of all rows, not the estimate from a sample.
  std::vector<double> noise() const;

  const std::vector<Jump>& jumps() const { return _jumps; }

  /// How many aren't among them.
  std::size_t moreJumps() const { return _moreJumps; }

  /// Microseconds; NaN where the reports have no times.
  double firstTime() const { return _times.empty() ? kNone : _times.front(); }
  double lastTime() const { return _lastTime; }

  /// The capture's parts have so many rows each; the last one may have fewer.
  std::size_t rowsInPart() const { return _rowsInPart; }

  /// Of the first row of each part.
  const std::vector<double>& times() const { return _times; }

  /// The number of an element's channel. Throws std::out_of_range if there is none.
  std::size_t channel(std::string_view column, std::size_t element) const;

  /// Of a channel in each part.
  std::vector<double> least(std::size_t channel) const;
  std::vector<double> most(std::size_t channel) const;

 private:
  static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

  void begin(const host::Table& table);
  void beginPart(std::int64_t microseconds);
  void addToPart(const host::Table& table, std::size_t first, std::size_t count);
  template <class Number>
  void take(const host::Table& table, const Channels& column, std::size_t first, std::size_t count);
  void follow(std::uint32_t sender, std::uint32_t number);

  std::string _counter;
  std::vector<Channels> _columns;
  std::size_t _channels = 0;
  std::size_t _rows = 0;
  std::size_t _rowsInPart = 1;

  std::vector<double> _times;  // a number a part
  double _lastTime = kNone;
  std::vector<double> _least;  // all channels of a part, and those of the next one
  std::vector<double> _most;
  std::vector<double> _start;  // a number a channel, as the next ones
  std::vector<double> _mean;
  std::vector<double> _squares;  // of the distances from the mean

  std::map<std::uint32_t, std::uint32_t> _lastNumbers;  // by sender
  std::vector<Jump> _jumps;
  std::size_t _moreJumps = 0;
};

}  // namespace vesk::viewer
