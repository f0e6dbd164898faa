/// What every form of input looks like from outside.
///
/// To add a form: write a class with next() in a file of its own in this folder, made of a stream
/// and an InputContext, name the file in host/CMakeLists.txt, and add a row for the class to the
/// table in Forms.cpp.
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

/// What a form may need beside the stream. The reports must outlive the input.
struct InputContext {
  const KnownReports& known;
  UsbSelection usb = {};
};

/// The beginning of a text, as far as detection looks at it.
struct TextHead {
  std::string_view line;       // the first one that is neither empty nor a comment, without blanks
                               // at its ends
  std::string_view following;  // what is at hand behind it
};

}  // namespace vesk::host
