/// printf formats of one conversion that the C library makes: those that run_time_format.h does not
/// understand. They give what printf gives in the "C" locale, whatever that of the process is.
///
///     const vesk::format::LibraryFormat format("%#o%% ");  // throws std::invalid_argument for others
///     std::string line;
///     if (format.takes<std::uint32_t>()) format.append(line, std::uint32_t{8});  // "010% "
///
/// Conversions: %d %i %u %o %x %X %c of integers and %f %F %e %E %g %G %a %A of floats, with the
/// flags `-+ #0'`, a width, a precision and a length modifier (hh h l ll j z t of integers, l L of
/// floats). A modifier converts the value to the type that it names: %hhx shows 0x1FF as ff, and
/// %lu shows -1 as 18446744073709551615. What would have no meaning is left out: # with %d, a
/// precision of %c. Beside the conversion, %% is a percent sign.
#pragma once

#include <locale.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace vesk::format {

class LibraryFormat {
 public:
  /// Throws std::invalid_argument for a format that is not understood, or that has no or more than
  /// one conversion.
  explicit LibraryFormat(std::string_view text);
  ~LibraryFormat();

  LibraryFormat(const LibraryFormat&) = delete;
  LibraryFormat& operator=(const LibraryFormat&) = delete;

  /// Whether the conversion takes arguments of type T.
  template <class T>
  bool takes() const {
    return std::is_floating_point_v<T> == isReal();
  }

  /// Appends what the format makes of `value`. Requires takes<>() of its type. Throws
  /// std::length_error for more than 2 GiB.
  void append(std::string& out, std::int32_t value) const;
  void append(std::string& out, std::uint32_t value) const;
  void append(std::string& out, float value) const;

 private:
  enum class Length { None, Char, Short, Long, LongLong, Max, Size, Difference, LongDouble };

  void parseConversion(std::string_view text, std::size_t& at);
  static Length parseLength(std::string_view text, std::size_t& at);
  bool isReal() const;

  template <class T>
  void appendInteger(std::string& out, T value) const;
  template <class Argument>
  void print(std::string& out, Argument argument) const;

  std::string _before;
  std::string _behind;
  std::string _conversion;  // as the C library gets it
  Length _length = Length::None;
  char _letter = 0;
  locale_t _locale;
};

}  // namespace vesk::format
