#include "reports/openshort/mark_row.h"

#include <array>
#include <cstring>

#include "plugin/HIDReportVeskPlugin.h"

namespace vesk {

namespace {

struct Group {
  char marks[8];  // bit 7 first
};

constexpr std::array<Group, 256> makeGroups() {
  std::array<Group, 256> groups{};
  for (unsigned bits = 0; bits < 256; ++bits)
    for (unsigned bit = 0; bit < 8; ++bit)
      groups[bits].marks[7 - bit] = (bits >> bit & 1) != 0 ? 'X' : '.';
  return groups;
}

constexpr std::array<Group, 256> kGroups = makeGroups();

}  // namespace

format::Text<64> markRow(std::uint64_t mask) {
  format::Text<64> row;
  char* out = row.characters;
  for (int shift = 40; shift >= 0; shift -= 8) {
    *out++ = ' ';
    std::memcpy(out, kGroups[mask >> shift & 0xFF].marks, 8);
    out += 8;
  }
  row.size = static_cast<unsigned char>(out - row.characters);
  return row;
}

std::string HIDReportVeskPlugin::printOSTResult(const char* label, std::uint64_t result) const {
  return format::string<"%s %s">(label, markRow(result));
}

}  // namespace vesk
