// The golden folder: reports that we made, with what they must decode to, which a second program
// that shares no code with the decoders wrote.
//
// NAME.hex holds the report, NAME.lines its text, NAME.decimal.lines its text with -decimal, and
// NAME.object the listing of its object; `nil` stands for nothing, `throws` for an exception.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/support.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;

std::string readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Input {
  std::int32_t type = -1;
  std::vector<char> bytes;
};

/// A comment, then `feature` or `input` and the bytes; lines that begin with a blank go on.
Input readInput(const fs::path& path) {
  std::istringstream text(readFile(path));
  std::string line;
  std::getline(text, line);
  EXPECT_EQ(line.substr(0, 1), "#") << path;
  std::string word;
  text >> word;
  Input input;
  input.type = word == "feature" ? kFeature : word == "input" ? kInput : -1;
  EXPECT_NE(input.type, -1) << path << ": " << word;
  while (text >> word) input.bytes.push_back(static_cast<char>(std::stoi(word, nullptr, 16)));
  return input;
}

/// The file's form of what a decode gives.
std::string outcome(Input input, bool useStrings, bool decimal) {
  const auto plugin = test::makePlugin(decimal);
  plugin->setUseStrings(useStrings);
  const auto id = static_cast<unsigned char>(input.bytes.at(0));
  const auto length = static_cast<std::int64_t>(input.bytes.size());
  try {
    return test::listing(plugin->reportToObject(input.bytes.data(), id, input.type, length));
  } catch (const std::logic_error&) {
    return "throws\n";
  }
}

class Golden : public testing::TestWithParam<std::string> {
 protected:
  static fs::path file(const std::string& ending) {
    return fs::path(VESK_GOLDEN) / (GetParam() + ending);
  }
};

TEST_P(Golden, DecodesAsExpected) {
  const Input input = readInput(file(".hex"));
  EXPECT_EQ(outcome(input, true, false), readFile(file(".lines")));
  EXPECT_EQ(outcome(input, false, false), readFile(file(".object")));
  // The switch changes text only.
  EXPECT_EQ(outcome(input, false, true), readFile(file(".object")));
  if (fs::exists(file(".decimal.lines"))) {
    EXPECT_EQ(outcome(input, true, true), readFile(file(".decimal.lines")));
  }
}

std::vector<std::string> cases() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(VESK_GOLDEN))
    if (entry.path().extension() == ".hex") names.push_back(entry.path().stem());
  std::ranges::sort(names);
  return names;
}

INSTANTIATE_TEST_SUITE_P(Reports, Golden, testing::ValuesIn(cases()), [](const auto& testCase) {
  std::string name = testCase.param;
  std::ranges::replace(name, '-', '_');
  return name;
});

}  // namespace
}  // namespace vesk
