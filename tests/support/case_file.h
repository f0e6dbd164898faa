/// The files of tests/cases: a report of our own making, and what it must decode to.
///
///     # a state that has a name
///
///     [report]
///     feature de 01
///
///     [lines]
///     |ADC Dump State: SINGLE|
///
///     [object]
///     string "SINGLE"
///
/// Each line of text stands between bars, so that blanks at its end are seen and stay. `nil` stands
/// for nothing, `throws` for an exception. [decimal lines], the text under -decimal, may be absent.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "tests/support/support.h"

namespace vesk::test {

struct CaseFile {
  struct Section {
    std::size_t firstLine;  // its number in the file
    Lines lines;
  };

  std::string name;  // of the file, without its ending
  std::int32_t type = -1;
  std::vector<char> bytes;
  std::map<std::string, Section> expected;  // "lines", "decimal lines", "object"

  std::uint32_t id() const { return static_cast<unsigned char>(bytes.at(0)); }
  std::int64_t length() const { return static_cast<std::int64_t>(bytes.size()); }
};

/// The names of all cases, in order.
std::vector<std::string> caseNames();

/// Throws std::runtime_error, which tells the line, for a file that is none.
CaseFile readCase(const std::string& name);

/// What a decode on a fresh instance gives, as the lines of a file's section.
Lines outcome(CaseFile report, bool useStrings, bool decimal);

/// The lines of a section that are not as expected, each with its number in the file; empty if none.
std::string difference(const CaseFile& file, const std::string& section, const Lines& got);

}  // namespace vesk::test
