/// Lines made of printf formats, and lists of them.
///
///     vesk::LineList list = vesk::LineList::of(vesk::line<"Pump:">(),
///                                              vesk::line<"   Strokes:%u">(strokes));
///     list.add(vesk::each<"%16s: %u">(labels, counters), vesk::line<"">());
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

#include "model/LineList.h"
#include "model/wire.h"
#include "model/wire_format.h"
#include "text/digits.h"
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

/// Lines, and the characters that they have at most, line ends included.
struct LineRoom {
  std::size_t lines = 0;
  std::size_t characters = 0;

  friend constexpr LineRoom operator+(const LineRoom& a, const LineRoom& b) {
    return {a.lines + b.lines, a.characters + b.characters};
  }
  friend constexpr LineRoom operator*(std::size_t times, const LineRoom& room) {
    return {times * room.lines, times * room.characters};
  }
};

/// A line to be: a printf format (see text/format.h) and its arguments, to which it refers.
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

namespace detail {

/// Number of elements of a column's type: of an array, or of a type that says it as kExtent.
template <class Column>
inline constexpr std::size_t kExtentOf = Column::kExtent;

template <class T, std::size_t n>
inline constexpr std::size_t kExtentOf<T[n]> = n;

template <class T, std::size_t n>
inline constexpr std::size_t kExtentOf<std::array<T, n>> = n;

}  // namespace detail

/// A line for each element of columns: the first line with the first elements, and so on. Elements
/// are texts of constant capacity, or numbers; a column is an array, or has kExtent and operator[].
template <format::Literal format, class First, class... Column>
struct Each {
  static_assert(((detail::kExtentOf<Column> == detail::kExtentOf<First>)&&...),
                "columns of one length");

  const First& first;
  std::tuple<const Column&...> columns;

  static constexpr std::size_t lines() { return detail::kExtentOf<First>; }

  /// Characters that they have at most, their ends included.
  static constexpr std::size_t size() {
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

// ---------------------------------------------------------------------------------------- LineList

template <AnyLines... L>
inline LineList LineList::of(const L&... lines) {
  return withRoom({}, lines...);
}

template <AnyLines... L>
inline LineList LineList::withRoom(const LineRoom& more, const L&... lines) {
  LineList list((more.lines + ... + lines.lines()), (more.characters + ... + lines.size()));
  list.write(lines...);
  return list;
}

template <AnyLines... L>
inline void LineList::add(const L&... lines) {
  reserve((std::size_t{0} + ... + lines.lines()), (kSlack + ... + lines.size()));
  write(lines...);
}

template <class... L>
inline void LineList::write(const L&... lines) {
  LineCursor cursor = this->cursor();
  (lines.write(cursor), ...);
  moveTo(cursor);
}

template <class Write>
inline void LineList::addLines(std::size_t count, std::size_t size, const Write& write) {
  reserve(count, count * (size + 1) + kSlack);
  LineCursor cursor = this->cursor();
  for (std::size_t i = 0; i < count; ++i) cursor.endLine(write(cursor.out, i));
  moveTo(cursor);
}

template <class Write>
inline void LineList::addBlock(std::size_t count, std::size_t size, const Write& write) {
  reserve(count, count * (size + 1) + kSlack);
  write(characters() + _block->size);
  End* const end = ends() + _block->lines;
  std::size_t at = _block->size;
  for (std::size_t i = 0; i < count; ++i) end[i] = static_cast<End>(at += size + 1);
  _block->lines += count;
  _block->size = at;
}

inline LineCursor LineList::cursor() {
  static_assert(kSlack == kernels::kSlack);
  return {characters() + _block->size, ends() + _block->lines, characters()};
}

inline void LineList::moveTo(const LineCursor& cursor) {
  _block->lines = static_cast<std::size_t>(cursor.end - ends());
  _block->size = static_cast<std::size_t>(cursor.out - cursor.begin);
}

}  // namespace vesk
