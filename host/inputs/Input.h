/// What every form of input looks like from outside.
///
/// To add a form: write a class with next() in a file of its own in this folder, add a row for it
/// to the table in Forms.cpp, and let detectForm() there know it by its first bytes.
#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <variant>

#include "host/KnownReports.h"
#include "host/Problem.h"
#include "host/Report.h"
#include "host/inputs/Bytes.h"

namespace vesk::host {

struct End {};
using Item = std::variant<End, Report, Problem>;

class Input {
 public:
  virtual ~Input() = default;

  /// The next report, the next thing that is wrong, or the end. A problem is no end: what is good
  /// behind it still comes. Throws InputFault if the stream can't be read.
  virtual Item next() = 0;
};

/// Which of several devices in a capture is meant.
struct UsbSelection {
  struct Device {
    std::uint16_t bus;
    std::uint16_t address;
  };
  std::optional<Device> device;
  std::optional<std::uint8_t> endpoint;  // without the direction bit; 0 is for control requests
};

}  // namespace vesk::host
