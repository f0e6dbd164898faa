// vesk-bench: what a decode costs, beside the ordinary ways of doing the same and beside a mere
// copy of the result.
//
//     vesk-bench --check [COUNT]     only compares the decoders with the references
//     vesk-bench [BENCHMARK OPTION]  compares them on a few reports, then measures
//
// A measurement is named MODE/REPORT/VALUES/WAY. The ways of text mode: ordinary (snprintf into a
// vector of strings), fmt ({fmt} into one), ours, and limit (malloc, memcpy of the finished text,
// free). Those of object mode: ordinary (a map of variants), dom (an nlohmann::json), ours, and
// limit (new, memcpy of the report, delete). Every way makes the result of one report and destroys
// it. scripts/bench runs all of this and compares.

#include <benchmark/benchmark.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/check.h"
#include "bench/reference.h"
#include "bench/reports.h"
#include "plugin/HIDReportVeskPlugin.h"

namespace bench {

namespace {

/// So many that a processor does not learn the values by heart, and so few that they stay in its
/// second cache.
constexpr std::size_t kReports = 64;

/// The reports of one measurement, and the text of each.
struct Data {
  std::vector<Report> reports;
  std::vector<std::string> texts;
  double meanTextSize = 0;

  Data(const Subject& subject, Values values) {
    Random random;
    for (std::size_t i = 0; i < kReports; ++i) {
      reports.push_back(makeReport(subject, values, random));
      std::string text;
      for (const std::string& line :
           subject.reference->text(reports[i].bytes.data(), {reports[i].id, subject.decimal}))
        text += line + '\n';
      meanTextSize += static_cast<double>(text.size()) / kReports;
      texts.push_back(text);
    }
  }
};

/// Calls make(i) for the reports in turn.
template <class Make>
void measure(benchmark::State& state, const Make& make) {
  std::size_t i = 0;
  for ([[maybe_unused]] auto iteration : state) {
    auto result = make(i);
    benchmark::DoNotOptimize(result);
    i = (i + 1) % kReports;
  }
}

void measureOurs(benchmark::State& state, const Subject& subject, Data& data, bool useStrings) {
  const auto plugin = vesk::HIDReportVeskPlugin::init();
  plugin->setUseStrings(useStrings);
  plugin->setDisplayDecimal(subject.decimal);
  measure(state, [&](std::size_t i) {
    Report& report = data.reports[i];
    return plugin->reportToObject(report.bytes.data(),
                                  report.id,
                                  subject.type,
                                  static_cast<std::int64_t>(report.bytes.size()));
  });
}

struct Free {
  void operator()(char* block) const { std::free(block); }
};

struct Delete {
  void operator()(char* block) const { ::operator delete(block); }
};

void measureTextLimit(benchmark::State& state, const Data& data) {
  measure(state, [&](std::size_t i) {
    const std::string& text = data.texts[i];
    std::unique_ptr<char, Free> block(static_cast<char*>(std::malloc(text.size())));
    std::memcpy(block.get(), text.data(), text.size());
    benchmark::ClobberMemory();
    return block;
  });
}

void measureObjectLimit(benchmark::State& state, const Data& data) {
  measure(state, [&](std::size_t i) {
    const std::string& bytes = data.reports[i].bytes;
    std::unique_ptr<char, Delete> block(static_cast<char*>(::operator new(bytes.size())));
    std::memcpy(block.get(), bytes.data(), bytes.size());
    benchmark::ClobberMemory();
    return block;
  });
}

template <class Run>
void add(const std::string& name, const std::shared_ptr<Data>& data, const Run& run) {
  benchmark::RegisterBenchmark(name.c_str(), [data, run](benchmark::State& state) {
    run(state, *data);
    state.counters["text_bytes"] = data->meanTextSize;
  });
}

void addAll() {
  for (const Subject& subject : subjects())
    for (const Values values : {Values::Plausible, Values::Random}) {
      const auto data = std::make_shared<Data>(subject, values);
      const std::string row =
          std::string(subject.name) + (values == Values::Plausible ? "/plausible/" : "/random/");
      const reference::Reference& reference = *subject.reference;
      const bool decimal = subject.decimal;

      const auto addWay = [&](const std::string& mode, const char* way, auto* make) {
        if (make == nullptr) return;
        add(mode + row + way, data, [make, decimal](benchmark::State& state, Data& d) {
          measure(state, [&](std::size_t i) {
            return make(d.reports[i].bytes.data(), {d.reports[i].id, decimal});
          });
        });
      };
      addWay("text/", "ordinary", reference.text);
      addWay("text/", "fmt", reference.fmtText);
      add("text/" + row + "ours", data, [&subject](benchmark::State& state, Data& d) {
        measureOurs(state, subject, d, true);
      });
      add("text/" + row + "limit", data, measureTextLimit);

      if (!subject.hasObject()) continue;
      addWay("object/", "ordinary", reference.object);
      addWay("object/", "dom", reference.dom);
      add("object/" + row + "ours", data, [&subject](benchmark::State& state, Data& d) {
        measureOurs(state, subject, d, false);
      });
      add("object/" + row + "limit", data, measureObjectLimit);
    }
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
  constexpr std::uint64_t few = 100;
  if (argc > 1 && std::string_view(argv[1]) == "--check") {
    std::uint64_t count = 2000;
    if (argc > 2) {
      const char* const end = argv[2] + std::strlen(argv[2]);
      const auto [stop, error] = std::from_chars(argv[2], end, count);
      if (error != std::errc() || stop != end || argc > 3) {
        std::fputs("usage: vesk-bench --check [COUNT]\n", stderr);
        return 2;
      }
    }
    return bench::check(count) ? 0 : 1;
  }

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  if (!bench::check(few)) return 1;
  bench::addAll();
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
