#include "host/TimeWindow.h"

#include <chrono>
#include <cstddef>

#include "host/inputs/Times.h"
#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::int64_t kSecond = 1'000'000;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// "12.5" with any number of decimals.
std::optional<std::int64_t> secondsFrom(std::string_view text) {
  constexpr std::size_t kDecimals = 6;
  const std::size_t point = text.find('.');
  if (point == std::string_view::npos) return microsecondsFrom(text);
  for (const char digit : text.substr(point + 1))
    if (!isDigit(digit)) return std::nullopt;
  return microsecondsFrom(text.substr(0, point + 1 + kDecimals));
}

/// Reads what it is asked for off the front of a text; what isn't there makes all of it bad.
class Reader {
 public:
  explicit Reader(std::string_view text) : _rest(text) {}

  /// A number of so many digits, up to `most`.
  std::int64_t number(std::size_t digits, std::uint32_t most) {
    const auto value = parseNumber<std::uint32_t>(_rest.substr(0, digits));
    if (!value || _rest.size() < digits || *value > most) {
      _good = false;
      return 0;
    }
    _rest.remove_prefix(digits);
    return *value;
  }

  /// Whether one of `characters` comes, which is taken then.
  bool takes(std::string_view characters) {
    if (_rest.empty() || characters.find(_rest.front()) == std::string_view::npos) return false;
    _taken = _rest.front();
    _rest.remove_prefix(1);
    return true;
  }

  void expect(std::string_view characters) {
    if (!takes(characters)) _good = false;
  }

  char taken() const { return _taken; }

  std::string_view digits() {
    std::size_t count = 0;
    while (count < _rest.size() && isDigit(_rest[count])) ++count;
    const std::string_view found = _rest.substr(0, count);
    _rest.remove_prefix(count);
    if (count == 0) _good = false;
    return found;
  }

  bool isWhole() const { return _good && _rest.empty(); }

 private:
  std::string_view _rest;
  char _taken = '\0';
  bool _good = true;
};

std::optional<std::int64_t> isoMoment(std::string_view text) {
  Reader read(text);
  const auto year = static_cast<int>(read.number(4, 9999));
  read.expect("-");
  const auto month = static_cast<unsigned>(read.number(2, 12));
  read.expect("-");
  const auto day = static_cast<unsigned>(read.number(2, 31));
  read.expect("T ");
  std::int64_t time = read.number(2, 23) * kHour;
  read.expect(":");
  time += read.number(2, 59) * kMinute;
  if (read.takes(":")) {
    time += read.number(2, 59) * kSecond;
    if (read.takes(".,")) {
      std::int64_t worth = kSecond;
      for (const char digit : read.digits()) time += (digit - '0') * (worth /= 10);
    }
  }
  read.expect("Z+-");  // a time without its zone may be any of them
  if (const char sign = read.taken(); sign != 'Z') {
    std::int64_t zone = read.number(2, 14) * kHour;
    read.expect(":");
    zone += read.number(2, 59) * kMinute;
    time += sign == '+' ? -zone : zone;
  }
  const std::chrono::year_month_day date{
      std::chrono::year(year), std::chrono::month(month), std::chrono::day(day)};
  if (!read.isWhole() || !date.ok()) return std::nullopt;
  return std::chrono::sys_days(date).time_since_epoch().count() * kDay + time;
}

}  // namespace

std::optional<std::int64_t> momentFrom(std::string_view text) {
  if (text.starts_with('-')) {  // before the capture's zero
    const auto seconds = secondsFrom(text.substr(1));
    return seconds ? std::optional(-*seconds) : std::nullopt;
  }
  if (const auto seconds = secondsFrom(text)) return seconds;
  return isoMoment(text);
}

}  // namespace vesk::host
