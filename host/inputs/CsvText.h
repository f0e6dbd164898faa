/// Tables with a column of bytes, as logic analyzers export them:
///
///     name,type,start_time,duration,data
///     "I2C","data",0.016667,0.000200,0xDE01
///
/// A row is a report. Columns are known by their names in the first line.
#pragma once

#include "host/inputs/Rows.h"

namespace vesk::host {

class CsvText final : public RowInput {
 public:
  CsvText(Bytes& bytes, const InputContext& context) : RowInput(context.known), _lines(bytes) {}

  /// Whether a text begins so.
  static bool begins(const TextHead& head, const KnownReports& known);

 private:
  /// Which columns there are.
  struct Columns {
    char separator;
    std::size_t data;
    std::optional<std::size_t> seconds;
  };

  Next nextRow() override;
  static std::optional<Columns> columnsOf(std::string_view names);

  LineReader _lines;
  std::optional<Columns> _columns;
  bool _ended = false;
};

}  // namespace vesk::host
