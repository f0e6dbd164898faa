/// An open node, seen from the device: a socket, and what is queued for its reader.
///
/// A slow reader's queue holds 64 reports, as the kernel's does. Most of them are in the socket, where
/// only the reader takes them away, in whatever way it reads; how many are left there shows in the bytes
/// that the socket still holds, since of each the bytes are known.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <span>
#include <vector>

namespace vesk::emulate {

/// What a message of a length costs in a socket's buffer: its bytes and the kernel's own for it.
class MessageCosts {
 public:
  /// Throws std::system_error.
  MessageCosts();
  ~MessageCosts();
  MessageCosts(const MessageCosts&) = delete;
  MessageCosts& operator=(const MessageCosts&) = delete;

  std::size_t of(std::size_t length);

 private:
  int _ends[2] = {-1, -1};
  std::map<std::size_t, std::size_t> _known;
};

class Reader {
 public:
  /// Takes a connected socket that doesn't block, and answers that the node is open. The costs must
  /// outlive the reader.
  Reader(int descriptor, MessageCosts& costs);
  ~Reader();
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  int descriptor() const { return _descriptor; }

  /// Whether a report that is sent now is kept.
  bool hasRoom();

  /// Sends a report, or queues it; false if there is no room.
  bool send(std::span<const std::uint8_t> report);

  /// Hands on what is queued on this side, as far as the socket takes it.
  void flush();

  /// Whether the socket alone holds all that is queued.
  bool isFlushed() const { return _waiting.empty(); }

  /// Takes what the reader wrote; the number of writes.
  unsigned takeWrites();

 private:
  struct Message {
    std::size_t cost;
    bool isReport;
  };

  bool handOn(std::span<const std::uint8_t> report);
  void forgetTaken();
  std::size_t queued() const { return _reports + _waiting.size(); }

  int _descriptor;
  MessageCosts& _costs;
  std::deque<Message> _sent;  // what the reader hasn't taken yet, as far as known
  std::size_t _cost = 0;      // the sum of theirs
  std::size_t _reports = 0;   // the number of reports among them
  std::deque<std::vector<std::uint8_t>> _waiting;
};

}  // namespace vesk::emulate
