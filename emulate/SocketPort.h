/// A port for programs that run with the preloaded library: see protocol.h.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <vector>

#include "emulate/Capture.h"
#include "emulate/EventLoop.h"
#include "emulate/Folder.h"
#include "emulate/Port.h"
#include "emulate/Reader.h"
#include "emulate/protocol.h"

namespace vesk::emulate {

class SocketPort final : public Port {
 public:
  /// For the node /dev/hidraw`number`. All must outlive the port.
  SocketPort(EventLoop& loop, Folder& folder, MessageCosts& costs, unsigned number,
             const Identity& identity);
  ~SocketPort() override;

  void plug(DeviceSide& device) override;
  void unplug() override;
  bool hasRoom() override;
  unsigned send(std::span<const std::uint8_t> report) override;
  std::string name() const override { return "/dev/hidraw" + std::to_string(_number); }

 private:
  void accept();
  void takeRequest(int descriptor);
  void open(int descriptor);
  void answer(int descriptor, const vesk_emulate_request& request,
              std::span<const std::uint8_t> argument);
  void pass(int descriptor, const vesk_emulate_request& request,
            std::span<const std::uint8_t> argument);
  void reply(int descriptor, std::int32_t result, std::span<const std::uint8_t> bytes = {});
  void replyText(int descriptor, const std::string& text, std::size_t room);
  void drop(int descriptor);
  void follow(Reader& reader);
  void onReader(int descriptor, short events);
  void forget(int descriptor);

  EventLoop& _loop;
  Folder& _folder;
  MessageCosts& _costs;
  unsigned _number;
  const Identity& _identity;
  DeviceSide* _device = nullptr;  // while it is plugged in
  unsigned _generation = 0;
  int _listener = -1;
  std::map<int, std::uint64_t> _callers;  // without a reply so far, each with a number of its own
  std::uint64_t _calls = 0;
  std::map<int, std::unique_ptr<Reader>> _readers;
  std::map<int, std::unique_ptr<Reader>> _leaving;  // of an unplugged device, with something queued
};

}  // namespace vesk::emulate
