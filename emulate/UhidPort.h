/// A port of the kernel's: /dev/uhid makes a real device of the emulated one, for every program.
///
/// The kernel decides which node it gets and who may open it, keeps 63 reports for each reader (its ring
/// of 64 holds no more) without a word on those it drops, and turns every failed request into EIO.
#pragma once

#include <map>
#include <optional>
#include <string>

#include "emulate/Capture.h"
#include "emulate/EventLoop.h"
#include "emulate/Port.h"

struct uhid_event;

namespace vesk::emulate {

class UhidPort final : public Port {
 public:
  /// All must outlive the port. `tell` is called when the node is known. Throws CaptureFault for
  /// reports that are longer than /dev/uhid takes.
  UhidPort(EventLoop& loop, const Capture& capture,
           std::function<void(const std::string& line)> tell);
  ~UhidPort() override;

  void plug(DeviceSide& device) override;
  void unplug() override;
  bool hasRoom() override { return true; }
  unsigned send(std::span<const std::uint8_t> report) override;
  std::string name() const override;

 private:
  void write(const uhid_event& event);
  void takeEvents();
  void takeEvent(const uhid_event& event);
  void answer(std::uint32_t request, std::uint8_t type, std::uint8_t id);
  void findNode(int triesLeft);

  EventLoop& _loop;
  const Identity& _identity;
  std::function<void(const std::string&)> _tell;
  std::string _physical;  // by which its entry in sysfs is found
  std::string _node;
  DeviceSide* _device = nullptr;
  int _descriptor = -1;
  std::uint64_t _plugged = 0;  // how many times
};

/// Whether /dev/uhid is there and may be used; else why not, for people.
std::optional<std::string> whyNoUhid();

}  // namespace vesk::emulate
