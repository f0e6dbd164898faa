#include "viewer/native/calls/Calls.h"

namespace vesk::viewer {

Calls& calls() {
  static Calls only;
  return only;
}

VESK_CALL(room) void* room(std::uint32_t size) { return calls().arguments.room(size); }
VESK_CALL(reply) const void* reply() { return calls().reply.bytes().data(); }
VESK_CALL(replySize) std::uint32_t replySize() {
  return static_cast<std::uint32_t>(calls().reply.bytes().size());
}

}  // namespace vesk::viewer
