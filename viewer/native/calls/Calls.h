/// What JavaScript calls: what all calls share. src/decoder/decoder.ts is the other side, and nothing
/// else calls them. A file here is a subject.
///
/// A call that can fail gives back an Ending, and where it isn't done the reason as a text in the
/// reply. What it takes beside numbers lies in the arguments, what it gives lies in the reply, value
/// by value in the order that is said at each. An address in a reply, and the reply itself, stay until
/// the next call.
#pragma once

#include <cstdint>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "viewer/native/Arguments.h"
#include "viewer/native/Capture.h"
#include "viewer/native/Module.h"
#include "viewer/native/Rendering.h"
#include "viewer/native/Reply.h"
#include "viewer/native/Stream.h"
#include "viewer/native/calls/Layouts.h"

#define VESK_CALL(name) [[clang::export_name("vesk_" #name)]]

namespace vesk::viewer {

/// A file that is written anew in another form, in steps.
struct Conversion {
  Stream stream;
  Rendering rendering;
};

struct Calls {
  Module module;
  Arguments arguments;
  Reply reply;
  std::map<std::uint32_t, std::unique_ptr<Capture>> captures;
  std::map<std::uint32_t, std::unique_ptr<Conversion>> conversions;
  std::map<std::uint32_t, std::unique_ptr<Rendering>> renderings;
  std::uint32_t handles = 0;
  Layouts layouts;

  // What addresses in the reply point at.
  std::vector<std::uint32_t> numbers;
  Tables tables;
  Selected selected;
};

/// The only ones.
Calls& calls();

/// How a call ended.
enum class Ending : std::int32_t {
  Done,
  Refused,    // and everything is as it was
  BrokenOff,  // in the middle of something: nothing here can be relied on any more
};

/// Puts the reason into the reply in the place of what stands there.
std::int32_t ended(Ending ending, const char* reason);

/// Does a call, and says how it ended. `withoutMemory` is BrokenOff for a call that takes in reports:
/// where memory ends in the middle of one, some of what is kept of it would lack.
template <class Call>
std::int32_t answered(Call call, Ending withoutMemory = Ending::Refused) {
  Calls& all = calls();
  all.reply.clear();
  try {
    call(all);
    return static_cast<std::int32_t>(Ending::Done);
  } catch (const std::bad_alloc&) {
    return ended(withoutMemory, "out of memory");
  } catch (const std::exception& fault) {
    return ended(Ending::Refused, fault.what());
  }
}

/// What a handle stands for. Throws std::out_of_range.
template <class Handles>
auto& of(Handles& handles, std::uint32_t handle) {
  const auto found = handles.find(handle);
  if (found == handles.end()) throw std::out_of_range("the file was closed");
  return *found->second;
}

/// Keeps something, and gives its handle.
template <class Handles, class Thing>
void hold(Calls& all, Handles& handles, std::unique_ptr<Thing> thing) {
  all.reply.u32(all.handles + 1);
  handles[++all.handles] = std::move(thing);
}

}  // namespace vesk::viewer
