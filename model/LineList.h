/// What a decoder returns in text mode: an ordered list of lines, without line ends.
///
/// The lines stand in one block, each followed by a newline, so that all of them can be written at
/// once; a second row of numbers in the same allocation says where each ends. (A line may itself
/// hold newlines: the version text does.)
///
///     vesk::LineList lines;
///     lines.add("Pump:");
///     lines.add("   Strokes:7");
///     lines[1];      // "   Strokes:7"
///     lines.text();  // "Pump:\n   Strokes:7\n"
///
/// Lines that are made of printf formats are model/lines.h's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace vesk {

// What model/lines.h defines.
struct LineCursor;
struct LineRoom;

/// Lines that write themselves: line<"...">(...), each<"...">(...) of model/lines.h.
template <class L>
concept AnyLines = requires(const L& lines, LineCursor& cursor) {
  lines.lines();
  lines.size();
  lines.write(cursor);
};

class LineList {
 public:
  LineList() = default;

  /// An empty list with room for `lines` lines of `characters` characters in all, line ends
  /// included: as long as they suffice, this is the only allocation.
  LineList(std::size_t lines, std::size_t characters) { reallocate(lines, characters + kSlack); }

  LineList(LineList&&) noexcept = default;
  LineList& operator=(LineList&&) noexcept = default;
  LineList(const LineList& other) {
    if (other._block == nullptr) return;
    reallocate(other.size(), other._block->size + kSlack);
    _block->lines = other._block->lines;
    _block->size = other._block->size;
    std::memcpy(ends(), other.ends(), _block->lines * sizeof(End));
    std::memcpy(characters(), other.characters(), _block->size);
  }
  LineList& operator=(const LineList& other) {
    *this = LineList(other);
    return *this;
  }
  ~LineList() = default;

  /// Number of lines.
  std::size_t size() const { return _block != nullptr ? _block->lines : 0; }
  bool empty() const { return size() == 0; }

  /// A line, without its end. Valid until the list changes. Throws std::out_of_range past the end.
  std::string_view operator[](std::size_t index) const {
    if (index >= size()) throw std::out_of_range("LineList: index past the end");
    const std::size_t begin = index == 0 ? 0 : ends()[index - 1];
    return {characters() + begin, ends()[index] - begin - 1};
  }

  /// All lines, each followed by a newline. Valid until the list changes.
  std::string_view text() const {
    if (_block == nullptr) return {};
    return {characters(), _block->size};
  }

  /// Appends a line as it stands.
  void add(std::string_view line) {
    reserve(1, line.size() + 1);
    char* const out = characters() + _block->size;
    endLine(out + line.copy(out, line.size()));
  }

  /// Appends a constant line.
  template <std::size_t size>
  void add(const char (&line)[size]) {
    reserve(1, size);
    char* const out = characters() + _block->size;
    std::memcpy(out, line, size - 1);
    endLine(out + size - 1);
  }

  // ----------------------------------------------------- for decoders, defined in model/lines.h

  /// These lines, in room that just suffices for them.
  template <AnyLines... L>
  static LineList of(const L&... lines);

  /// These lines, and room for `more` behind them.
  template <AnyLines... L>
  static LineList withRoom(const LineRoom& more, const L&... lines);

  /// Appends these lines: add(line<"%s:">(name), each<"%40s: %i">(labels, counters), ...).
  template <AnyLines... L>
  void add(const L&... lines);

  /// Appends `count` lines, each of which write(out, i) writes, in no more than `size` characters,
  /// and gives back its end.
  template <class Write>
  void addLines(std::size_t count, std::size_t size, const Write& write);

  /// Appends `count` lines of `size` characters each, which write(out) writes all at once, newlines
  /// included.
  template <class Write>
  void addBlock(std::size_t count, std::size_t size, const Write& write);

 private:
  using End = std::uint32_t;

  /// Bytes behind the last character that may be overwritten by what writes a line.
  static constexpr std::size_t kSlack = 32;

  /// The block's head. Behind it stand the ends of `lineCapacity` lines, and `capacity` characters.
  /// A list is a pointer to it, so that handing a result on moves nothing else.
  struct Block {
    std::size_t lineCapacity;
    std::size_t lines;
    std::size_t capacity;
    std::size_t size;
  };

  struct Delete {
    void operator()(Block* block) const { ::operator delete(block); }
  };

  End* ends() const { return reinterpret_cast<End*>(_block.get() + 1); }
  char* characters() const { return reinterpret_cast<char*>(ends() + _block->lineCapacity); }

  /// Writes these lines into room that is there.
  template <class... L>
  void write(const L&... lines);

  /// Where the next line goes, and back behind what was written there.
  LineCursor cursor();
  void moveTo(const LineCursor& cursor);

  /// Ends the line that was written up to `end`.
  void endLine(char* end) {
    *end++ = '\n';
    _block->size = static_cast<std::size_t>(end - characters());
    ends()[_block->lines++] = static_cast<End>(_block->size);
  }

  /// Makes room for `lines` more lines, and `size` more characters.
  void reserve(std::size_t lines, std::size_t size) {
    if (_block == nullptr || _block->lineCapacity - _block->lines < lines ||
        _block->capacity - _block->size < size)
      grow(lines, size);
  }

  [[gnu::noinline, gnu::cold]] void grow(std::size_t more, std::size_t size) {
    const Block now = _block != nullptr ? *_block : Block{};
    const std::size_t lines =
        now.lineCapacity - now.lines >= more ? now.lineCapacity : 2 * now.lineCapacity + 4 + more;
    const std::size_t needed = now.size + size;
    reallocate(lines, needed <= now.capacity ? now.capacity : needed + needed / 2);
  }

  /// Moves the lines to a block of this size.
  void reallocate(std::size_t lines, std::size_t capacity) {
    if (capacity > UINT32_MAX) throw std::length_error("LineList: more than 4 GiB of text");
    void* const memory = ::operator new(sizeof(Block) + lines * sizeof(End) + capacity);
    const auto old = std::exchange(
        _block, std::unique_ptr<Block, Delete>(new (memory) Block{lines, 0, capacity, 0}));
    if (old == nullptr) return;
    _block->lines = old->lines;
    _block->size = old->size;
    const auto* const oldEnds = reinterpret_cast<const End*>(old.get() + 1);
    std::memcpy(ends(), oldEnds, old->lines * sizeof(End));
    std::memcpy(characters(), oldEnds + old->lineCapacity, old->size);
  }

  std::unique_ptr<Block, Delete> _block;  // null: no line yet
};

}  // namespace vesk
