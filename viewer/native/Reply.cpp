#include "viewer/native/Reply.h"

#include "host/writing/Utf8.h"

namespace vesk::viewer {

void Reply::text(std::string_view text) {
  const auto valid = host::asUtf8(text);
  u32(valid.size());
  append(valid.data(), valid.size());
}

}  // namespace vesk::viewer
