#include "viewer/native/Index.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace vesk::viewer {

namespace {

/// Reads what Index writes: seven bits a byte, the lowest first, the highest bit set if more
/// follow.
class Unpacker {
 public:
  explicit Unpacker(const std::uint8_t* bytes) : _at(bytes) {}

  std::uint64_t number() {
    std::uint64_t value = 0;
    for (unsigned shift = 0;; shift += 7) {
      const std::uint8_t byte = *_at++;
      value |= std::uint64_t{byte & 0x7Fu} << shift;
      if (byte < 0x80) return value;
    }
  }

  /// A number that was written by its difference to `last`.
  std::uint64_t numberAfter(std::uint64_t last) {
    const std::uint64_t number = this->number();
    return last + (number >> 1 ^ (0 - (number & 1)));
  }

 private:
  const std::uint8_t* _at;
};

}  // namespace

Index::Index() { _entries.reserve(kBlock); }

std::uint32_t Index::numberOf(const Kind& kind) {
  if (_lastKind < _kinds.size() && _kinds[_lastKind] == kind) return _lastKind;
  const auto [found, added] = _numbers.emplace(kind, static_cast<std::uint32_t>(_kinds.size()));
  if (added) {
    _kinds.push_back(kind);
    _counts.push_back(0);
  }
  return _lastKind = found->second;
}

void Index::put(std::uint64_t number) {
  for (; number >= 0x80; number >>= 7) _open.push_back(static_cast<std::uint8_t>(number | 0x80));
  _open.push_back(static_cast<std::uint8_t>(number));
}

/// Differences of either sign are small numbers.
void Index::putDifference(std::uint64_t value, std::uint64_t last) {
  const std::uint64_t difference = value - last;
  put(difference << 1 ^ (0 - (difference >> 63)));
}

/// The kind comes first; of what stands where it is expected, the time is all that follows.
void Index::add(const Kind& kind, const Entry& entry) {
  const std::uint32_t number = numberOf(kind);
  const bool isExpected = _last.leadsTo(kind, entry);
  put(std::uint64_t{number} << 1 | (isExpected ? 1 : 0));
  if (!isExpected) putDifference(entry.place, _last.place.value);
  _last.place.moveTo(entry.place);
  if (kind.has(Kind::kHasBytes)) {
    Series& offset = _last.offsetOf(kind);
    if (!isExpected) {
      putDifference(entry.offset, offset.value);
      put(entry.length);
    }
    offset.moveTo(entry.offset);
    _last.length = entry.length;
  }
  if (kind.has(Kind::kHasTime)) {
    const auto microseconds = static_cast<std::uint64_t>(entry.microseconds);
    putDifference(microseconds, _last.microseconds);
    _last.microseconds = microseconds;
  }
  if (kind.problem != 0) put(entry.message);
  ++_counts[number];
  if (_number == _size / kBlock) _number.reset();
  if (++_size % kBlock == 0) endBlock();
}

void Index::endBlock() {
  auto block = std::make_unique_for_overwrite<std::uint8_t[]>(_open.size());
  std::memcpy(block.get(), _open.data(), _open.size());
  _blocks.push_back(std::move(block));
  _memory += _open.size() + sizeof _blocks.front();
  _open.clear();
  _last = {};
}

/// The entries of a block, as far as there are any.
const std::vector<Index::Entry>& Index::block(std::size_t number) {
  if (_number == number) return _entries;
  _number = number;
  _entries.clear();
  Unpacker packed(number < _blocks.size() ? _blocks[number].get() : _open.data());
  Last last;
  const std::size_t count = std::min(kBlock, _size - number * kBlock);
  while (_entries.size() < count) {
    Entry& entry = _entries.emplace_back();
    const std::uint64_t head = packed.number();
    const bool isExpected = (head & 1) != 0;
    entry.kind = static_cast<std::uint32_t>(head >> 1);
    const Kind& kind = _kinds[entry.kind];
    entry.place = isExpected ? last.place.expected() : packed.numberAfter(last.place.value);
    last.place.moveTo(entry.place);
    if (kind.has(Kind::kHasBytes)) {
      Series& offset = last.offsetOf(kind);
      entry.offset = isExpected ? offset.expected() : packed.numberAfter(offset.value);
      entry.length = isExpected ? last.length : static_cast<std::uint32_t>(packed.number());
      offset.moveTo(entry.offset);
      last.length = entry.length;
    }
    if (kind.has(Kind::kHasTime)) {
      last.microseconds = packed.numberAfter(last.microseconds);
      entry.microseconds = static_cast<std::int64_t>(last.microseconds);
    }
    if (kind.problem != 0) entry.message = static_cast<std::uint32_t>(packed.number());
  }
  return _entries;
}

Index::Entry Index::at(std::size_t number) {
  if (number >= _size) throw std::out_of_range("there is no entry " + std::to_string(number));
  return block(number / kBlock)[number % kBlock];
}

std::size_t Index::reports() const {
  std::size_t sum = 0;
  for (std::size_t i = 0; i < _kinds.size(); ++i)
    if (_kinds[i].has(Kind::kHasBytes)) sum += _counts[i];
  return sum;
}

std::span<const Index::Entry> Index::range(std::size_t first, std::size_t count) {
  _range.clear();
  first = std::min(first, _size);
  const std::size_t end = first + std::min(count, _size - first);
  _range.reserve(end - first);
  while (first < end) {
    const auto& entries = block(first / kBlock);
    const std::size_t skipped = first % kBlock;
    const std::size_t taken = std::min(entries.size() - skipped, end - first);
    const auto begin = entries.begin() + static_cast<std::ptrdiff_t>(skipped);
    _range.insert(_range.end(), begin, begin + static_cast<std::ptrdiff_t>(taken));
    first += taken;
  }
  return _range;
}

std::vector<std::uint32_t> Index::select(std::span<const std::uint8_t> wanted, std::size_t first,
                                         std::size_t end) {
  std::vector<std::uint32_t> numbers;
  end = std::min(end, _size);
  std::size_t most = 0;
  for (std::size_t kind = 0; kind < std::min(wanted.size(), _counts.size()); ++kind)
    if (wanted[kind] != 0) most += _counts[kind];
  numbers.reserve(std::min(most, end - std::min(first, end)));
  while (first < end) {
    const std::size_t start = first / kBlock * kBlock;
    const auto& entries = block(first / kBlock);
    for (; first < end && first - start < entries.size(); ++first) {
      const std::uint32_t kind = entries[first - start].kind;
      if (kind < wanted.size() && wanted[kind] != 0)
        numbers.push_back(static_cast<std::uint32_t>(first));
    }
  }
  return numbers;
}

std::uint32_t Index::numberOf(const std::optional<host::UsbSender>& sender) {
  if (!sender) return 0;
  const std::uint64_t packed =
      std::uint64_t{sender->bus} << 32 | std::uint64_t{sender->device} << 16 | sender->endpoint;
  const auto [found, added] =
      _senderNumbers.emplace(packed, static_cast<std::uint32_t>(_senders.size() + 1));
  if (added) _senders.push_back(*sender);
  return found->second;
}

std::uint32_t Index::numberOf(const std::string& message) {
  if (!_messages.empty() && _messages.back() == message)
    return static_cast<std::uint32_t>(_messages.size());
  if (_messages.size() == kMostMessages) return 0;
  _messages.push_back(message);
  return static_cast<std::uint32_t>(_messages.size());
}

}  // namespace vesk::viewer
