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

#include "model/wire_format.h"
#include "text/format.h"

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

  LineList(LineList&&) noexcept = default;
  LineList& operator=(LineList&&) noexcept = default;
  LineList(const LineList& other) {
    if (other._block == nullptr) return;
    reallocate(other.size(), other._block->size + kernels::kSlack);
    _block->lines = other._block->lines;
    _block->size = other._block->size;
    std::memcpy(ends(), other.ends(), _block->lines * sizeof(End));
    std::memcpy(characters(), other.characters(), _block->size);
  }
  LineList& operator=(const LineList& other) {
    *this = LineList(other);
    return *this;
  }
  ~LineList() = default;

  /// Number of lines.
  std::size_t size() const { return _block != nullptr ? _block->lines : 0; }
  bool empty() const { return size() == 0; }

  /// A line, without its end. Valid until the list changes. Throws std::out_of_range past the end.
  std::string_view operator[](std::size_t index) const {
    if (index >= size()) throw std::out_of_range("LineList: index past the end");
    const std::size_t begin = index == 0 ? 0 : ends()[index - 1];
    return {characters() + begin, ends()[index] - begin - 1};
  }

  /// All lines, each followed by a newline. Valid until the list changes.
  std::string_view text() const {
    if (_block == nullptr) return {};
    return {characters(), _block->size};
  }

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

  /// Appends `count` lines of `size` characters each, which write(out) writes all at once, newlines
  /// included.
  template <class Write>
  void addBlock(std::size_t count, std::size_t size, const Write& write) {
    reserve(count, count * (size + 1) + kernels::kSlack);
    write(characters() + _block->size);
    End* const end = ends() + _block->lines;
    std::size_t at = _block->size;
    for (std::size_t i = 0; i < count; ++i) end[i] = static_cast<End>(at += size + 1);
    _block->lines += count;
    _block->size = at;
  }

  /// For what writes a line itself: room for `size` characters of the next line and, behind them,
  /// for the slack of the kernels. Valid until the list changes. endLine() then makes them a line.
  char* lineRoom(std::size_t size) {
    reserve(1, size + kernels::kSlack);  // the newline has its place within the slack
    return characters() + _block->size;
  }

  /// Ends the line that was written into lineRoom() before `end`.
  void endLine(char* end) {
    *end++ = '\n';
    _block->size = static_cast<std::size_t>(end - characters());
    ends()[_block->lines++] = static_cast<End>(_block->size);
  }

 private:
  using End = std::uint32_t;

  /// The block's head. Behind it stand the ends of `lineCapacity` lines, and `capacity` characters.
  /// A list is a pointer to it, so that handing a result on moves nothing else.
  struct Block {
    std::size_t lineCapacity;
    std::size_t lines;
    std::size_t capacity;
    std::size_t size;
  };

  struct Delete {
    void operator()(Block* block) const { ::operator delete(block); }
  };

  End* ends() const { return reinterpret_cast<End*>(_block.get() + 1); }
  char* characters() const { return reinterpret_cast<char*>(ends() + _block->lineCapacity); }

  LineCursor cursor() {
    return {characters() + _block->size, ends() + _block->lines, characters()};
  }

  /// Behind what was written with a cursor.
  void moveTo(const LineCursor& cursor) {
    _block->lines = static_cast<std::size_t>(cursor.end - ends());
    _block->size = static_cast<std::size_t>(cursor.out - cursor.begin);
  }

  /// Makes room for `lines` more lines, and `size` more characters.
  void reserve(std::size_t lines, std::size_t size) {
    if (_block == nullptr || _block->lineCapacity - _block->lines < lines ||
        _block->capacity - _block->size < size)
      grow(lines, size);
  }

  __attribute__((noinline, cold)) void grow(std::size_t more, std::size_t size) {
    const Block now = _block != nullptr ? *_block : Block{};
    const std::size_t lines =
        now.lineCapacity - now.lines >= more ? now.lineCapacity : 2 * now.lineCapacity + 4 + more;
    const std::size_t needed = now.size + size;
    reallocate(lines, needed <= now.capacity ? now.capacity : needed + needed / 2);
  }

  /// Moves the lines to a block of this size.
  void reallocate(std::size_t lines, std::size_t capacity) {
    if (capacity > std::numeric_limits<End>::max())
      throw std::length_error("LineList: more than 4 GiB of text");
    void* const memory = ::operator new(sizeof(Block) + lines * sizeof(End) + capacity);
    const auto old = std::exchange(
        _block, std::unique_ptr<Block, Delete>(new (memory) Block{lines, 0, capacity, 0}));
    if (old == nullptr) return;
    _block->lines = old->lines;
    _block->size = old->size;
    const auto* const oldEnds = reinterpret_cast<const End*>(old.get() + 1);
    std::memcpy(ends(), oldEnds, old->lines * sizeof(End));
    std::memcpy(characters(), oldEnds + old->lineCapacity, old->size);
  }

  std::unique_ptr<Block, Delete> _block;  // null: no line yet
};

}  // namespace vesk
