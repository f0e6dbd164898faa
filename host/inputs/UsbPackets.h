/// The headers in front of USB packets in captures: usbmon's of Linux, and USBPcap's of Windows.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "host/Report.h"

namespace vesk::host {

/// What a packet says, whichever header it says it with.
struct UsbEvent {
  enum class Stage : std::uint8_t { Submission, Completion };
  enum class Transfer : std::uint8_t { Isochronous, Interrupt, Control, Bulk, None };
  enum class Outcome : std::uint8_t { Done, Stalled, Cancelled, Failed };

  Stage stage;
  Transfer transfer;
  UsbSender sender;
  std::uint64_t request;  // the same in a submission and its completion
  Outcome outcome;
  std::int64_t status;                  // the number behind a failure
  std::span<const std::uint8_t> setup;  // 8 bytes in the submission of a control request
  std::span<const std::uint8_t> data;   // as far as captured
  std::uint64_t transferred;            // bytes of data that there were
};

/// pcap link types of USB captures.
enum class UsbLink : int { Usbmon = 189, UsbmonMapped = 220, UsbPcap = 249 };

bool isUsbLink(int linkType);

/// Reads a packet's header; none if the packet is shorter than that.
std::optional<UsbEvent> usbEvent(UsbLink link, std::span<const std::uint8_t> packet);

}  // namespace vesk::host
