#include "host/outputs/Table.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include "host/writing/Colour.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

constexpr std::size_t kBetween = 2;   // blanks between columns
constexpr std::size_t kWidest = 76;   // where the last column may begin
constexpr std::size_t kManyRows = 8;  // of which a few may not align
constexpr std::size_t kMuch = 4;      // characters that are worth a row that doesn't align

/// Characters of UTF-8, each of which takes a place.
std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(std::ranges::count_if(
      text, [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; }));
}

}  // namespace

void Table::add(std::vector<std::string> cells) {
  for (std::string& cell : cells) cell = printable(cell);
  _rows.push_back(std::move(cells));
}

std::vector<std::size_t> Table::widths() const {
  std::vector<std::size_t> widths;
  std::vector<std::size_t> usual;
  for (std::size_t column = 0; column < _heads.size(); ++column) {
    std::vector<std::size_t> found;
    for (const auto& row : _rows)
      if (column < row.size() && !row[column].empty()) found.push_back(widthOf(row[column]));
    std::ranges::sort(found);
    const std::size_t head = widthOf(_heads[column]);
    widths.push_back(found.empty() ? head : std::max(head, found.back()));
    const bool isLong = found.size() >= kManyRows;
    usual.push_back(isLong ? std::max(head, found[(found.size() - 1) * 19 / 20]) : widths.back());
  }
  const std::size_t lastBegins =
      std::accumulate(widths.begin(), widths.end() - 1, kBetween * (widths.size() - 1));
  if (lastBegins > kWidest)
    for (std::size_t column = 0; column < widths.size(); ++column)
      if (widths[column] > usual[column] + kMuch) widths[column] = usual[column];
  return widths;
}

std::string Table::text(bool colours) const {
  const std::vector<std::size_t> columns = widths();
  std::string text;
  const auto addRow = [&](const std::vector<std::string>& cells, bool isHead) {
    std::size_t blanks = 0;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::string& cell = cells[i];
      const std::size_t width = widthOf(cell);
      if (!cell.empty()) {
        text.append(std::exchange(blanks, 0), ' ');
        if (colours && (isHead || i == 0))
          text += coloured(isHead ? Colour::Bold : Colour::Cyan, cell);
        else
          text += cell;
      }
      blanks += kBetween + (width < columns[i] ? columns[i] - width : 0);
    }
    text += '\n';
  };
  addRow(_heads, true);
  for (const auto& row : _rows) addRow(row, false);
  return text;
}

}  // namespace vesk::host
