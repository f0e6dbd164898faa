#include "bench/reports.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <string_view>

#include "bench/references/shared.h"
#include "plugin/report_list.h"

namespace bench {

namespace {

using reference::below;

std::string versionText(Random& random, std::uint32_t lines) {
  std::string text;
  for (std::uint32_t i = 0; i < lines; ++i) {
    if (i != 0) text += '\n';
    text += "vesk-" + std::to_string(below(random, 10)) + '.' + std::to_string(below(random, 100)) +
            '.' + std::to_string(below(random, 100)) + " (build " +
            std::to_string(below(random, 100000)) + ')';
  }
  return text;
}

/// Any text that is one: printable characters and those of two and three bytes.
std::string randomText(Random& random, std::uint32_t lines) {
  std::string text;
  for (std::uint32_t i = 0; i < lines; ++i) {
    if (i != 0) text += '\n';
    for (std::uint32_t n = below(random, 60); n > 0; --n) {
      const std::uint32_t dice = below(random, 20);
      if (dice == 0)
        text += "\u00B5";
      else if (dice == 1)
        text += "\u2126";
      else
        text += static_cast<char>(' ' + below(random, 95));
    }
  }
  return text;
}

std::vector<Subject> makeSubjects() {
  std::vector<Subject> made;
  for (const vesk::ListedReport& report : vesk::kReports) {
    const reference::Reference* const reference = reference::find(report.id);
    if (reference == nullptr || &report != &vesk::listed(report.decoder)) continue;
    Subject subject{reference->name,
                    reference,
                    {},
                    report.type,
                    report.size,
                    report.length == vesk::LengthRule::Text,
                    false};
    for (const vesk::ListedReport& other : vesk::kReports)
      if (other.decoder == report.decoder) subject.ids.push_back(other.id);
    made.push_back(subject);
    if (!reference->decimal) continue;
    subject.name += "_decimal";
    subject.decimal = true;
    made.push_back(subject);
  }
  return made;
}

}  // namespace

const std::vector<Subject>& subjects() {
  static const std::vector<Subject> made = makeSubjects();
  return made;
}

Report makeReport(const Subject& subject, Values values, Random& random) {
  const std::uint32_t id = subject.ids[random() % subject.ids.size()];
  Report report{id, std::string(1, static_cast<char>(id))};
  const reference::Reference& reference = *subject.reference;
  if (subject.isText) {
    std::uint32_t lines = reference.fewestLines;
    if (reference.mostLines != lines) lines += below(random, reference.mostLines - lines + 1);
    report.bytes +=
        values == Values::Plausible ? versionText(random, lines) : randomText(random, lines);
    report.bytes += '\0';
    return report;
  }
  report.bytes.resize(subject.size);
  if (values == Values::Plausible && reference.fill != nullptr)
    reference.fill(report.bytes, random);
  else
    for (std::size_t i = 1; i < subject.size; ++i) report.bytes[i] = static_cast<char>(random());
  return report;
}

std::vector<Report> extremeReports(const Subject& subject) {
  std::vector<Report> reports;
  if (subject.isText) {
    const std::string_view texts[] = {"", "\n\n\n\n\n", "a\n\nb\n\nc\n", "1\n2\n3\n4\n5\n6\n7\n8"};
    for (const std::uint32_t id : subject.ids)
      for (const std::string_view text : texts) {
        if (std::ranges::count(text, '\n') + 1 < subject.reference->fewestLines) continue;
        std::string bytes(1, static_cast<char>(id));
        reports.push_back({id, bytes.append(text).append(1, '\0')});
      }
    return reports;
  }

  std::vector<std::uint32_t> words = {0,          1,          9,          10,         99,
                                      100,        9999,       10000,      99999999,   100000000,
                                      999999999,  1000000000, 0x7FFFFFFF, 0x80000000, 0x80000001,
                                      0xFFFFFFFF, 0xFFFFFF00, 0x00FF00FF, 0x55555555, 0xAAAAAAAA};
  const float magnitudes[] = {
      0.0f,       1e-45f,      0.0005f,        0.000488281250f, 0.0625f, 0.5f,
      0.9995f,    0.99949998f, 0.9999995f,     1.0005f,         2.5f,    999.9995f,
      8388607.5f, 8388608.0f,  16777215.0f,    2147483520.0f,   0x1p31f, 4294967040.0f,
      0x1p32f,    1e10f,       0x1.fffffep62f, 0x1p63f,         0x1p64f, 1e19f,
      1e20f,      1e30f,       3.4028235e38f,  INFINITY,        NAN,     1.17549435e-38f};
  for (const float magnitude : magnitudes)
    for (const float value : {magnitude, -magnitude})
      words.push_back(std::bit_cast<std::uint32_t>(value));

  for (const std::uint32_t id : subject.ids)
    for (const std::uint32_t word : words)
      for (std::size_t phase = 0; phase < 4; ++phase) {
        Report report{id, std::string(subject.size, '\0')};
        for (std::size_t i = 0; i < subject.size; ++i)
          report.bytes[i] = static_cast<char>(word >> 8 * ((i + phase) % 4));
        report.bytes[0] = static_cast<char>(id);
        reports.push_back(report);
      }
  return reports;
}

}  // namespace bench
