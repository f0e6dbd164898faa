/// A table from report IDs to names: which decoder reads a report, or what a report is called.
///
/// The keys are numbers and compare by value: a table made with int keys is searched with unsigned
/// ones.
///
///     const vesk::ReportTable table{{0xD0, "parseVersion"}, {0xE1, "parseBlackBoxFullReport"}};
///     table.find(0xD0u);  // points to "parseVersion"
///     table.find(0x76u);  // null
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "plugin/Number.h"

namespace vesk {

class ReportTable {
 public:
  using Row = std::pair<Number, std::string>;

  ReportTable() = default;
  ReportTable(std::initializer_list<Row> rows) {
    for (const Row& row : rows) set(row.first, row.second);
  }

  /// Adds a row, or replaces the name of an equal key.
  void set(Number id, std::string name) {
    const auto row = std::ranges::find(_rows, id, &Row::first);
    if (row != _rows.end())
      row->second = std::move(name);
    else
      _rows.emplace_back(id, std::move(name));
  }

  /// The name under `id`, valid until the table changes; null if there is none.
  const std::string* find(Number id) const {
    const auto row = std::ranges::find(_rows, id, &Row::first);
    return row != _rows.end() ? &row->second : nullptr;
  }

  std::size_t size() const { return _rows.size(); }

  /// Rows in the order in which they were added.
  auto begin() const { return _rows.begin(); }
  auto end() const { return _rows.end(); }

 private:
  std::vector<Row> _rows;  // a dozen rows: a walk beats a hash
};

}  // namespace vesk
