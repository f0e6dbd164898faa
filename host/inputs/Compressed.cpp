#include "host/inputs/Compressed.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>
#include <utility>

namespace vesk::host {

// As much of libarchive's interface as is used here; it has been the same since its version 3.
struct ArchiveLibrary {
  using Open = int(archive*, void*);
  using Read = long(archive*, void*, const void**);

  archive* (*readNew)();
  int (*supportGzip)(archive*);
  int (*supportXz)(archive*);
  int (*supportZstd)(archive*);
  int (*supportRaw)(archive*);
  int (*supportEmpty)(archive*);
  int (*open)(archive*, void*, Open*, Read*, Open*);
  int (*nextHeader)(archive*, void**);
  int (*readBlock)(archive*, const void**, std::size_t*, std::int64_t*);
  int (*filterCode)(archive*, int);
  const char* (*errorString)(archive*);
  int (*readFree)(archive*);
};

namespace {

using namespace std::string_view_literals;

// What its functions give back.
constexpr int kEndOfArchive = 1;
constexpr int kWarning = -20;
constexpr int kFatal = -30;
constexpr int kNoFilter = 0;  // the library takes what it does not know as it is

constexpr auto kMagics = std::to_array<std::string_view>({
    "\x1F\x8B"sv,
    "\xFD"
    "7zXZ\0"sv,
    "\x28\xB5\x2F\xFD"sv,
});

template <class Function>
void lookUp(void* library, const char* name, Function& function) {
  function = reinterpret_cast<Function>(dlsym(library, name));
  if (function == nullptr) throw InputFault(std::string("libarchive has no ") + name);
}

ArchiveLibrary load() {
  void* const library = dlopen("libarchive.so.13", RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr)
    throw InputFault(std::string("cannot load libarchive, which reads compressed files: ") +
                     dlerror() + "; install it with: apt-get install libarchive13");
  ArchiveLibrary functions;
  lookUp(library, "archive_read_new", functions.readNew);
  lookUp(library, "archive_read_support_filter_gzip", functions.supportGzip);
  lookUp(library, "archive_read_support_filter_xz", functions.supportXz);
  lookUp(library, "archive_read_support_filter_zstd", functions.supportZstd);
  lookUp(library, "archive_read_support_format_raw", functions.supportRaw);
  lookUp(library, "archive_read_support_format_empty", functions.supportEmpty);
  lookUp(library, "archive_read_open", functions.open);
  lookUp(library, "archive_read_next_header", functions.nextHeader);
  lookUp(library, "archive_read_data_block", functions.readBlock);
  lookUp(library, "archive_filter_code", functions.filterCode);
  lookUp(library, "archive_error_string", functions.errorString);
  lookUp(library, "archive_read_free", functions.readFree);
  return functions;
}

const ArchiveLibrary& library() {
  static const ArchiveLibrary functions = load();
  return functions;
}

}  // namespace

void CompressedBytes::Free::operator()(archive* reader) const { library->readFree(reader); }

CompressedBytes::CompressedBytes(Bytes& compressed)
    : _compressed(compressed), _library(library()), _reader(_library.readNew(), Free{&_library}) {
  if (!_reader) throw std::bad_alloc();
  // A filter that the library hands to another program gives a warning.
  for (const auto support : {_library.supportGzip,
                             _library.supportXz,
                             _library.supportZstd,
                             _library.supportRaw,
                             _library.supportEmpty})
    check(support(_reader.get()));
}

CompressedBytes::~CompressedBytes() = default;

/// An exception must not pass through the C library: it is kept until the call has returned.
long CompressedBytes::readSource(archive* /*reader*/, void* self, const void** block) {
  auto& bytes = *static_cast<CompressedBytes*>(self);
  try {
    bytes._compressed.take(std::exchange(bytes._lent, 0));
    const std::string_view window = bytes._compressed.peek(1);
    bytes._lent = window.size();
    *block = window.data();
    return static_cast<long>(window.size());
  } catch (...) {
    bytes._failure = std::current_exception();
    return kFatal;
  }
}

void CompressedBytes::check(int status) {
  if (_failure) std::rethrow_exception(std::exchange(_failure, nullptr));
  if (status >= kWarning) return;
  const char* const message = _library.errorString(_reader.get());
  throw InputFault(std::string("cannot decompress: ") +
                   (message == nullptr ? "unknown reason" : message));
}

/// False if there is nothing in it.
bool CompressedBytes::open() {
  check(_library.open(_reader.get(), this, nullptr, readSource, nullptr));
  void* entry = nullptr;
  const int status = _library.nextHeader(_reader.get(), &entry);
  check(status);
  if (_library.filterCode(_reader.get(), 0) == kNoFilter)
    throw InputFault("begins as a compressed file does, and is damaged");
  return status != kEndOfArchive;
}

std::size_t CompressedBytes::read(char* into, std::size_t room) {
  if (!std::exchange(_begun, true)) _ended = !open();
  while (!_ended && _block.empty()) {
    const void* block = nullptr;
    std::size_t size = 0;
    std::int64_t offset = 0;
    const int status = _library.readBlock(_reader.get(), &block, &size, &offset);
    check(status);
    _ended = status == kEndOfArchive;
    if (!_ended) _block = {static_cast<const char*>(block), size};
  }
  const std::size_t count = _block.copy(into, room);
  _block.remove_prefix(count);
  return count;
}

std::unique_ptr<Bytes> decompressed(Bytes& bytes) {
  const auto isPart = [&](std::string_view magic) {
    return bytes.window().size() < magic.size() && magic.starts_with(bytes.window());
  };
  while (std::ranges::any_of(kMagics, isPart) && bytes.readMore()) continue;
  const auto begins = [&](std::string_view magic) { return bytes.window().starts_with(magic); };
  if (std::ranges::none_of(kMagics, begins)) return nullptr;
  return std::make_unique<CompressedBytes>(bytes);
}

}  // namespace vesk::host
