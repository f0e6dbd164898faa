/// Reports among other lines, as logs have them:
///
///     [   12.345678] vesk: 00000000: de 01                                            ..
///     11-21 17:02:37.123  1234  1250 D vesk    : report: de 01
///     17:02:37.123 Received: de 01
///
/// Before the digits may stand the log's own time and tag, and a word that says that a report
/// follows. Rows with addresses, as the kernel prints them, are one report from address 0 on. Lines
/// without digits are what logs are made of, and passed over.
#pragma once

#include "host/inputs/Rows.h"

namespace vesk::host {

class LogText final : public RowInput {
 public:
  LogText(Bytes& bytes, const InputContext& context) : RowInput(context.known), _lines(bytes) {}

  /// Whether a text has lines at its beginning that only logs have.
  static bool begins(const TextHead& head, const KnownReports& known);

 private:
  Next nextRow() override;
  Next readRow();

  LineReader _lines;
  std::optional<Row> _dump;     // rows with addresses so far
  std::optional<Next> _behind;  // what came behind them
  bool _apart = true;           // something else stands before the next row
  bool _lost = false;           // rows of a dump are missing, and it was told
  bool _found = false;          // there was a row
  bool _ended = false;
};

}  // namespace vesk::host
