/// The viewer's page with the reports inside: a file that shows them wherever there is a browser.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/outputs/Output.h"
#include "host/outputs/Page.h"
#include "host/outputs/Recording.h"

namespace vesk::host {

/// Puts a recording of each device of each file into the page, packed, in a block of data that the
/// page opens by itself, and in front of them a block of JSON that says what they are:
///
///     {"program": "1.2.0",          the version that wrote the page
///      "selection": "--type input", options that chose; only if there were some
///      "interrupted": true,         only if it is so
///      "captures": [                in the order in which they came
///        {"block": "capture-1",     the element's id; none where there are no reports
///         "name": "a.pcap",
///         "device": "device 1:5, endpoints 0, 1",  only of a USB capture
///         "reports": 12,
///         "known": 11,              of those, how many have a decoder
///         "untimed": 3}],           how many have no time, and 0.000000 in the recording
///      "problems": [{"where": "a.pcap: packet 7", "what": "..."}],  the first ones of each kind
///      "moreProblems": 0,
///      "verdicts": [               what limits say of each file; only if there were some
///        {"name": "a.pcap",
///         "limits": "Open/short",   their title, if they have one
///         "passed": false, "summary": "FAIL, 1 of 8 tests",
///         "failures": [{"where": "a.pcap:20", "what": "..."}],  the first ones
///         "moreFailures": 0}]}
///
/// Both are in base64, so that nothing that a file says can be markup. Nothing is written before
/// the end: a page is whole, or there is none.
class HtmlOutput final : public Output {
 public:
  explicit HtmlOutput(const OutputContext& context);
  ~HtmlOutput() override;

  void beginFile(std::string_view name) override;
  using Output::write;
  void write(const Problem& problem) override;

  /// The page may be refused in the end, and then people know of failures only what they are told
  /// beside it: false, so that they are told all the same.
  bool writeVerdict(const Verdict& verdict) override;
  void finish() override;
  std::string refusal() const override;

 private:
  struct Capture;
  struct Sum {
    std::uint64_t reports = 0;
    std::uint64_t bytes = 0;
  };
  struct Told {
    std::string where;
    std::string what;
  };
  struct Judged {
    std::string name;
    std::string limits;
    bool passed;
    std::string summary;
    std::vector<Told> failures;
    std::uint64_t moreFailures = 0;
  };

  std::optional<Problem> tryToWrite(const Report& report, const ReportInfo* info) override;
  Capture* captureOf(const Report& report);
  void endCaptures();
  std::string description() const;

  const OutputContext _context;
  const Page& _page;
  std::string _file;  // as it was named
  std::vector<std::string> _files;
  std::vector<std::unique_ptr<Capture>> _captures;
  std::size_t _ended = 0;  // captures of files that are over
  std::uint64_t _bytes = 0;
  std::uint64_t _text = 0;                            // of the recordings
  std::map<std::pair<std::uint32_t, int>, Sum> _ids;  // what comes of each ID and type
  bool _isTooLarge = false;
  std::string _tooMany;  // why there is no page, but for the size; empty if nothing is

  std::map<std::string, std::array<std::uint64_t, kProblemCodes>> _problemsOf;  // by file
  std::vector<Told> _problems;
  std::uint64_t _moreProblems = 0;
  std::vector<Judged> _verdicts;
};

}  // namespace vesk::host
