#include "viewer/native/calls/Calls.h"

namespace vesk::viewer {

Calls& calls() {
  static Calls only;
  return only;
}

std::int32_t ended(Ending ending, const char* reason) {
  Reply& reply = calls().reply;
  reply.clear();
  reply.text(reason);
  return static_cast<std::int32_t>(ending);
}

/// Null if there is no memory for it.
VESK_CALL(room) void* room(std::uint32_t size) {
  try {
    return calls().arguments.room(size);
  } catch (const std::exception&) {
    return nullptr;
  }
}

VESK_CALL(reply) const void* reply() { return calls().reply.bytes().data(); }
VESK_CALL(replySize) std::uint32_t replySize() {
  return static_cast<std::uint32_t>(calls().reply.bytes().size());
}

}  // namespace vesk::viewer
