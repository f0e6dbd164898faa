/// Text from outside, made fit for JSON.
#pragma once

#include <string>
#include <string_view>

namespace vesk::host {

/// `text` with U+FFFD in the place of each byte that isn't part of valid UTF-8: file names may hold
/// any bytes.
std::string asUtf8(std::string_view text);

}  // namespace vesk::host
