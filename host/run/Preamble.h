/// What a recording says of its devices in front of its reports: kept for the first one that is
/// selected, as those that were left out had it in front of them.
#pragma once

#include <string>
#include <string_view>

namespace vesk::host {

class Preamble {
 public:
  /// Each description is kept once, and the last one, which may be a mere "D: 1", at the end: it
  /// tells whose report comes next.
  void keep(std::string_view lines);

  /// What goes in front of the next report, which is kept no longer. Empty if nothing came since.
  std::string take();

 private:
  std::string _kept;
  std::string _last;
};

}  // namespace vesk::host
