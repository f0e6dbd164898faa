/// The reports decoded in the ways one would write first: what the decoders are measured against,
/// and compared with.
///
/// These are a second description of every report, made of plain offsets, calls of the C library
/// and the standard containers, and share nothing with the decoders: what both say alike is
/// probably right. Each reads a report by its ID, as long as it has to be.
#pragma once

#include <cstring>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <variant>
#include <vector>

namespace reference {

/// The value of type T that lies, little-endian, at `bytes`: on the machines that this is measured
/// on, a copy.
template <class T>
T read(const char* bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

using Lines = std::vector<std::string>;

using Value = std::variant<unsigned char, unsigned short, unsigned int, int, long long,
                           unsigned long long, float, double, std::string, std::vector<int>,
                           std::vector<unsigned int>, std::vector<float>>;
using Dictionary = std::map<std::string, Value>;

/// The object of a report: a dictionary, but for two reports a bare string.
using Object = std::variant<Dictionary, std::string>;

/// Lines, each value by snprintf.
Lines text(const char* report, unsigned id, bool decimal);

/// Lines, each by {fmt} with a format that it compiles.
Lines fmtText(const char* report, unsigned id, bool decimal);

/// A map of variants.
Object object(const char* report, unsigned id);

/// A document as an nlohmann::json.
nlohmann::json dom(const char* report, unsigned id);

}  // namespace reference
