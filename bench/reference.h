/// The reports decoded in the ways one would write first: what the decoders are measured against,
/// and compared with.
///
/// These are a second description of every report, made of plain offsets, calls of the C library
/// and the standard containers, and share nothing with the decoders: what both say alike is
/// probably right. Each reads a report by its ID, as long as it has to be. references/ holds them;
/// references/shared.h says how one is added.
#pragma once

#include <cstring>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <random>
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

/// What is shown of a report depends on these, besides its bytes.
struct Mode {
  unsigned id;
  bool decimal;
};

using Random = std::mt19937_64;

/// The reports of one decoder, in all ways.
struct Reference {
  const char* name = nullptr;  // of its measurements
  std::vector<unsigned> ids{};

  /// Lines, each value by snprintf.
  Lines (*text)(const char* report, Mode mode) = nullptr;

  /// Lines, each by {fmt} with a format that it compiles. Null: not compared.
  Lines (*fmtText)(const char* report, Mode mode) = nullptr;

  /// A map of variants. Null: the report has no object.
  Object (*object)(const char* report, Mode mode) = nullptr;

  /// A document as an nlohmann::json. Null: not compared.
  nlohmann::json (*dom)(const char* report, Mode mode) = nullptr;

  /// Makes a report of what a controller in order says. Null: any bits are as good.
  void (*fill)(std::string& bytes, Random& random) = nullptr;

  bool decimal = false;  // -decimal shows it otherwise: measured both ways

  unsigned fewestLines = 1;  // of a report that is a text
  unsigned mostLines = 1;
};

/// The reference for a report; null if there is none.
const Reference* find(unsigned id);

/// All of them.
const std::vector<Reference>& references();

/// Adds a reference to them, before main() begins.
struct Registered {
  explicit Registered(Reference reference);
};

}  // namespace reference
