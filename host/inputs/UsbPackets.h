/// The headers in front of USB packets in captures: usbmon's of Linux, and USBPcap's of Windows.
#pragma once

#include <bit>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "host/Report.h"

namespace vesk::host {

/// What a packet says, whichever header it says it with.
struct UsbEvent {
  enum class Stage : std::uint8_t {
    Submission,
    Continuation,  // more of what was submitted, as older USBPcap writes control requests
    Completion,
  };
  enum class Transfer : std::uint8_t { Isochronous, Interrupt, Control, Bulk, None };
  enum class Outcome : std::uint8_t { Done, Stalled, Cancelled, Failed };

  Stage stage;
  Transfer transfer;
  UsbSender sender;
  std::uint64_t request;  // the same in a submission and its completion
  Outcome outcome;
  std::int64_t status;                  // the number behind a failure
  std::span<const std::uint8_t> setup;  // 8 bytes in the submission of a control request
  std::span<const std::uint8_t> data;   // as far as captured, without the setup bytes
  std::uint64_t transferred;            // bytes of data that there were
};

/// pcap link types of USB captures.
enum class UsbLink : std::uint16_t { Usbmon = 189, UsbmonMapped = 220, UsbPcap = 249 };

bool isUsbLink(std::uint16_t linkType);

/// What is wrong with a link type that is none of those, and what to capture with instead.
std::string unsupportedLink(std::uint16_t linkType);

/// Reads a packet's header; none if the packet is shorter than that. `order` is that of the machine
/// that captured, which usbmon's fields are in.
std::optional<UsbEvent> usbEvent(UsbLink link, std::endian order,
                                 std::span<const std::uint8_t> packet);

}  // namespace vesk::host
