/// Rows of bytes as lines of text show them, and the reports that they are.
///
/// Most often a row is a report. A report that is longer than a row of the program that wrote it
/// stands in several, and nothing but its ID tells so: what looks like the report 0xDE may be the
/// third row of an image frame. Rows one behind the other, all of one length but for a shorter last
/// one, are a run, and these rules hold for it:
///
/// - If the first row's ID demands more bytes than the row has, the whole run is that report, if it
///   has exactly the bytes that the ID demands and no later row begins with the same ID. If not, it
///   is one problem.
/// - In any other run a row with more bytes than its ID demands is a report only if zeros fill it up.
#pragma once

#include <optional>
#include <variant>
#include <vector>

#include "host/inputs/Input.h"

namespace vesk::host {

struct Row {
  std::vector<std::uint8_t> bytes;  // never empty
  std::uint64_t line = 0;           // that it begins in
  std::optional<ReportType> type;
  std::optional<std::int64_t> microseconds;
  bool apart = false;    // it does not go on with what the row before it began
  bool whole = false;    // it is a report and no part of one, as the form itself says
  bool unnamed = false;  // nothing but its ID says that it is a report
  bool exact = false;    // it is whole, and what is behind the report's layout must be zeros
};

/// A form that shows reports in rows.
class RowInput : public Input {
 public:
  /// What there is next in the text.
  using Next = std::variant<End, Row, Problem>;

  Item next() final;

 protected:
  explicit RowInput(const KnownReports& known) : _known(known) {}

  /// An empty vector for the bytes of a row, with the memory of one that is no longer needed.
  std::vector<std::uint8_t> spare();

 private:
  /// A problem ends a run, as the end does.
  virtual Next nextRow() = 0;

  Next take();
  const Row* following();
  Item report(Row row);
  Item single(Row row, const ReportInfo* info, bool inRun);
  Item inSeveral(Row first, const ReportInfo& info);
  void passRun();

  const KnownReports& _known;
  std::optional<Next> _next;  // looked at already
  Row _given;                 // the report handed out last
  std::size_t _width = 0;     // of the rows of the run at hand; 0 behind its end
  bool _passRun = false;      // what is left of it was told of
};

}  // namespace vesk::host
