// All that a program does with what the decoders give: it reads lines and objects, and appends lines.

#include <cstdint>
#include <iostream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "plugin/HIDReportVeskPlugin.h"

namespace {

struct Printed {
  std::string operator()(const vesk::Number& number) const {
    return number.isReal() ? std::to_string(number.real()) : std::to_string(number.bits());
  }
  std::string operator()(std::string_view text) const { return '"' + std::string(text) + '"'; }
  std::string operator()(const vesk::NumberSpan& numbers) const {
    std::string text;
    for (std::size_t i = 0; i < numbers.size(); ++i) text += (*this)(numbers[i]) + ' ';
    return text;
  }
};

void print(const vesk::ReportObject& object) {
  for (std::size_t i = 0; i < object.size(); ++i)
    std::cout << object.key(i) << ": " << std::visit(Printed(), object.value(i)) << '\n';
}

}  // namespace

int main() {
  const auto plugin = vesk::HIDReportVeskPlugin::init();

  // The state of an ADC dump: a string, and a line.
  char state[] = {'\xDE', 2};
  vesk::Result result = plugin->reportToObject(state, 0xDE, vesk::kFeature, sizeof state);
  std::cout << result.object()->string() << '\n';
  plugin->setUseStrings(true);
  result = plugin->reportToObject(state, 0xDE, vesk::kFeature, sizeof state);
  std::cout << result.lines()->text() << (*result.lines())[0].size() << '\n';

  // The configuration of an ADC dump, whose start address is 7: numbers and a string.
  plugin->setUseStrings(false);
  std::vector<char> config(
      vesk::HIDReportVeskPlugin::decoderInfo("parseAdcDumpConfig")->smallestBuffer);
  config[1] = 7;
  result = plugin->reportToObject(config.data(), 0xDC, vesk::kFeature, std::ssize(config));
  print(*result.object());
  std::cout << result.object()->find("NO_SUCH_KEY").has_value() << '\n';

  // A baseline: an array.
  std::vector<char> baseline(193);
  result = plugin->reportToObject(baseline.data(), 0xA2, vesk::kFeature, 193);
  std::cout << std::get<vesk::NumberSpan>(result.object()->at("BASELINE")).size() << '\n';

  // The value arrays append to a program's own lines.
  const vesk::u32 values[] = {vesk::u32::of(1), vesk::u32::of(0xABCD)};
  vesk::LineList lines;
  lines.add("values:");
  plugin->addArrayUint32(lines, values, 2, "%08x ");
  lines.add(std::string(3, '-'));
  std::cout << lines.text();
  std::cout << Printed()(plugin->arrayWithUint32Array(values, 2).span()) << '\n';
}
