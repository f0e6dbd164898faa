/// What live devices say on its way from the threads that read them to the one that decodes.
///
/// A reader must never wait: the kernel keeps few reports. So what there is no room for is counted
/// as lost, and told in its place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/Problem.h"
#include "host/Report.h"

namespace vesk::host {

/// A report that came.
struct Arrived {
  ReportType type;
  std::int64_t microseconds;  // of the real-time clock
  std::vector<std::uint8_t> bytes;
};

/// So many reports of a device had no room here.
struct Lost {
  std::uint64_t reports;
};

/// The device is open, for the first time or again.
struct Connected {
  HidDevice device;
  std::string preamble;  // its lines in a recording
};

/// Something that people should know, and that is no error.
struct Remark {
  std::string text;
};

/// Nothing more will come of this device.
struct Finished {
  bool isWhole;  // the run did not end before it
};

struct Message {
  std::size_t source;  // the number of the device
  std::variant<Arrived, Lost, Connected, Problem, Remark, Finished> what;
};

class MessageQueue {
 public:
  /// For devices of the numbers 0 to `sources` - 1. The reports in the queue take no more than
  /// `limit` bytes.
  explicit MessageQueue(std::size_t sources, std::size_t limit = kLimit);
  ~MessageQueue();
  MessageQueue(const MessageQueue&) = delete;
  MessageQueue& operator=(const MessageQueue&) = delete;

  /// Appends a report that a device sent of itself, or counts it as lost.
  void offer(std::size_t source, Arrived report);

  /// Appends what can't be lost: answers, of which there are no more than were asked for, and
  /// events.
  void append(Message message);

  /// The oldest message; none if there is none at present. What was lost comes before the first
  /// report behind it, or when the queue is empty.
  std::optional<Message> take();

  /// Is readable while there is something to take. Belongs to the queue.
  int descriptor() const { return _descriptor; }

  static constexpr std::size_t kLimit = std::size_t{64} << 20;

 private:
  void put(Message message);
  static std::size_t sizeOf(const Message& message);

  const std::size_t _limit;
  int _descriptor;
  std::mutex _mutex;  // guards what follows
  std::deque<Message> _messages;
  std::size_t _size = 0;             // of the messages
  std::vector<std::uint64_t> _lost;  // of each device, and not told yet
  bool _readable = false;            // the descriptor is
};

}  // namespace vesk::host
