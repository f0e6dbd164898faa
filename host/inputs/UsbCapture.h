/// Captures of USB traffic, pcap or pcapng.
///
/// What arrives on an interrupt endpoint is an input report. A control request GET_REPORT and its
/// answer, which carries the same request ID, are one report of the type that was asked for.
#pragma once

#include <vector>

#include "host/inputs/Input.h"
#include "host/inputs/PcapFile.h"
#include "host/inputs/UsbPackets.h"

namespace vesk::host {

class UsbCapture final : public Input {
 public:
  /// Throws InputFault if the file is no capture, or none of USB.
  UsbCapture(Bytes& bytes, const InputContext& context);
  Item next() override;

 private:
  /// A GET_REPORT that has no answer yet.
  struct Request {
    UsbSender sender;
    std::uint64_t id;
    std::uint8_t reportId;
    ReportType type;
    Place place;
    std::optional<std::int64_t> microseconds;
  };

  /// Drivers have a request or two in flight. A capture in which more stay open is a damaged one,
  /// and the oldest are given up.
  static constexpr std::size_t kMostOpen = 256;

  std::optional<Item> handle(const PcapFile::Packet& packet);
  std::optional<Item> handle(const UsbEvent& event);
  std::optional<Item> open(const UsbEvent& event);
  std::optional<Item> answer(const UsbEvent& event);
  std::optional<Item> interrupt(const UsbEvent& event);
  Item report(const UsbEvent& event, ReportType type);
  Item giveUp(std::size_t index);
  std::size_t find(const UsbEvent& event) const;
  bool selected(const UsbSender& sender) const;

  PcapFile _file;
  UsbLink _link;
  UsbSelection _selection;
  std::vector<Request> _open;  // oldest first
  Place _place;                // of the packet at hand
  std::optional<std::int64_t> _microseconds;
  bool _ended = false;
};

}  // namespace vesk::host
