/// Standard output, or any other descriptor, written in large pieces.
#pragma once

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vesk::host {

/// The output can't be written: a full disk, a vanished device.
class OutputFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Writer {
 public:
  explicit Writer(int descriptor);

  /// Puts `text` behind what was put before, and writes whenever a piece is full.
  void append(std::string_view text);
  void append(char character) { append(std::string_view(&character, 1)); }

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
