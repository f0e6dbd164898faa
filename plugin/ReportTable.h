/// A table from report IDs to names: which decoder reads a report, or what a report is called.
///
/// The keys are numbers and compare by value: a table made with int keys is searched with unsigned
/// ones.
///
///     const vesk::ReportTable table{{0xD0, "parseVersion"}, {0xE1, "parseBlackBoxFullReport"}};
///     table.find(0xD0u);  // points to "parseVersion"
///     table.find(0x76u);  // null
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "model/Number.h"

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
    for (Row& row : _rows)
      if (row.first == id) {
        row.second = std::move(name);
        return;
      }
    _rows.emplace_back(id, std::move(name));
    for (unsigned small = 0; small < _rowOf.size(); ++small)
      if (id == Number(small)) _rowOf[small] = static_cast<std::uint32_t>(_rows.size());
  }

  /// The name under `id`, valid until the table changes; null if there is none.
  const std::string* find(Number id) const {
    if (!id.isReal() && id.bits() < _rowOf.size()) {
      const std::size_t row = std::size_t{_rowOf[static_cast<std::size_t>(id.bits())]} - 1;
      return row < _rows.size() ? &_rows[row].second : nullptr;
    }
    for (const Row& row : _rows)
      if (row.first == id) return &row.second;
    return nullptr;
  }

  std::size_t size() const { return _rows.size(); }

  /// Rows in the order in which they were added.
  auto begin() const { return _rows.begin(); }
  auto end() const { return _rows.end(); }

 private:
  std::vector<Row> _rows;
  // For the IDs of one byte, by which reports are dispatched: the number of the row plus one.
  std::array<std::uint32_t, 256> _rowOf{};
};

}  // namespace vesk
