/// Captures of USB traffic, pcap or pcapng.
///
/// What arrives on an interrupt endpoint is an input report. A control request GET_REPORT and its
/// answer, which carries the same request ID, are one report of the type that was asked for. What
/// the host sends by SET_REPORT or on an interrupt endpoint is a report to the device.
#pragma once

#include <vector>

#include "host/inputs/CaptureFile.h"
#include "host/inputs/Input.h"
#include "host/inputs/UsbPackets.h"

namespace vesk::host {

class UsbCapture final : public Input {
 public:
  /// Throws InputFault if the file is no capture.
  UsbCapture(Bytes& bytes, const InputContext& context);
  Item next() override;

 private:
  /// A GET_REPORT that has no answer yet, or a SET_REPORT whose data are yet to come.
  struct Request {
    UsbSender sender;
    std::uint32_t interface;
    std::uint64_t id;
    std::uint8_t reportId;
    ReportType type;
    Direction direction;
    Place place;
    std::optional<std::int64_t> microseconds;
  };

  /// Drivers have a request or two in flight. A capture in which more stay open is a damaged one,
  /// and the oldest are given up.
  static constexpr std::size_t kMostOpen = 256;

  static Problem problemOf(const CaptureFile::Damage& damage);
  std::optional<Problem> noUsb() const;
  std::optional<Item> handle(const CaptureFile::Packet& packet);
  std::optional<Item> handleOther(const CaptureFile::Packet& packet);
  std::optional<Item> handleKnown(const UsbEvent& event);
  std::optional<Item> handle(const UsbEvent& event);
  std::optional<Item> submitted(const UsbEvent& event);
  std::optional<Item> continued(const UsbEvent& event);
  std::optional<Item> answer(const UsbEvent& event);
  std::optional<Item> interrupt(const UsbEvent& event);
  Item report(const UsbEvent& event, ReportType type);
  std::optional<Item> write(const UsbEvent& event, ReportType type) const;
  Report reportOf(const UsbEvent& event, ReportType type) const;
  std::optional<Problem> giveUp(std::size_t index);
  std::optional<Item> both(std::optional<Item> first, std::optional<Item> second);
  std::size_t find(const UsbEvent& event) const;
  bool selected(const UsbSender& sender) const;

  CaptureFile _file;
  UsbSelection _selection;
  std::vector<Request> _open;   // oldest first
  std::optional<Item> _second;  // of a packet that gave two
  bool _someUsb = false;
  bool _someOther = false;
  bool _ended = false;

  // Of the packet at hand.
  Place _place;
  std::optional<std::int64_t> _microseconds;
  std::uint32_t _interface = 0;
  bool _isWhole = true;  // all that was captured of it is held
};

}  // namespace vesk::host
