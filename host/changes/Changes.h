/// What differs between two reports: fields of the same keys, one by one.
///
///     for (const Change& change : changesBetween(before, after))
///       if (const auto* number = std::get_if<NumberChange>(&change.what)) ...
///
/// This is arithmetic, and knows nothing of what a number means: a counter that wrapped has a
/// negative difference here. Course.h tells more of those that are known to count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "host/Value.h"

namespace vesk::host {

/// What two whole numbers differ by: up to 64 bits and a sign, which no type of C++ holds.
struct WholeDifference {
  bool negative = false;
  std::uint64_t magnitude = 0;

  bool operator==(const WholeDifference&) const = default;
};

/// Of whole numbers exact; of float and double in that kind, so that it has as many digits.
using Difference = std::variant<WholeDifference, float, double>;

/// The size of a difference.
double magnitudeOf(const Difference& difference);
bool isNegative(const Difference& difference);

/// after - before. None for numbers of different kinds, for bool, and where one is NaN or infinite.
std::optional<Difference> differenceOf(const vesk_number& before, const vesk_number& after);

/// Whether two numbers say the same: a NaN is as any other NaN, and -0 as 0.
bool saysTheSame(const vesk_number& before, const vesk_number& after);

/// What became of a number that counts.
enum class Course : std::uint8_t {
  Unknown,  // it isn't known to count, or the reports don't follow each other
  Grew,
  Wrapped,  // it is past its largest value: the difference is that of the way over it
  Fell,     // it is smaller, and did not wrap
};

struct NumberChange {
  vesk_number before;
  vesk_number after;
  std::optional<Difference> difference;
  bool isBits = false;
  Course course = Course::Unknown;
  std::optional<double> rate = {};  // of a counter that grew or wrapped, a second

  /// The bits that are set now and were not, and the reverse.
  std::uint64_t bitsSet() const { return after.value.u & ~before.value.u; }
  std::uint64_t bitsCleared() const { return before.value.u & ~after.value.u; }
};

struct ElementChange {
  std::size_t index = 0;
  vesk_number before;
  vesk_number after;
  std::optional<Difference> difference;
};

/// An array of the same kind and length as before.
struct ArrayChange {
  std::size_t count = 0;
  std::vector<ElementChange> elements;  // that changed, never empty

  // Of those whose changes have a size, which those from or to NaN or infinity haven't:
  std::size_t sized = 0;
  double mean = 0;          // of the sizes
  std::size_t largest = 0;  // index in `elements` of the largest; the first of several
};

/// A string, a line, or a value that is another thing than before. Nothing (nil) stands where there
/// is no value: of a key that came or went.
struct ValueChange {
  Value before;
  Value after;
};

struct Change {
  std::string key;  // empty of a bare string, and of a line
  std::size_t line =
      0;  // of a change in the text only: its line, from 1; of the new text, if it has it
  std::variant<NumberChange, ArrayChange, ValueChange> what;
};

/// In the order of `after`; keys that went come last.
std::vector<Change> changesBetween(std::span<const Field> before, std::span<const Field> after);

/// The lines that differ between two texts, whose lines end in newlines.
std::vector<Change> lineChangesBetween(std::string_view before, std::string_view after);

}  // namespace vesk::host
