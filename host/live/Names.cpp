#include "host/live/Names.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>
#include <utility>

#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr std::string_view kPrefix = "hid:";
constexpr std::string_view kSerial = "serial=";

std::string lowerCase(std::string_view text) {
  std::string lower(text);
  for (char& character : lower)
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 'a' - 'A');
  return lower;
}

/// Four hexadecimal digits at most.
std::optional<std::uint16_t> idFrom(std::string_view text) {
  constexpr std::size_t kDigits = 4;
  if (text.size() > kDigits) return std::nullopt;
  return parseNumber<std::uint16_t>(text, 16);
}

}  // namespace

bool DeviceName::isName(std::string_view operand) { return operand.starts_with(kPrefix); }

DeviceName::DeviceName(std::string operand) : _text(std::move(operand)) {
  if (!isName(_text)) return;
  const std::string_view name = std::string_view(_text).substr(kPrefix.size());
  if (name.starts_with(kSerial)) {
    _meaning = Serial{std::string(name.substr(kSerial.size()))};
    return;
  }
  const std::size_t colon = name.find(':');
  if (colon != std::string_view::npos) {
    const auto vendor = idFrom(name.substr(0, colon));
    const auto product = idFrom(name.substr(colon + 1));
    if (vendor && product) {
      _meaning = Ids{*vendor, *product};
      return;
    }
  }
  _meaning = Part{lowerCase(name)};
}

bool DeviceName::matches(const HidDevice& device) const {
  if (isNode()) return device.node == _text;
  if (const auto* ids = std::get_if<Ids>(&_meaning))
    return device.vendor == ids->vendor && device.product == ids->product;
  if (const auto* serial = std::get_if<Serial>(&_meaning)) return device.serial == serial->text;
  return lowerCase(device.name).find(std::get<Part>(_meaning).text) != std::string::npos;
}

std::string DeviceName::fault() const {
  const auto* serial = std::get_if<Serial>(&_meaning);
  const auto* part = std::get_if<Part>(&_meaning);
  if ((serial != nullptr && serial->text.empty()) || (part != nullptr && part->text.empty()))
    return "names no device: a name is hid:VID:PID, hid:NAME or hid:serial=TEXT";
  return {};
}

std::string busText(const HidDevice& device) {
  constexpr auto kBuses = std::to_array<std::pair<std::uint32_t, std::string_view>>(
      {{0x03, "usb"}, {0x05, "bluetooth"}, {0x06, "virtual"}, {0x18, "i2c"}, {0x1C, "spi"}});
  for (const auto& [number, name] : kBuses)
    if (device.bus == number) return std::string(name);
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), "0x%02x", static_cast<unsigned>(device.bus));
  return text.data();
}

bool isSame(const HidDevice& one, const HidDevice& other) {
  return one.vendor == other.vendor && one.product == other.product && one.name == other.name &&
         one.serial == other.serial;
}

}  // namespace vesk::host
