#include "host/writing/Utf8.h"

#include <cstddef>

#include "text/utf8.h"

namespace vesk::host {

std::string asUtf8(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = utf8Length(text);
    if (length == 0)
      result += "\xEF\xBF\xBD";
    else
      result += text.substr(0, length);
    text.remove_prefix(length == 0 ? 1 : length);
  }
  return result;
}

}  // namespace vesk::host
