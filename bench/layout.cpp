// What the map of a kind of report costs (host/layout): it is found by decoding the report some
// thousand times, once a run, and -o explain waits for it. No report should take 20 ms.
//
//     build/bench/bin/vesk-bench-layout --benchmark_repetitions=9

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/KnownReports.h"
#include "host/Plugin.h"
#include "host/layout/LayoutMap.h"

namespace {

using namespace vesk::host;

/// A report of any bytes that its decoder accepts, as -o explain would have it.
std::vector<std::uint8_t> anyReport(const ReportInfo& info) {
  if (info.nulTerminated) {
    const std::string text = "panel-1\nsdk-2\ntoolchain-3\n4\nvendor-5\nalgs-6\n";
    std::vector<std::uint8_t> report{static_cast<std::uint8_t>(info.id)};
    report.insert(report.end(), text.begin(), text.end());
    report.push_back(0);
    return report;
  }
  std::vector<std::uint8_t> report(info.smallest);
  std::uint32_t state = 1;
  for (std::uint8_t& byte : report) {
    state = state * 1664525 + 1013904223;
    byte = static_cast<std::uint8_t>(state >> 24);
  }
  report.front() = static_cast<std::uint8_t>(info.id);
  return report;
}

void measure(benchmark::State& state, Plugin& plugin, const ReportInfo& info) {
  const std::vector<std::uint8_t> report = anyReport(info);
  std::size_t fields = 0;
  for (auto _ : state) fields = layoutOf(plugin, info, report).fields.size();
  state.counters["fields"] = static_cast<double>(fields);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  const PluginLibrary library{std::string(VESK_PLUGIN)};
  Plugin plugin(library, {});
  const KnownReports known(plugin.reports());
  for (const ReportInfo& info : known.all())
    benchmark::RegisterBenchmark(
        (describe(info.id, info.type) + ", " + std::to_string(info.smallest) + " bytes").c_str(),
        [&plugin, &info](benchmark::State& state) { measure(state, plugin, info); })
        ->Unit(benchmark::kMillisecond);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
