#include "tests/support/case_file.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace vesk::test {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostDifferences = 12;  // shown of one section

std::string fileOf(const std::string& name) { return "tests/cases/" + name + ".txt"; }

Lines split(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

void readReport(CaseFile& file, const Lines& lines) {
  std::string all;
  for (const std::string& line : lines) all += line + ' ';
  std::istringstream words(all);
  std::string word;
  words >> word;
  file.type = word == "feature" ? kFeature : word == "input" ? kInput : -1;
  if (file.type == -1)
    throw std::runtime_error(fileOf(file.name) + ": no type of a report: " + word);
  while (words >> word) {
    std::size_t used = 0;
    const int byte = std::stoi(word, &used, 16);
    if (used != 2 || word.size() != 2)
      throw std::runtime_error(fileOf(file.name) + ": no byte: " + word);
    file.bytes.push_back(static_cast<char>(byte));
  }
}

}  // namespace

std::vector<std::string> caseNames() {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(VESK_CASES))
    if (entry.path().extension() == ".txt") names.push_back(entry.path().stem());
  std::ranges::sort(names);
  return names;
}

CaseFile readCase(const std::string& name) {
  CaseFile file;
  file.name = name;
  std::ifstream stream(fs::path(VESK_CASES) / (name + ".txt"), std::ios::binary);
  std::map<std::string, CaseFile::Section> sections;
  CaseFile::Section* section = nullptr;
  std::size_t number = 0;
  for (std::string line; std::getline(stream, line);) {
    ++number;
    if (line.starts_with('[') && line.ends_with(']')) {
      const std::string heading = line.substr(1, line.size() - 2);
      const bool known = heading == "report" || heading == "lines" || heading == "decimal lines" ||
                         heading == "object";
      if (!known || sections.contains(heading))
        throw std::runtime_error(fileOf(name) + ':' + std::to_string(number) + ": " + line +
                                 " is no section, or there twice");
      section = &sections[heading];
    } else if (section != nullptr && !line.empty()) {
      if (section->lines.empty()) section->firstLine = number;
      section->lines.push_back(line);
    }
  }
  for (const char* const needed : {"report", "lines", "object"})
    if (sections[needed].lines.empty())
      throw std::runtime_error(fileOf(name) + ": it lacks its [" + needed + ']');
  readReport(file, sections["report"].lines);
  sections.erase("report");
  file.expected = std::move(sections);
  return file;
}

Lines outcome(CaseFile report, bool useStrings, bool decimal) {
  const auto plugin = makePlugin(decimal);
  plugin->setUseStrings(useStrings);
  try {
    const Result result =
        plugin->reportToObject(report.bytes.data(), report.id(), report.type, report.length());
    Lines lines = split(listing(result));
    if (result.lines() != nullptr)
      for (std::string& line : lines) line = '|' + line + '|';
    return lines;
  } catch (const std::logic_error&) {
    return {"throws"};
  }
}

std::string difference(const CaseFile& file, const std::string& section, const Lines& got) {
  const auto& [firstLine, expected] = file.expected.at(section);
  if (expected == got) return {};
  std::string text = fileOf(file.name) + ": its [" + section + "] differs\n";
  const auto show = [&](std::size_t i, const Lines& lines) {
    return i < lines.size() ? lines[i] : "(no line)";
  };
  std::size_t shown = 0;
  for (std::size_t i = 0; i < std::max(expected.size(), got.size()); ++i) {
    const std::string wanted = show(i, expected);
    const std::string given = show(i, got);
    if (wanted == given || ++shown > kMostDifferences) continue;
    text += "line " + std::to_string(firstLine + i) + "\n  expected: " + wanted +
            "\n       got: " + given + '\n';
  }
  if (shown > kMostDifferences)
    text += "and " + std::to_string(shown - kMostDifferences) + " lines more\n";
  return text;
}

}  // namespace vesk::test
