/// Standard output, or any other descriptor, written in large pieces.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "host/writing/Sink.h"

namespace vesk::host {

/// The output can't be written: a full disk, a vanished device.
class OutputFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class DescriptorSink final : public Sink {
 public:
  explicit DescriptorSink(int descriptor);

  /// Writes whenever a piece is full.
  using Sink::append;
  void append(std::string_view text) override;

  /// Writes what is still waiting.
  void flush();

  int descriptor() const { return _descriptor; }

 private:
  // A write of 64 KiB fills a pipe to the brim, and its reader and writer then take turns instead
  // of working side by side; a little less does not.
  static constexpr std::size_t kPiece = std::size_t{60} * 1024;

  int _descriptor;
  std::size_t _used = 0;
  std::unique_ptr<char[]> _piece;
};

/// Writes all of `text` to a descriptor at once. Throws OutputFault.
void writeAll(int descriptor, std::string_view text);

}  // namespace vesk::host
