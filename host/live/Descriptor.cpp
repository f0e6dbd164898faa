#include "host/live/Descriptor.h"

#include <algorithm>
#include <vector>

namespace vesk::host {

namespace {

// An item is a byte with tag, type and size, and as many bytes of a value as the size says.
constexpr unsigned kLongItem = 0xFE;
constexpr unsigned kWithoutSize = 0xFC;

enum Item : unsigned {
  kInputItem = 0x80,
  kOutputItem = 0x90,
  kFeatureItem = 0xB0,
  kReportSize = 0x74,
  kReportId = 0x84,
  kReportCount = 0x94,
  kPush = 0xA4,
  kPop = 0xB4,
};

// Nobody nests deeper than a few; a descriptor of nothing but pushes must not fill the memory.
constexpr std::size_t kDeepest = 64;

/// What holds for the fields that follow.
struct Globals {
  std::uint64_t size = 0;  // bits of a field
  std::uint64_t count = 0;
  std::uint32_t id = 0;
};

}  // namespace

void DeclaredReports::add(ReportType type, std::uint32_t id, std::uint64_t size,
                          std::uint64_t count) {
  const auto row = static_cast<std::size_t>(type);
  _declared[row].set(id);
  std::uint64_t& bits = _bits[row][id];
  const std::uint64_t added = std::min(size, kMostBits) * std::min(count, kMostBits);
  bits = std::min(bits + added, kMostBits);
}

DeclaredReports parseDescriptor(std::span<const std::uint8_t> descriptor) {
  DeclaredReports declared;
  Globals globals;
  std::vector<Globals> pushed;
  std::size_t at = 0;
  const auto damaged = [&](const char* what) {
    declared._damage = std::string(what) + " at byte " + std::to_string(at);
    return declared;
  };
  while (at < descriptor.size()) {
    const unsigned head = descriptor[at];
    const std::size_t left = descriptor.size() - at - 1;
    if (head == kLongItem) {
      const std::size_t size = left == 0 ? 0 : std::size_t{descriptor[at + 1]} + 2;
      if (size == 0 || size > left) return damaged("an item is cut off");
      at += 1 + size;
      continue;
    }
    const std::size_t size = (head & 3u) == 3 ? 4 : head & 3u;
    if (size > left) return damaged("an item is cut off");
    std::uint32_t value = 0;
    for (std::size_t i = size; i-- > 0;) value = value << 8 | descriptor[at + 1 + i];
    switch (head & kWithoutSize) {
      case kInputItem:
        declared.add(ReportType::Input, globals.id, globals.size, globals.count);
        break;
      case kOutputItem:
        declared.add(ReportType::Output, globals.id, globals.size, globals.count);
        break;
      case kFeatureItem:
        declared.add(ReportType::Feature, globals.id, globals.size, globals.count);
        break;
      case kReportSize:
        globals.size = value;
        break;
      case kReportCount:
        globals.count = value;
        break;
      case kReportId:
        if (value == 0 || value >= kReportIds) return damaged("a report ID is none");
        globals.id = value;
        declared._usesIds = true;
        break;
      case kPush:
        if (pushed.size() == kDeepest) return damaged("too much is pushed");
        pushed.push_back(globals);
        break;
      case kPop:
        if (pushed.empty()) return damaged("nothing is there to pop");
        globals = pushed.back();
        pushed.pop_back();
        break;
      default:
        break;
    }
    at += 1 + size;
  }
  return declared;
}

}  // namespace vesk::host
