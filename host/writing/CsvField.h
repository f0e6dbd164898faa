/// A field of a CSV table.
#pragma once

#include <string>
#include <string_view>

namespace vesk::host {

/// Appends a field as RFC 4180 has it: in quotes where it holds what would end it.
inline void appendCsvField(std::string& row, std::string_view text) {
  if (text.find_first_of(",\"\r\n") == std::string_view::npos) {
    row += text;
    return;
  }
  row += '"';
  for (const char character : text) row.append(character == '"' ? 2 : 1, character);
  row += '"';
}

}  // namespace vesk::host
