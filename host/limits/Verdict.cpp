#include "host/limits/Verdict.h"

#include <algorithm>

namespace vesk::host {

namespace {

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

}  // namespace

std::size_t Verdict::count() const {
  std::size_t sum = 0;
  for (const PanelResults& panel : panels) sum += panel.tests.size();
  return sum;
}

std::size_t Verdict::count(LimitResult::Outcome outcome) const {
  std::ptrdiff_t sum = 0;
  for (const PanelResults& panel : panels)
    sum += std::ranges::count(panel.tests, outcome, &LimitResult::outcome);
  return static_cast<std::size_t>(sum);
}

std::string Verdict::nameOf(const PanelResults& panel) const {
  if (panels.size() == 1 || !panel.device) return file;
  return file + ", device " + std::to_string(panel.device->bus) + ":" +
         std::to_string(panel.device->device);
}

std::string Verdict::summary() const {
  const std::size_t failed = count(LimitResult::Outcome::Failed);
  const std::size_t skipped = count(LimitResult::Outcome::Skipped);
  std::string text = failed == 0 ? "PASS, " : "FAIL, " + std::to_string(failed) + " of ";
  text += counted(count(), "test");
  if (skipped != 0) text += ", " + std::to_string(skipped) + " skipped";
  return text;
}

std::string nameOf(const LimitResult& result) {
  return result.report.empty() ? result.test : result.report + " " + result.test;
}

std::string fullComplaint(const LimitResult& result) {
  if (result.reports < 2) return result.complaint;
  return result.complaint + "; " + std::to_string(result.failures) + " of " +
         counted(static_cast<std::size_t>(result.reports), "report");
}

}  // namespace vesk::host
