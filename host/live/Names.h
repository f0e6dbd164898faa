/// How people name a live device, where files are named on a command line.
///
///     /dev/hidraw3        its node, or a link to it
///     hid:1209:0001       vendor and product
///     hid:serial=A0042    its serial number
///     hid:touch           a part of its name, in whatever case
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "host/live/Device.h"

namespace vesk::host {

class DeviceName {
 public:
  /// Whether an operand names a device otherwise than by its node.
  static bool isName(std::string_view operand);

  /// Reads `operand`, a node if it isn't such a name.
  explicit DeviceName(std::string operand);

  /// As it was written.
  const std::string& text() const { return _text; }

  bool isNode() const { return std::holds_alternative<Node>(_meaning); }

  /// Whether a device of the list is meant.
  bool matches(const HidDevice& device) const;

  /// What is wrong with the name, for people; empty if it can be looked for.
  std::string fault() const;

 private:
  struct Node {};
  struct Ids {
    std::uint16_t vendor;
    std::uint16_t product;
  };
  struct Serial {
    std::string text;
  };
  struct Part {
    std::string text;  // in lower case
  };

  std::string _text;
  std::variant<Node, Ids, Serial, Part> _meaning;
};

/// "usb", "bluetooth", "i2c", ...; the bus in hexadecimal where it has no name here.
std::string busText(const HidDevice& device);

/// Whether two nodes, seen at different times, are the same device.
bool isSame(const HidDevice& one, const HidDevice& other);

}  // namespace vesk::host
