/// The command line of vesk-emulate.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "emulate/Behaviour.h"
#include "emulate/Capture.h"

namespace vesk::emulate {

struct Options {
  std::vector<std::string> captures;  // a device each
  std::vector<std::string> command;   // with its arguments; empty only with --uhid
  unsigned firstNode = 9;             // /dev/hidraw9, and the next ones
  HowToRead howToRead;
  Behaviour behaviour;
  std::optional<std::string> name, serial;
  std::optional<std::pair<std::uint16_t, std::uint16_t>> ids;  // vendor, product
  bool uhid = false;
  bool statistics = false;
};

/// The command line makes no sense; one line says why.
class UsageFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The help or the version was asked for.
struct Answer {
  std::string text;
};

/// `arguments` are those after the program's name. Throws UsageFault.
std::variant<Options, Answer> parseOptions(const std::vector<std::string>& arguments);

}  // namespace vesk::emulate
