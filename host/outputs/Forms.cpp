#include "host/outputs/Forms.h"

#include <algorithm>
#include <array>

#include "host/outputs/Changes.h"
#include "host/outputs/Csv.h"
#include "host/outputs/Explain.h"
#include "host/outputs/Html.h"
#include "host/outputs/Json.h"
#include "host/outputs/JsonChanges.h"
#include "host/outputs/Junit.h"
#include "host/outputs/Recording.h"
#include "host/outputs/Results.h"
#include "host/outputs/Screen.h"
#include "host/outputs/Tap.h"
#include "host/outputs/Text.h"

namespace vesk::host {

namespace {

template <class Form, auto... arguments>
std::unique_ptr<Output> made(const OutputContext& context) {
  return std::make_unique<Form>(context, arguments...);
}

using enum JsonOutput::Framing;

/// Records of reports, or of changes where those are wanted.
template <JsonOutput::Framing framing>
std::unique_ptr<Output> madeJson(const OutputContext& context) {
  if (context.changes != nullptr) return made<JsonChangesOutput, framing>(context);
  return made<JsonOutput, framing>(context);
}

constexpr auto kForms = std::to_array<OutputForm>({
    {"text", "lines for people, as the plug-in prints them", Threads::IfAsked, made<TextOutput>},
    {"ndjson", "a JSON record a line", Threads::ForLargeFiles, madeJson<Lines>},
    {"json", "the same records in one array", Threads::One, madeJson<Array>},
    {"csv", "a table of the reports of one decoder", Threads::One, made<CsvOutput>},
    {"changes",
     "what differs from the report before",
     Threads::One,
     made<ChangesOutput>,
     {},
     ElementsShown::IfAsked},
    {"explain",
     "which byte of each report says what",
     Threads::One,
     made<ExplainOutput>,
     {},
     ElementsShown::IfAsked},
    {"recording", "a recording, undecoded", Threads::One, made<RecordingOutput>, "hid"},
#ifndef VESK_PAGE  // a page makes none
    {"html",
     "a page for a browser that shows the reports inside",
     Threads::One,
     made<HtmlOutput>,
     {},
     ElementsShown::Never,
     Needs::Page},
#endif
    {"screen",
     "the latest frame as a picture on the terminal",
     Threads::One,
     made<ScreenOutput>,
     {},
     ElementsShown::Never,
     Needs::Terminal},
    {"tap",
     "with --limits, each test as TAP has it",
     Threads::One,
     made<TapOutput>,
     {},
     ElementsShown::Never,
     Needs::Limits},
    {"results",
     "with --limits, a table of the tests",
     Threads::One,
     made<ResultsOutput>,
     {},
     ElementsShown::Never,
     Needs::Limits},
    {"junit",
     "with --limits, the tests for CI servers",
     Threads::One,
     made<JunitOutput>,
     {},
     ElementsShown::Never,
     Needs::Limits},
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
