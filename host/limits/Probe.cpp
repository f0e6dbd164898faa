#include "host/limits/Probe.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>

namespace vesk::host {

namespace {

/// More lines than a text report has fields, and no letter that means something.
std::vector<std::uint8_t> linesOfLetters(std::uint32_t id) {
  constexpr std::size_t kLines = 64;
  std::vector<std::uint8_t> bytes = {static_cast<std::uint8_t>(id)};
  for (std::size_t i = 0; i < kLines; ++i) bytes.insert(bytes.end(), {'a', '\n'});
  bytes.push_back(0);
  return bytes;
}

std::vector<std::uint8_t> filled(const ReportInfo& info, std::uint8_t byte) {
  std::vector<std::uint8_t> bytes(info.smallest + 1, byte);  // and room for a NUL
  bytes.front() = static_cast<std::uint8_t>(info.id);
  bytes.back() = 0;
  return bytes;
}

}  // namespace

std::vector<Field> probe(Plugin& plugin, const ReportInfo& info) {
  // A decoder may refuse one content, and hardly all of them.
  const std::array contents = {info.nulTerminated ? linesOfLetters(info.id) : filled(info, 0),
                               filled(info, 1),
                               filled(info, 0xFF),
                               linesOfLetters(info.id)};
  std::string complaint;
  bool someNil = false;
  for (const auto& bytes : contents) {
    if (bytes.size() <= info.smallest) continue;
    const std::size_t size = info.nulTerminated ? bytes.size() : info.smallest;
    try {
      const Decoded decoded =
          plugin.decode(std::span(bytes).first(size), info, Plugin::Mode::Object);
      if (decoded.form() != VESK_NIL) return fieldsOf(decoded);
      someNil = true;
    } catch (const DecoderFault& fault) {
      complaint = fault.what();
    }
  }
  if (someNil) return {};
  throw DecoderFault(complaint);
}

}  // namespace vesk::host
