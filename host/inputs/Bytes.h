/// Streams of bytes, read in large blocks through a window that can be looked at before any of it
/// is taken. Memory stays constant however long the stream is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace vesk::host {

/// An input can't be opened or read.
class InputFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Bytes {
 public:
  virtual ~Bytes() = default;
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;

  /// The bytes at hand that are not taken yet.
  std::string_view window() const { return {_block.get() + _begin, _end - _begin}; }

  /// Reads until at least `wanted` bytes are at hand or the stream ends; the window. It moves:
  /// earlier views are gone.
  std::string_view peek(std::size_t wanted);

  /// Reads once, for more than is at hand; false at the end of the stream.
  bool readMore();

  /// Takes `count` bytes off the front of the window.
  void take(std::size_t count);

  /// Number of bytes taken so far, which is the offset of the window's first byte.
  std::uint64_t position() const { return _position; }

 protected:
  Bytes() = default;

  /// Reads up to `room` bytes to `into`; 0 at the end of the stream.
  virtual std::size_t read(char* into, std::size_t room) = 0;

 private:
  static constexpr std::size_t kBlock = std::size_t{256} * 1024;

  void makeRoom();

  std::unique_ptr<char[]> _block;
  std::size_t _capacity = 0;
  std::size_t _begin = 0;
  std::size_t _end = 0;
  std::uint64_t _position = 0;
};

/// The lines of a stream of text.
class LineReader {
 public:
  /// A line that is longer than any report written out, even as "0xAB, " a byte, is not kept.
  static constexpr std::size_t kLongest = 6 * 65536 + 4096;

  struct Line {
    std::string_view text;  // without its end, LF or CR LF; lives until the next line is read
    std::uint64_t number;   // from 1
    bool tooLong;           // text is its beginning; the rest is passed over
  };

  explicit LineReader(Bytes& bytes) : _bytes(bytes) {}

  std::optional<Line> next();

 private:
  void passOver();

  Bytes& _bytes;
  std::size_t _lineSize = 0;  // of the line handed out last, its end included
  bool _passOver = false;     // it was too long
  std::uint64_t _number = 0;
};

}  // namespace vesk::host
