// Formats that are template arguments, against the C library: those of whole numbers that the reports
// use.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "model/wire_format.h"
#include "tests/text/compiled.h"
#include "tests/text/values.h"
#include "text/format.h"

namespace vesk::test {
namespace {

using format::Literal;

template <class T, Literal... text>
void checkIntegerFormats() {
  for (const T value : boundaryIntegers<T>(100)) {
    (check<text>(value), ...);
    (check<text>(wire::Field<T>::of(value)), ...);
  }
}

TEST(CompiledFormat, PrintsTheReportsIntegers) {
  checkIntegerFormats<std::uint8_t, "%u", "%i", "0x%02x", "[Cookie = 0x%02x]", "%02X", "%d">();
  checkIntegerFormats<std::uint16_t, "%u", "%i", "[Flags = 0x%04x]", "0x%04X", "%d">();
  checkIntegerFormats<std::uint32_t,
                      "%u",
                      "%i",
                      "%08x ",
                      "0x%08x",
                      "0x%08X",
                      "%d",
                      "%12u ms",
                      "%14d ",
                      "%04x",
                      "%02x",
                      "[Timestamp = %u ms]",
                      "Module Count:   %i">();
  checkIntegerFormats<std::int32_t,
                      "%u",
                      "%i",
                      "%08x ",
                      "0x%08X",
                      "%d",
                      "%14d ",
                      "%14u ",
                      "READY       : %12u ms">();
  checkIntegerFormats<std::uint64_t, "0x%016llX", "%016llx", "%llu", "%lli", "%lld", "%llx">();
  checkIntegerFormats<std::int64_t, "0x%016llX", "%016llx", "%llu", "%lli", "%lld", "%llX">();

  for (const std::uint32_t high : boundaryIntegers<std::uint32_t>()) {
    const auto low = static_cast<std::uint32_t>(~high * 2654435761u);
    check<"Channel Enable Mask = %04x%08x">(u32::of(high), low);
    const auto byte = static_cast<std::uint8_t>(high);
    check<"[Magic Value     = 0x%02x%02x%02x]">(byte, u8::of(byte), static_cast<std::uint8_t>(low));
    const auto word = static_cast<std::uint16_t>(high);
    for (const std::string& name : kStrings) {
      check<"%20s: 0x%04X">(name, u16::of(word));
      check<"%40s: 0x%04X">(name, word);
      check<"%30s Module ID: 0x%04X">(std::string_view(name), word);
      check<"%40s: %i">(name.c_str(), static_cast<std::int32_t>(high));
      check<"%40s: %i">(name, byte);
    }
  }
}

}  // namespace
}  // namespace vesk::test
