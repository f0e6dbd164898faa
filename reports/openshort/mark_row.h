/// A channel mask as a row of marks, which both open/short reports show.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vesk {

/// Bits 47 to 0 of a mask, X for a set bit and '.' for a clear one, in six groups of eight, each with
/// a blank before it. Bits 48 to 63 belong to no channel and are not shown. To be printed by "%s".
struct MarkRow {
  static constexpr std::size_t kMaximumSize = 6 * (1 + 8);

  std::uint64_t mask;

  char* write(char* out) const {
    for (int shift = 40; shift >= 0; shift -= 8) {
      *out = ' ';
      std::memcpy(out + 1, kGroups[mask >> shift & 0xFF].marks, sizeof(Group));
      out += 9;
    }
    return out;
  }

 private:
  struct Group {
    char marks[8];  // bit 7 first
  };

  static constexpr std::array<Group, 256> makeGroups() {
    std::array<Group, 256> groups{};
    for (unsigned bits = 0; bits < 256; ++bits)
      for (unsigned bit = 0; bit < 8; ++bit)
        groups[bits].marks[7 - bit] = (bits >> bit & 1) != 0 ? 'X' : '.';
    return groups;
  }

  static const std::array<Group, 256> kGroups;
};

inline constexpr std::array<MarkRow::Group, 256> MarkRow::kGroups = MarkRow::makeGroups();

}  // namespace vesk
