/// Rows of cells under heads, for people.
///
///     Table table({"OFFSET", "KEY"});
///     table.add({"1..4", "Count"});
///     std::cout << table.text(false);
///
///     OFFSET  KEY
///     1..4    Count
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vesk::host {

class Table {
 public:
  explicit Table(std::vector<std::string> heads) : _heads(std::move(heads)) {}

  /// A row of as many cells as there are heads; empty ones may be left out at its end. Control
  /// characters in a cell are escaped.
  void add(std::vector<std::string> cells);

  /// Lines, each with its newline. In a table that is too wide for a terminal, a few cells that are
  /// much longer than the others of their column push the rest of their own rows only. `colours`
  /// makes heads and first cells stand out.
  std::string text(bool colours) const;

 private:
  std::vector<std::size_t> widths() const;

  std::vector<std::string> _heads;
  std::vector<std::vector<std::string>> _rows;
};

}  // namespace vesk::host
