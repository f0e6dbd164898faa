/// The reports that are measured and compared: made here, not captured.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace bench {

/// A row of the tables: a kind of report, and how its samples are shown.
struct Subject {
  const char* name;
  std::uint32_t id;
  std::uint32_t otherID;  // of the two reports that share a decoder; else the same
  std::int32_t type;
  std::size_t size;
  bool decimal;
  bool hasObject;  // and is not the decimal twin of a subject that has it
};

extern const std::vector<Subject> kSubjects;

struct Report {
  std::uint32_t id;
  std::string bytes;
};

/// What the values of a report are like.
enum class Values {
  Plausible,  // what a controller in order reports
  Random,     // any bits
};

using Random = std::mt19937_64;

Report makeReport(const Subject& subject, Values values, Random& random);

/// Reports of the values at which formats change their minds, at every alignment.
std::vector<Report> extremeReports(const Subject& subject);

}  // namespace bench
