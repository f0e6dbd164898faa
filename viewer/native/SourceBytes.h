/// A file of the page's, read from its beginning to its end.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "host/inputs/Bytes.h"

namespace vesk::viewer {

class SourceBytes final : public host::Bytes {
 public:
  /// `source` is the number that JavaScript knows the file by.
  explicit SourceBytes(std::int32_t source) : _source(source) {}

  /// Where in the file `bytes` stand; none if they are not a part of what is at hand, but made of
  /// it.
  std::optional<std::uint64_t> offsetOf(std::span<const std::uint8_t> bytes) const;

 private:
  std::size_t read(char* into, std::size_t room) override;

  std::int32_t _source;
  std::uint64_t _end = 0;  // of what was read
};

/// A file of the page's, read here and there; through a piece, since neighbours are asked for
/// together.
class SourcePieces {
 public:
  /// readSource() or readKept().
  using Read = std::int32_t(std::int32_t source, double offset, void* into, std::size_t room);

  SourcePieces(std::int32_t source, Read& read) : _source(source), _read(read) {}

  /// `size` bytes at `offset`, until the next call. Throws host::InputFault if they are gone.
  std::span<const std::uint8_t> at(std::uint64_t offset, std::size_t size);

 private:
  std::int32_t _source;
  Read& _read;
  std::uint64_t _begin = 0;  // of the piece, in the file
  std::size_t _held = 0;     // bytes of it that were read
  std::vector<std::uint8_t> _piece;
};

}  // namespace vesk::viewer
