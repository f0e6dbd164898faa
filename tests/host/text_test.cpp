// The host writes a report's lines as a block of its own making. It must be what the plug-in's own
// printing prints, to the byte.

#include "host/outputs/Text.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "host/inputs/Forms.h"
#include "host/outputs/Forms.h"
#include "host/run/DescriptorSink.h"
#include "host/run/FileBytes.h"

namespace vesk::host {
namespace {

/// What is written to standard output while `work` runs.
template <class Work>
std::string printed(const Work& work) {
  testing::internal::CaptureStdout();
  work();
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

void expectSameText(const std::vector<std::string>& arguments) {
  const PluginLibrary library{VESK_PLUGIN};
  const vesk_plugin_api& api = library.api();
  vesk_plugin* other = nullptr;
  ASSERT_EQ(api.create(&other), VESK_OK);
  if (!arguments.empty()) {
    const char* const argument = arguments.front().c_str();
    int accepted = 0;
    ASSERT_EQ(api.parse_args(other, 1, &argument, &accepted), VESK_OK);
  }

  Plugin plugin(library, arguments);
  const KnownReports known(plugin.reports());
  FileBytes bytes(VESK_SAMPLES "/forms/tour.bin",
                  [](const FileBytes&, bool) { return std::nullopt; });
  const auto input = openInput(*inputFormNamed("binary"), bytes, {known});
  int reports = 0;
  for (Item item = input->next(); !std::holds_alternative<End>(item); item = input->next()) {
    const auto& report = std::get<Report>(item);
    const ReportInfo* info = known.find(report.id(), report.type);
    const std::string ours = printed([&] {
      DescriptorSink sink(STDOUT_FILENO);
      TextOutput output({plugin, known, sink});
      EXPECT_EQ(output.write(report, info), std::nullopt);
      sink.flush();
    });
    const std::string theirs = printed([&] {
      int lines = 0;
      api.parse_report(other,
                       report.bytes.data(),
                       report.id(),
                       static_cast<int>(*report.type),
                       static_cast<std::int64_t>(report.bytes.size()),
                       &lines);
    });
    EXPECT_EQ(ours, theirs) << describe(report.id(), report.type);
    ++reports;
  }
  EXPECT_GT(reports, 0);
  api.destroy(other);
}

TEST(Text, IsWhatThePluginPrints) { expectSameText({}); }

TEST(Text, IsWhatThePluginPrintsInDecimal) { expectSameText({"-decimal"}); }

TEST(OutputForms, RowsAreWhole) {
  for (const OutputForm& form : outputForms()) {
    EXPECT_EQ(outputFormNamed(form.name), &form) << "two forms are named " << form.name;
    if (!form.alias.empty()) {
      EXPECT_EQ(outputFormNamed(form.alias), &form) << form.alias;
    }
    EXPECT_FALSE(form.description.empty()) << form.name;
    EXPECT_NE(form.make, nullptr) << form.name;
  }
  EXPECT_EQ(outputFormNamed(""), nullptr);
  EXPECT_EQ(outputFormNamed("hid"), outputFormNamed("recording"));
}

TEST(Plugin, RefusesOptionsThatItDoesNotHave) {
  const PluginLibrary library{VESK_PLUGIN};
  const std::string said = printed([&] { EXPECT_THROW(Plugin(library, {"-x"}), PluginFault); });
  EXPECT_NE(said.find("Invalid option: -x"), std::string::npos);
}

TEST(Plugin, VisitorsMayThrow) {
  struct Thrower {
    int calls = 0;
    void nil() {}
    void dictionaryBegin() {}
    void dictionaryEnd() {}
    void key(std::string_view) {}
    void number(const vesk_number&) {}
    void array(std::int32_t, const void*, std::size_t) {}
    void string(std::string_view) {
      ++calls;
      throw std::runtime_error("enough");
    }
  };
  const PluginLibrary library{VESK_PLUGIN};
  Plugin plugin(library, {});
  const KnownReports known(plugin.reports());
  const std::uint8_t version[] = {
      0xD2, 'a', '\n', 'b', '\n', 'c', '\n', 'd', '\n', 'e', '\n', 'f', 0};
  const ReportInfo& info = *known.find(0xD2, ReportType::Feature);
  const Decoded result = plugin.decode(version, info, Plugin::Mode::Text);
  Thrower thrower;
  EXPECT_THROW(result.visit(thrower), std::runtime_error);
  EXPECT_EQ(thrower.calls, 1);
}

}  // namespace
}  // namespace vesk::host
