#include <iostream>

#include "plugin/HIDReportVeskPlugin.h"

int main() {
  const auto plugin = vesk::HIDReportVeskPlugin::init();
  char report[] = {'\xDE', 1};
  const auto result = plugin->reportToObject(report, 0xDE, vesk::kFeature, sizeof report);
  std::cout << result.object()->string() << '\n';
}
