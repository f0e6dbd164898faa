/// Files, pipes and devices as streams of bytes.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/inputs/Bytes.h"

namespace vesk::host {

/// A file, a pipe or a device.
class FileBytes final : public Bytes {
 public:
  /// Called before each read. `wouldWait` says that no bytes are there yet: the moment to hand out
  /// what is finished, for whoever follows a pipe. It may ask to be called again at a time if there
  /// are none until then.
  using BeforeRead = std::function<std::optional<std::chrono::steady_clock::time_point>(
      const FileBytes& file, bool wouldWait)>;

  /// Opens `path`, or standard input for "-". Throws InputFault.
  FileBytes(const std::string& path, BeforeRead beforeRead);

  /// Reads an open descriptor, which is closed in the end. Throws InputFault.
  FileBytes(int descriptor, BeforeRead beforeRead);
  ~FileBytes() override;

  /// Bytes read so far, and how many there are where that is known.
  std::uint64_t bytesRead() const { return _bytesRead; }
  std::optional<std::uint64_t> size() const { return _size; }

 private:
  FileBytes(int descriptor, bool owned, BeforeRead beforeRead);
  std::size_t read(char* into, std::size_t room) override;
  bool wouldWait() const;

  int _descriptor;
  bool _owned;
  BeforeRead _beforeRead;
  std::uint64_t _bytesRead = 0;
  std::optional<std::uint64_t> _size;
};

}  // namespace vesk::host
