/// printf formats, understood while the program is compiled.
///
/// A format is a template argument; it becomes straight-line code that writes its literal text and
/// converts its arguments, with the characters that the C library's printf gives in the "C" locale
/// (and in no other). The room must hold size<format>(arguments...) characters and kernels::kSlack
/// more:
///
///     char line[64];
///     char* end = vesk::format::write<"%20s: 0x%04X">(line, "PSE", std::uint16_t{0xAB});
///
/// Conversions: %s, %u, %i, %d, %x, %X, %f, with the flags `-+ #0`, a width and a precision (both
/// up to 999), and `ll` for 64-bit integers. Anything else does not compile, nor does a wrong
/// number or type of arguments, nor what C leaves undefined (`#` with %i %d %u %s, `0` with %s).
///   - Integers of up to 32 bits go with the plain conversions, integers of 64 bits with `ll`. The
///     conversion decides whether the bits read as signed: %i shows 0xFFFFFFFFu as -1.
///   - %s takes a NUL-terminated string (a null one prints "(null)"), a std::string, a
///     std::string_view or a Text; without width and precision also SelfWriting text.
///   - %f takes float and double. Infinities and NaN print as inf, -inf, nan, -nan.
///   - A type that stands for a value of another one converts as that value, if it specialises
///     Argument.
///
/// A format that comes as a value while the program runs is a Format: see run_time_format.h; one with
/// another conversion is the C library's: see library_format.h.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <utility>

#include "text/always_inline.h"
#include "text/constant_text.h"
#include "text/digits.h"
#include "text/format_convert.h"
#include "text/format_parse.h"

namespace vesk::format {

namespace detail {

template <Literal format>
consteval std::size_t countPieces() {
  std::size_t count = 0;
  for (std::size_t at = 0; at < format.view().size(); ++count) parsePiece(format.view(), at);
  return count;
}

template <Literal format>
struct Pieces {
  Piece piece[countPieces<format>() + 1];  // one more: an array has at least one element
  std::size_t conversions = 0;
};

template <Literal format>
consteval Pieces<format> parsePieces() {
  Pieces<format> pieces{};
  for (std::size_t at = 0, i = 0; at < format.view().size(); ++i) {
    pieces.piece[i] = parsePiece(format.view(), at);
    if (pieces.piece[i].conversion.letter != 0) ++pieces.conversions;
  }
  return pieces;
}

template <Literal format>
inline constexpr Pieces<format> kPieces = parsePieces<format>();

template <class T>
using ValueOf = std::remove_cvref_t<decltype(Argument<T>::value(std::declval<const T&>()))>;

/// Piece `index` with its argument.
template <Literal format, std::size_t index, class T>
VESK_ALWAYS_INLINE char* writePiece(char* out, const T& argument) {
  constexpr Piece piece = kPieces<format>.piece[index];
  static_assert(takes<ValueOf<T>>(piece.conversion), "a conversion does not take its argument");
  out = copy(out, format.characters + piece.begin, piece.end - piece.begin);
  return convert(out, piece.conversion, Argument<T>::value(argument));
}

template <Literal format, std::size_t... index, class... T>
VESK_ALWAYS_INLINE char* writePieces(char* out, std::index_sequence<index...>,
                                     const T&... argument) {
  ((out = writePiece<format, index>(out, argument)), ...);
  constexpr Piece last = kPieces<format>.piece[sizeof...(index)];
  return copy(out, format.characters + last.begin, last.end - last.begin);
}

template <Literal format, std::size_t... index, class... T>
VESK_ALWAYS_INLINE std::size_t boundPieces(std::index_sequence<index...>, const T&... argument) {
  constexpr std::size_t literals =
      (std::size_t{0} + ... +
       (kPieces<format>.piece[index].end - kPieces<format>.piece[index].begin));
  constexpr Piece last = kPieces<format>.piece[sizeof...(index)];
  return ((literals + (last.end - last.begin)) + ... +
          bound(kPieces<format>.piece[index].conversion, Argument<T>::value(argument)));
}

}  // namespace detail

/// Characters that write<format>() makes of these arguments at most. It needs kernels::kSlack more,
/// which it may overwrite.
template <Literal format, class... T>
VESK_ALWAYS_INLINE std::size_t size(const T&... argument) {
  return detail::boundPieces<format>(std::index_sequence_for<T...>{}, argument...);
}

/// The most characters that it makes of any arguments of these types, which have a largest size:
/// texts of constant capacity, whole numbers and floats.
template <Literal format, class... T>
consteval std::size_t maximumSize() {
  std::size_t size = 0;
  for (const Piece& piece : detail::kPieces<format>.piece) size += piece.end - piece.begin;
  std::size_t i = 0;
  ((size +=
    detail::maximumBound<detail::ValueOf<T>>(detail::kPieces<format>.piece[i++].conversion)),
   ...);
  return size;
}

/// Writes `argument...` as `format` says, without a NUL behind it, and gives back the end.
template <Literal format, class... T>
VESK_ALWAYS_INLINE char* write(char* out, const T&... argument) {
  static_assert(detail::kPieces<format>.conversions == sizeof...(T),
                "as many arguments as the format has conversions");
  return detail::writePieces<format>(out, std::index_sequence_for<T...>{}, argument...);
}

/// The same as a string.
template <Literal format, class... T>
std::string string(const T&... argument) {
  std::string text(size<format>(argument...) + kernels::kSlack, '\0');
  text.resize(static_cast<std::size_t>(write<format>(text.data(), argument...) - text.data()));
  return text;
}

}  // namespace vesk::format
