#include "viewer/native/Series.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <utility>

#include "host/Kinds.h"

namespace vesk::viewer {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

template <class Number>
Number at(const host::Table& table, const host::Column& column, std::size_t row) {
  Number number;
  std::memcpy(&number, table.rowAt(row) + column.offset, sizeof number);
  return number;
}

}  // namespace

void Series::add(const host::Table& table, std::span<const std::uint32_t> senders) {
  if (table.rows() != 0 && _columns.empty()) begin(table);
  const host::Column* counter = table.find(_counter);
  if (counter != nullptr && counter->kind != VESK_UNSIGNED_INT) counter = nullptr;
  const host::Column& time = table.columns()[host::kTimeColumn];
  for (std::size_t row = 0; row < table.rows();) {
    if (_rows % _rowsInPart == 0) beginPart(at<std::int64_t>(table, time, row));
    const std::size_t count = std::min(table.rows() - row, _rowsInPart - _rows % _rowsInPart);
    addToPart(table, row, count);
    for (const std::size_t end = row + count; row < end; ++row, ++_rows) {
      const auto microseconds = at<std::int64_t>(table, time, row);
      if (microseconds != host::kNoTime) _lastTime = static_cast<double>(microseconds);
      if (counter != nullptr) follow(senders[row], at<std::uint32_t>(table, *counter, row));
    }
  }
}

void Series::begin(const host::Table& table) {
  for (const host::Column& column : table.columns()) {
    const bool isTime = &column == &table.columns()[host::kTimeColumn];
    if (isTime || column.isText || column.count == 0) continue;
    _columns.push_back(
        {column.name, column.count, column.isArray, _channels, column.kind, column.offset});
    _channels += column.count;
  }
  _start.resize(_channels);
  _mean.resize(_channels);
  _squares.resize(_channels);
}

/// The next row is the first one of a part. Where all parts are full, two neighbours become one.
void Series::beginPart(std::int64_t microseconds) {
  if (_times.size() == kParts) {
    for (std::size_t to = 0; to < kParts / 2; ++to) {
      _times[to] = _times[2 * to];
      for (std::size_t i = 0; i < _channels; ++i) {
        const std::size_t left = 2 * to * _channels + i;
        _least[to * _channels + i] = std::min(_least[left], _least[left + _channels]);
        _most[to * _channels + i] = std::max(_most[left], _most[left + _channels]);
      }
    }
    _times.resize(kParts / 2);
    _least.resize(kParts / 2 * _channels);
    _most.resize(kParts / 2 * _channels);
    _rowsInPart *= 2;
  }
  _times.push_back(microseconds == host::kNoTime ? kNone : static_cast<double>(microseconds));
  _least.resize(_times.size() * _channels, kInfinity);
  _most.resize(_times.size() * _channels, -kInfinity);
}

/// Takes `count` rows of a table, from `first` on, into the last part.
void Series::addToPart(const host::Table& table, std::size_t first, std::size_t count) {
  for (const Channels& column : _columns)
    host::withValues(column.kind, nullptr, 0, [&](auto numbers) {
      using Number = std::remove_cvref_t<decltype(*numbers.data())>;
      take<Number>(table, column, first, count);
    });
}

template <class Number>
void Series::take(const host::Table& table, const Channels& column, std::size_t first,
                  std::size_t count) {
  double* const least = &_least[_least.size() - _channels + column.first];
  double* const most = &_most[_most.size() - _channels + column.first];
  double* const start = &_start[column.first];
  double* const mean = &_mean[column.first];
  double* const squares = &_squares[column.first];
  for (std::size_t row = first; row < first + count; ++row) {
    const auto* const numbers = reinterpret_cast<const Number*>(table.rowAt(row) + column.offset);
    const std::size_t rows = _rows + (row - first);
    const double share = 1 / static_cast<double>(rows + 1);
    for (std::size_t i = 0; i < column.count; ++i) {
      const auto number = static_cast<double>(numbers[i]);
      if (rows == 0) start[i] = number;
      least[i] = number < least[i] ? number : least[i];
      most[i] = number > most[i] ? number : most[i];
      // The mean so far, and the sum of squares around it: sums of the numbers themselves lose
      // digits.
      const double off = number - mean[i];
      mean[i] += off * share;
      squares[i] += off * (number - mean[i]);
    }
  }
}

void Series::follow(std::uint32_t sender, std::uint32_t number) {
  const auto [last, isFirst] = _lastNumbers.emplace(sender, number);
  const std::uint32_t from = std::exchange(last->second, number);
  if (isFirst || number - from == 1) return;
  if (_jumps.size() < kMostJumps)
    _jumps.push_back({_rows, from, number});
  else
    ++_moreJumps;
}

std::vector<double> Series::least() const {
  std::vector<double> all(_channels, kInfinity);
  for (std::size_t i = 0; i < _least.size(); ++i)
    all[i % _channels] = std::min(all[i % _channels], _least[i]);
  std::ranges::replace(all, kInfinity, kNone);
  return all;
}

std::vector<double> Series::most() const {
  std::vector<double> all(_channels, -kInfinity);
  for (std::size_t i = 0; i < _most.size(); ++i)
    all[i % _channels] = std::max(all[i % _channels], _most[i]);
  std::ranges::replace(all, -kInfinity, kNone);
  return all;
}

std::vector<double> Series::noise() const {
  std::vector<double> noise;
  for (const double sum : _squares) noise.push_back(std::sqrt(sum / static_cast<double>(_rows)));
  return noise;
}

std::size_t Series::channel(std::string_view column, std::size_t element) const {
  const auto found = std::ranges::find(_columns, column, &Channels::name);
  if (found == _columns.end() || element >= found->count)
    throw std::out_of_range("there is no " + std::string(column) + "[" + std::to_string(element) +
                            "]");
  return found->first + element;
}

std::vector<double> Series::least(std::size_t channel) const {
  std::vector<double> parts;
  for (std::size_t at = channel; at < _least.size(); at += _channels) parts.push_back(_least[at]);
  std::ranges::replace(parts, kInfinity, kNone);
  return parts;
}

std::vector<double> Series::most(std::size_t channel) const {
  std::vector<double> parts;
  for (std::size_t at = channel; at < _most.size(); at += _channels) parts.push_back(_most[at]);
  std::ranges::replace(parts, -kInfinity, kNone);
  return parts;
}

}  // namespace vesk::viewer
