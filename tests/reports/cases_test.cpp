// The cases: reports that we made, with what they must decode to, which a second program that shares
// no code with the decoders gives as well.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/case_file.h"

namespace vesk {
namespace {

using test::CaseFile;

class Cases : public testing::TestWithParam<std::string> {};

TEST_P(Cases, DecodeAsExpected) {
  const CaseFile file = test::readCase(GetParam());
  for (const auto& [section, expected] : file.expected) {
    const bool useStrings = section != "object";
    const bool decimal = section == "decimal lines";
    const std::string different = difference(file, section, outcome(file, useStrings, decimal));
    if (!different.empty()) ADD_FAILURE() << different;
  }
  // The switch changes text only.
  const std::string different = difference(file, "object", outcome(file, false, true));
  if (!different.empty()) ADD_FAILURE() << "under -decimal, " << different;
}

INSTANTIATE_TEST_SUITE_P(Reports, Cases, testing::ValuesIn(test::caseNames()),
                         [](const auto& testCase) {
                           std::string name = testCase.param;
                           std::ranges::replace(name, '-', '_');
                           return name;
                         });

}  // namespace
}  // namespace vesk
