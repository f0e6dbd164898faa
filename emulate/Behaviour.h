/// How a device is to behave, as the command line says.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

namespace vesk::emulate {

/// What happens when a feature report is asked for.
struct Fault {
  enum class Kind : std::uint8_t {
    Stall,    // EPIPE
    Short,    // half of its bytes
    Long,     // eight bytes more
    Empty,    // no bytes
    OtherId,  // its first byte is one more
    Late,     // the answer takes `delay`
    Gone,     // the device is unplugged meanwhile
  };
  Kind kind;
  std::uint8_t id;
  std::chrono::nanoseconds delay{0};
};

struct Behaviour {
  enum class Pace : std::uint8_t { AsCaptured, Even, AsFastAsPossible };
  Pace pace = Pace::AsCaptured;
  std::chrono::nanoseconds distance{0};  // between input reports, where the pace is even
  bool loop = false;
  bool refuse = false;  // to be opened
  std::vector<Fault> faults;
  std::optional<std::uint64_t> unplugAfter;  // so many input reports
  std::optional<std::chrono::nanoseconds> returnAfter;
  std::optional<std::chrono::nanoseconds> appearAfter;
};

}  // namespace vesk::emulate
