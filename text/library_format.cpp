#include "text/library_format.h"

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <system_error>

namespace vesk::format {

namespace {

bool isOneOf(char letter, std::string_view letters) {
  return letters.find(letter) != std::string_view::npos;
}

/// The text from `at` to the next conversion or the end, to which `at` moves; %% is a percent sign.
std::string parseLiteral(std::string_view text, std::size_t& at) {
  std::string literal;
  for (; at < text.size(); ++at) {
    if (text[at] == '%') {
      if (text.substr(at + 1, 1) != "%") break;
      ++at;
    }
    literal += text[at];
  }
  return literal;
}

/// The digits from `at` on, behind which it moves.
std::string_view parseDigits(std::string_view text, std::size_t& at) {
  const std::size_t begin = at;
  while (at < text.size() && text[at] >= '0' && text[at] <= '9') ++at;
  const std::string_view digits = text.substr(begin, at - begin);
  int number = 0;
  if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec ==
      std::errc::result_out_of_range)
    throw std::invalid_argument("format: a width or precision that is no int");
  return digits;
}

/// Makes a locale that of this thread, for as long as it lives.
class ThreadLocale {
 public:
  explicit ThreadLocale(locale_t locale) : _before(uselocale(locale)) {}
  ThreadLocale(const ThreadLocale&) = delete;
  ThreadLocale& operator=(const ThreadLocale&) = delete;
  ~ThreadLocale() { uselocale(_before); }

 private:
  locale_t _before;
};

}  // namespace

LibraryFormat::LibraryFormat(std::string_view text) {
  std::size_t at = 0;
  _before = parseLiteral(text, at);
  if (at == text.size()) throw std::invalid_argument("format: no conversion");
  parseConversion(text, ++at);
  _behind = parseLiteral(text, at);
  if (at != text.size()) throw std::invalid_argument("format: more than one conversion");
  _locale = newlocale(LC_ALL_MASK, "C", locale_t{});
  if (_locale == locale_t{}) throw std::bad_alloc();
}

LibraryFormat::~LibraryFormat() { freelocale(_locale); }

LibraryFormat::Length LibraryFormat::parseLength(std::string_view text, std::size_t& at) {
  constexpr struct {
    std::string_view name;
    Length length;
  } kLengths[] = {
      {"hh", Length::Char},
      {"h", Length::Short},
      {"ll", Length::LongLong},
      {"l", Length::Long},
      {"j", Length::Max},
      {"z", Length::Size},
      {"t", Length::Difference},
      {"L", Length::LongDouble},
  };
  for (const auto& [name, length] : kLengths) {
    if (!text.substr(at).starts_with(name)) continue;
    at += name.size();
    return length;
  }
  return Length::None;
}

/// The conversion whose '%' stands before `at`, which moves behind it.
void LibraryFormat::parseConversion(std::string_view text, std::size_t& at) {
  std::string flags;
  for (; at < text.size() && isOneOf(text[at], "-+ #0'"); ++at)
    if (!isOneOf(text[at], flags)) flags += text[at];
  const std::string_view width = parseDigits(text, at);
  std::string precision;
  if (text.substr(at, 1) == ".") {
    ++at;
    (precision = '.') += parseDigits(text, at);
  }
  _length = parseLength(text, at);
  if (at == text.size()) throw std::invalid_argument("format: ends within a conversion");
  _letter = text[at++];

  // What has no meaning for a conversion is undefined in C. The flag ' groups nothing in this locale.
  std::string_view meaningful = "-+ #0";
  std::string_view length;
  bool known = false;
  if (_letter == 'c') {
    known = _length == Length::None;
    meaningful = "-";
    precision.clear();
  } else if (isOneOf(_letter, "diuoxX")) {
    known = _length != Length::LongDouble;
    if (isOneOf(_letter, "diu")) meaningful = "-+ 0";
    length = "ll";  // as which each of them is handed over
  } else if (isReal()) {
    known = _length == Length::None || _length == Length::Long || _length == Length::LongDouble;
    if (_length == Length::LongDouble) length = "L";
  }
  if (!known) throw std::invalid_argument("format: a conversion that is not known");
  _conversion = '%';
  for (const char flag : flags)
    if (isOneOf(flag, meaningful)) _conversion += flag;
  ((_conversion += width) += precision) += length;
  _conversion += _letter;
}

bool LibraryFormat::isReal() const { return isOneOf(_letter, "fFeEgGaA"); }

template <class Argument>
void LibraryFormat::print(std::string& out, Argument argument) const {
  const ThreadLocale locale(_locale);
  char room[64];
  const int size = std::snprintf(room, sizeof room, _conversion.c_str(), argument);
  if (size < 0) {
    if (errno == ENOMEM) throw std::bad_alloc();
    throw std::length_error("format: more than the C library makes of a value");
  }
  out += _before;
  const auto length = static_cast<std::size_t>(size);
  if (length < sizeof room) {
    out.append(room, length);
  } else {
    const std::size_t begin = out.size();
    out.resize(begin + length + 1);  // with the NUL
    std::snprintf(out.data() + begin, length + 1, _conversion.c_str(), argument);
    out.pop_back();
  }
  out += _behind;
}

template <class T>
void LibraryFormat::appendInteger(std::string& out, T value) const {
  if (_letter == 'c') return print(out, static_cast<int>(static_cast<unsigned char>(value)));
  // The value as `Signed` or as its unsigned sibling, whichever the conversion reads.
  const auto printAs = [&]<class Signed>(Signed) {
    using Unsigned = std::make_unsigned_t<Signed>;
    if (isOneOf(_letter, "di"))
      print(out, static_cast<long long>(static_cast<Signed>(value)));
    else
      print(out, static_cast<unsigned long long>(static_cast<Unsigned>(value)));
  };
  switch (_length) {
    case Length::Char:
      return printAs(static_cast<signed char>(0));
    case Length::Short:
      return printAs(short{});
    case Length::Long:
      return printAs(long{});
    case Length::LongLong:
      return printAs(0LL);
    case Length::Max:
      return printAs(std::intmax_t{});
    case Length::Size:
      return printAs(std::make_signed_t<std::size_t>{});
    case Length::Difference:
      return printAs(std::ptrdiff_t{});
    case Length::None:
    case Length::LongDouble:  // not of integers
      return printAs(int{});
  }
}

void LibraryFormat::append(std::string& out, std::int32_t value) const {
  appendInteger(out, value);
}

void LibraryFormat::append(std::string& out, std::uint32_t value) const {
  appendInteger(out, value);
}

void LibraryFormat::append(std::string& out, float value) const {
  if (_length == Length::LongDouble) return print(out, static_cast<long double>(value));
  print(out, static_cast<double>(value));
}

}  // namespace vesk::format
