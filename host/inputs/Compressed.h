/// Compressed files, read as what they were.
///
/// libarchive does it. It is loaded when the first such file is opened, since it brings a dozen other
/// libraries along, which would take most of the time in which a single report is decoded.
#pragma once

#include <exception>
#include <memory>

#include "host/inputs/Bytes.h"

struct archive;

namespace vesk::host {

struct ArchiveLibrary;

/// What gzip, xz or zstd has compressed.
class CompressedBytes final : public Bytes {
 public:
  /// Throws InputFault if the library can't be loaded. Errors of the content come when it is read.
  explicit CompressedBytes(Bytes& compressed);
  ~CompressedBytes() override;

 private:
  struct Free {
    const ArchiveLibrary* library;
    void operator()(archive* reader) const;
  };

  static long readSource(archive* reader, void* self, const void** block);
  std::size_t read(char* into, std::size_t room) override;
  bool open();
  void check(int status);

  Bytes& _compressed;
  const ArchiveLibrary& _library;
  std::unique_ptr<archive, Free> _reader;
  std::exception_ptr _failure;  // of a read of what is compressed
  std::size_t _lent = 0;        // bytes that the library reads from the window at the moment
  std::string_view _block;      // decompressed, and not handed out yet
  bool _begun = false;
  bool _ended = false;
};

/// A stream of what `bytes` holds if that is compressed; null if it is not. `bytes` must outlive it.
/// Reads no more than it takes to tell. Throws InputFault.
std::unique_ptr<Bytes> decompressed(Bytes& bytes);

}  // namespace vesk::host
