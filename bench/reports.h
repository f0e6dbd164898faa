/// The reports that are measured and compared: made here, not captured.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "bench/reference.h"

namespace bench {

/// A row of the tables: the reports of a decoder, and how their samples are shown.
struct Subject {
  std::string name;
  const reference::Reference* reference;
  std::vector<std::uint32_t> ids;
  std::int32_t type;
  std::size_t size;
  bool isText;
  bool decimal;

  /// A decimal one has a twin, whose object is the same.
  bool hasObject() const { return reference->object != nullptr && !decimal; }
};

/// All reports that the plug-in knows and that have a reference.
const std::vector<Subject>& subjects();

struct Report {
  std::uint32_t id;
  std::string bytes;
};

/// What the values of a report are like.
enum class Values {
  Plausible,  // what a controller in order reports
  Random,     // any bits
};

using reference::Random;

Report makeReport(const Subject& subject, Values values, Random& random);

/// Reports of the values at which formats change their minds, at every alignment.
std::vector<Report> extremeReports(const Subject& subject);

}  // namespace bench
