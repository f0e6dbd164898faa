/// What the module needs of JavaScript. All of it answers at once: the module runs in a worker,
/// where files are read so (FileReaderSync).
#pragma once

#include <cstddef>
#include <cstdint>

namespace vesk::viewer {

/// Copies up to `room` bytes of a file, from `offset` on, to `into`. How many; 0 at its end; -1 if
/// it can't be read.
[[clang::import_module("vesk"), clang::import_name("read")]] std::int32_t readSource(
    std::int32_t source, double offset, void* into, std::size_t room);

/// Puts bytes behind those that were kept for a file before. 0, or -1 if there is no room for more.
[[clang::import_module("vesk"), clang::import_name("keep")]] std::int32_t keepBytes(
    std::int32_t source, const void* bytes, std::size_t count);

/// readSource() for what was kept.
[[clang::import_module("vesk"), clang::import_name("readKept")]] std::int32_t readKept(
    std::int32_t source, double offset, void* into, std::size_t room);

}  // namespace vesk::viewer
