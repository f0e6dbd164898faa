/// All that came in a file, in its order, without the bytes: where each report is, so that it can
/// be read again. Three bytes of memory or so for a report in a steady stream, ten for one of a
/// mixture.
///
///     Index index;
///     index.add(kind, {.offset = 24, .microseconds = 1'000'000, .place = 1, .length = 792});
///     index.at(0).offset;  // 24
#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/Problem.h"
#include "host/Report.h"

namespace vesk::viewer {

class Index {
 public:
  /// What many entries have in common. Files have a few of them.
  struct Kind {
    static constexpr std::uint16_t kNoId = 0xFFFF;
    static constexpr std::uint8_t kNoType = 0xFF;
    enum Flag : std::uint8_t {
      kHasBytes = 1,  // it is a report, with a problem or without
      kIsKept = 2,    // its bytes are those that were kept, and not a part of the file
      kHasTime = 4,
      kToDevice = 8,
    };

    std::uint32_t sender = 0;  // a number of senders(), from 1; 0 if the file tells none
    std::uint16_t id = kNoId;
    std::uint8_t type = kNoType;
    std::uint8_t info = 0;     // a row of the known reports, from 1; 0 if it is unknown
    std::uint8_t problem = 0;  // a host::ProblemCode, from 1; 0 if nothing is wrong
    std::uint8_t unit = 0;     // a host::Place::Unit
    std::uint8_t flags = 0;

    bool has(Flag flag) const { return (flags & flag) != 0; }
    auto operator<=>(const Kind&) const = default;
  };

  struct Entry {
    std::uint64_t offset = 0;       // of the report's first byte, in the file or in what was kept
    std::int64_t microseconds = 0;  // 0 if its kind has no time
    std::uint64_t place = 0;
    std::uint32_t length = 0;   // in bytes
    std::uint32_t kind = 0;     // a number of kinds()
    std::uint32_t message = 0;  // a number of messages(), from 1; 0 if it has none
  };

  Index();
  Index(const Index&) = delete;
  Index& operator=(const Index&) = delete;

  /// The kind of `entry` is `kind`, whatever it says.
  void add(const Kind& kind, const Entry& entry);

  std::size_t size() const { return _size; }

  /// How many entries are reports, with a problem or without; the others are problems by themselves.
  std::size_t reports() const;

  /// An entry. Throws std::out_of_range.
  Entry at(std::size_t number);

  /// Some entries, fewer at the end; they stay until the next call.
  std::span<const Entry> range(std::size_t first, std::size_t count);

  /// Those between `first` and `end` whose kind's byte in `wanted` isn't 0. Later kinds aren't
  /// wanted.
  std::vector<std::uint32_t> select(std::span<const std::uint8_t> wanted, std::size_t first,
                                    std::size_t end);

  const std::vector<Kind>& kinds() const { return _kinds; }

  /// How many entries have a kind.
  std::uint32_t countOf(std::size_t kind) const { return _counts[kind]; }

  const std::vector<host::UsbSender>& senders() const { return _senders; }
  std::uint32_t numberOf(const std::optional<host::UsbSender>& sender);

  /// A problem's message to keep; 0 where there are so many that no more are.
  std::uint32_t numberOf(const std::string& message);
  const std::vector<std::string>& messages() const { return _messages; }

  /// Bytes of memory that the entries take.
  std::size_t memory() const { return _memory; }

 private:
  /// Entries follow each other by differences, in blocks that can be read by themselves.
  static constexpr std::size_t kBlock = 256;

  /// A damaged file of gigabytes may have a message a line.
  static constexpr std::size_t kMostMessages = 65536;

  /// A number, and by how much it was more than the one before it. Differences wrap around,
  /// whatever a file says.
  struct Series {
    std::uint64_t value = 0;
    std::uint64_t step = 0;

    void moveTo(std::uint64_t next) {
      step = next - value;
      value = next;
    }
    std::uint64_t expected() const { return value + step; }
  };

  /// The entry before, in the same block.
  struct Last {
    Series offset;
    Series kept;
    Series place;
    std::uint64_t microseconds = 0;
    std::uint32_t length = 0;

    Series& offsetOf(const Kind& kind) { return kind.has(Kind::kIsKept) ? kept : offset; }

    /// Whether a report stands where a steady stream has its next one.
    bool leadsTo(const Kind& kind, const Entry& entry) {
      return kind.has(Kind::kHasBytes) && entry.length == length &&
             entry.place == place.expected() && entry.offset == offsetOf(kind).expected();
    }
  };

  std::uint32_t numberOf(const Kind& kind);
  void put(std::uint64_t number);
  void putDifference(std::uint64_t value, std::uint64_t last);
  void endBlock();
  const std::vector<Entry>& block(std::size_t number);

  std::size_t _size = 0;
  std::size_t _memory = 0;
  std::vector<std::unique_ptr<std::uint8_t[]>> _blocks;
  std::vector<std::uint8_t> _open;  // the block that is being written
  Last _last;

  std::vector<Kind> _kinds;
  std::vector<std::uint32_t> _counts;
  std::map<Kind, std::uint32_t> _numbers;
  std::uint32_t _lastKind = 0;

  std::vector<host::UsbSender> _senders;
  std::map<std::uint64_t, std::uint32_t> _senderNumbers;
  std::vector<std::string> _messages;
  std::vector<Entry> _range;

  // The block that was read last.
  std::vector<Entry> _entries;
  std::optional<std::size_t> _number;
};

}  // namespace vesk::viewer
