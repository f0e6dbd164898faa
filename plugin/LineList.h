/// What a decoder returns in text mode: an ordered list of lines, without line ends.
///
/// The lines stand in one block, each followed by a newline, so that all of them can be written at
/// once; a second row of numbers in the same allocation says where each ends. (A line may itself
/// hold newlines: the version text does.)
///
///     auto lines = vesk::LineList::of(vesk::line<"Pump:">(),
///                                     vesk::line<"   Strokes:%u">(strokes));
///     lines.add("");
///     lines[1];      // "   Strokes:7"
///     lines.text();  // "Pump:\n   Strokes:7\n\n"
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>

#include "plugin/format.h"

namespace vesk {

/// Where the next line goes, while several are written: in registers, since characters that are
/// written could otherwise be those of the list itself, as far as a compiler knows.
struct LineCursor {
  char* out;
  std::uint32_t* end;  // of the next line, counted from `begin`
  const char* begin;

  /// Ends the line that was written up to `at`.
  VESK_ALWAYS_INLINE void endLine(char* at) {
    *at++ = '\n';
    out = at;
    *end++ = static_cast<std::uint32_t>(out - begin);
  }
};

/// A line to be: a printf format (see format.h) and its arguments, to which it refers.
template <format::Literal format, class... T>
struct Line {
  std::tuple<const T&...> arguments;

  static constexpr std::size_t lines() { return 1; }

  /// Characters that it has at most, its end included.
  VESK_ALWAYS_INLINE std::size_t size() const {
    return std::apply([](const T&... argument) { return format::size<format>(argument...) + 1; },
                      arguments);
  }

  VESK_ALWAYS_INLINE void write(LineCursor& cursor) const {
    cursor.endLine(std::apply(
        [&cursor](const T&... argument) { return format::write<format>(cursor.out, argument...); },
        arguments));
  }
};

template <format::Literal format, class... T>
Line<format, T...> line(const T&... argument) {
  return {{argument...}};
}

/// A line for each element of columns, which are of one length: the first line with the first
/// elements, and so on. Elements are texts of constant capacity, or numbers.
template <format::Literal format, class First, class... Column>
struct Each {
  const First& first;
  std::tuple<const Column&...> columns;

  std::size_t lines() const { return std::size(first); }

  std::size_t size() const {
    return lines() * (format::maximumSize<format, ElementOf<First>, ElementOf<Column>...>() + 1);
  }

  VESK_ALWAYS_INLINE void write(LineCursor& cursor) const {
    std::apply(
        [this, &cursor](const Column&... column) {
          for (std::size_t i = 0; i < lines(); ++i)
            cursor.endLine(format::write<format>(cursor.out, first[i], column[i]...));
        },
        columns);
  }

 private:
  template <class AnyColumn>
  using ElementOf = std::remove_cvref_t<decltype(std::declval<const AnyColumn&>()[0])>;
};

template <format::Literal format, class First, class... Column>
Each<format, First, Column...> each(const First& first, const Column&... column) {
  return {first, {column...}};
}

/// line<"...">(...), each<"...">(...).
template <class L>
concept AnyLines = requires(const L& lines, LineCursor& cursor) {
  { lines.lines() } -> std::same_as<std::size_t>;
  { lines.size() } -> std::same_as<std::size_t>;
  lines.write(cursor);
};

class LineList {
 public:
  LineList() = default;

  /// These lines, in room that just suffices for them.
  template <AnyLines... L>
  static LineList of(const L&... lines) {
    LineList list((std::size_t{0} + ... + lines.lines()), (std::size_t{0} + ... + lines.size()));
    list.add(lines...);
    return list;
  }

  /// An empty list with room for `lines` lines of `characters` characters in all, line ends
  /// included: as long as they suffice, this is the only allocation.
  LineList(std::size_t lines, std::size_t characters) {
    reallocate(lines, characters + kernels::kSlack);
  }

  LineList(LineList&& other) noexcept { swap(other); }
  LineList& operator=(LineList&& other) noexcept {
    swap(other);
    return *this;
  }
  LineList(const LineList& other) : LineList(other._lines, other._size) {
    if (other._block == nullptr) return;
    std::memcpy(_block.get(), other._block.get(), other._lines * sizeof(End));
    std::memcpy(characters(), other.characters(), other._size);
    _lines = other._lines;
    _size = other._size;
  }
  LineList& operator=(const LineList& other) {
    *this = LineList(other);
    return *this;
  }
  ~LineList() = default;

  /// Number of lines.
  std::size_t size() const { return _lines; }
  bool empty() const { return _lines == 0; }

  /// A line, without its end. Valid until the list changes. Throws std::out_of_range past the end.
  std::string_view operator[](std::size_t index) const {
    if (index >= _lines) throw std::out_of_range("LineList: index past the end");
    const std::size_t begin = index == 0 ? 0 : ends()[index - 1];
    return {characters() + begin, ends()[index] - begin - 1};
  }

