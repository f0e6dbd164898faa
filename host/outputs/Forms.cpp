#include "host/outputs/Forms.h"

#include <algorithm>
#include <array>

#include "host/outputs/Csv.h"
#include "host/outputs/Json.h"
#include "host/outputs/Junit.h"
#include "host/outputs/Recording.h"
#include "host/outputs/Results.h"
#include "host/outputs/Tap.h"
#include "host/outputs/Text.h"

namespace vesk::host {

namespace {

template <class Form, auto... arguments>
std::unique_ptr<Output> made(const OutputContext& context) {
  return std::make_unique<Form>(context, arguments...);
}

using enum JsonOutput::Framing;

constexpr auto kForms = std::to_array<OutputForm>({
    {"text", "lines for people, as the plug-in prints them", Threads::IfAsked, made<TextOutput>},
    {"ndjson", "a JSON record a line", Threads::ForLargeFiles, made<JsonOutput, Lines>},
    {"json", "the same records in one array", Threads::One, made<JsonOutput, Array>},
    {"csv", "a table of the reports of one decoder", Threads::One, made<CsvOutput>},
    {"recording", "a recording, undecoded", Threads::One, made<RecordingOutput>, "hid"},
    {"tap", "with --limits, each test as TAP has it", Threads::One, made<TapOutput>, {}, true},
    {"results", "with --limits, a table of the tests", Threads::One, made<ResultsOutput>, {}, true},
    {"junit", "with --limits, the tests for CI servers", Threads::One, made<JunitOutput>, {}, true},
});

}  // namespace

std::span<const OutputForm> outputForms() { return kForms; }

const OutputForm* outputFormNamed(std::string_view name) {
  const auto isNamed = [&](const OutputForm& form) {
    return name == form.name || (!form.alias.empty() && name == form.alias);
  };
  const auto found = std::ranges::find_if(kForms, isNamed);
  return found == kForms.end() ? nullptr : &*found;
}

}  // namespace vesk::host
