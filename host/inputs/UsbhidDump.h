/// What usbhid-dump prints of a device's stream of input reports:
///
///     001:005:000:STREAM             1700000000.066668
///      76 2A 03 00 97 5F 03 00 00 04 01 00 34 39 38 00
///      F7 FF FF FF
///
/// The numbers are bus, device and interface. Of DESCRIPTOR it prints no reports.
#pragma once

#include "host/inputs/Rows.h"

namespace vesk::host {

class UsbhidDump final : public RowInput {
 public:
  UsbhidDump(Bytes& bytes, const InputContext& context)
      : RowInput(context.known), _lines(bytes), _device(context.usb.device) {}

  /// Whether a text begins so.
  static bool begins(const TextHead& head, const KnownReports& known);

 private:
  Next nextRow() override;

  LineReader _lines;
  std::optional<UsbSelection::Device> _device;
  std::optional<Row> _row;  // whose lines are being read
  bool _passOver = false;   // lines up to the next head are none of a report
};

}  // namespace vesk::host