  /// All lines, each followed by a newline. Valid until the list changes.
  std::string_view text() const { return {characters(), _size}; }

  /// Appends a line as it stands.
  void add(std::string_view line) {
    char* const out = lineRoom(line.size());
    endLine(out + line.copy(out, line.size()));
  }

  /// Appends a constant line.
  template <std::size_t size>
  void add(const char (&line)[size]) {
    char* const out = lineRoom(size - 1);
    std::memcpy(out, line, size - 1);
    endLine(out + size - 1);
  }

  /// Appends these lines: add(line<"%s:">(name), each<"%40s: %i">(labels, counters), ...).
  template <AnyLines... L>
  void add(const L&... lines) {
    reserve((std::size_t{0} + ... + lines.lines()), (kernels::kSlack + ... + lines.size()));
    LineCursor cursor = this->cursor();
    (lines.write(cursor), ...);
    moveTo(cursor);
  }

  /// Appends `count` lines, each of which write(out, i) writes, in no more than `size` characters,
  /// and gives back its end.
  template <class Write>
  void addLines(std::size_t count, std::size_t size, const Write& write) {
    reserve(count, count * (size + 1) + kernels::kSlack);
    LineCursor cursor = this->cursor();
    for (std::size_t i = 0; i < count; ++i) cursor.endLine(write(cursor.out, i));
    moveTo(cursor);
  }

  /// Appends `count` lines of `size` characters each, which write(out) writes all at once, each with
  /// its newline. It gives back their end.
  template <class Write>
  void addBlock(std::size_t count, std::size_t size, const Write& write) {
    reserve(count, count * (size + 1) + kernels::kSlack);
    write(characters() + _size);
    End* const end = ends() + _lines;
    for (std::size_t i = 0; i < count; ++i) end[i] = static_cast<End>(_size + (i + 1) * (size + 1));
    _lines += count;
    _size += count * (size + 1);
  }

  /// For what writes a line itself: room for `size` characters of the next line and, behind them,
  /// for the slack of the kernels. Valid until the list changes. endLine() then makes them a line.
  char* lineRoom(std::size_t size) {
    reserve(1, size + kernels::kSlack);  // the newline has its place within the slack
    return characters() + _size;
  }

  /// Ends the line that was written into lineRoom() before `end`.
  void endLine(char* end) {
    *end++ = '\n';
    _size = static_cast<std::size_t>(end - characters());
    ends()[_lines++] = static_cast<End>(_size);
  }

 private:
  using End = std::uint32_t;

  LineCursor cursor() { return {characters() + _size, ends() + _lines, characters()}; }

  /// Behind what was written with a cursor.
  void moveTo(const LineCursor& cursor) {
    _lines = static_cast<std::size_t>(cursor.end - ends());
    _size = static_cast<std::size_t>(cursor.out - cursor.begin);
  }

  struct Delete {
    void operator()(char* block) const { ::operator delete(block); }
  };

  End* ends() { return reinterpret_cast<End*>(_block.get()); }
  const End* ends() const { return reinterpret_cast<const End*>(_block.get()); }
  char* characters() { return _block.get() + _lineCapacity * sizeof(End); }
  const char* characters() const { return _block.get() + _lineCapacity * sizeof(End); }

  /// Makes room for `lines` more lines, and `size` more characters.
  void reserve(std::size_t lines, std::size_t size) {
    if (_lineCapacity - _lines < lines || _capacity - _size < size) grow(lines, size);
  }

  __attribute__((noinline, cold)) void grow(std::size_t more, std::size_t size) {
    const std::size_t lines =
        _lineCapacity - _lines >= more ? _lineCapacity : 2 * _lineCapacity + 4 + more;
    const std::size_t needed = _size + size;
    reallocate(lines, needed <= _capacity ? _capacity : needed + needed / 2);
  }

  void reallocate(std::size_t lines, std::size_t capacity) {
    if (capacity > std::numeric_limits<End>::max())
      throw std::length_error("LineList: more than 4 GiB of text");
    std::unique_ptr<char, Delete> block(
        static_cast<char*>(::operator new(lines * sizeof(End) + capacity)));
    if (_lines != 0) {
      std::memcpy(block.get(), _block.get(), _lines * sizeof(End));
      std::memcpy(block.get() + lines * sizeof(End), characters(), _size);
    }
    _block = std::move(block);
    _lineCapacity = lines;
    _capacity = capacity;
  }

  void swap(LineList& other) noexcept {
    std::swap(_block, other._block);
    std::swap(_lineCapacity, other._lineCapacity);
    std::swap(_lines, other._lines);
    std::swap(_capacity, other._capacity);
    std::swap(_size, other._size);
  }

  std::unique_ptr<char, Delete>
      _block;  // the ends of _lineCapacity lines, then _capacity characters
  std::size_t _lineCapacity = 0;
  std::size_t _lines = 0;
  std::size_t _capacity = 0;
  std::size_t _size = 0;
};

}  // namespace vesk
