/// Live devices by Linux's hidraw: its nodes, and what /sys/class/hidraw tells of them.
#pragma once

#include "host/live/Device.h"

namespace vesk::host {

class Hidraw final : public Backend {
 public:
  std::vector<ListedDevice> list() override;

  /// Whether it is a HID device is what the node answers, whatever its name; of a node that can't
  /// be opened, what the list says.
  Opening open(const std::string& node) override;
};

}  // namespace vesk::host
