/// Bytes as text that means nothing to whatever it stands in.
#pragma once

#include <string_view>

#include "host/writing/Sink.h"

namespace vesk::host {

/// Appends `bytes` in base64, on one line.
void appendBase64(Sink& sink, std::string_view bytes);

}  // namespace vesk::host
