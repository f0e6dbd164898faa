#include "host/columns/Table.h"

#include <algorithm>
#include <utility>

#include "host/Kinds.h"

namespace vesk::host {

namespace {

constexpr std::size_t kRowAlignment = 8;

std::vector<Column> commonColumns() {
  std::vector<Column> columns(kCommonColumns);
  columns[kTimeColumn] = {"time", VESK_LONG_LONG};
  columns[kReportIdColumn] = {"report_id", VESK_UNSIGNED_CHAR};
  columns[kSourceColumn] = {"source", VESK_UNSIGNED_INT, 1, false, true};
  columns[kDeviceColumn] = {"device", VESK_UNSIGNED_INT, 1, false, true};
  columns[kPlaceColumn] = {"place", VESK_UNSIGNED_LONG_LONG};
  return columns;
}

std::size_t aligned(std::size_t offset, std::size_t alignment) {
  return (offset + alignment - 1) / alignment * alignment;
}

}  // namespace

std::size_t Column::size() const { return count * sizeOfKind(kind); }

Texts::Texts() { numberOf(""); }

std::uint32_t Texts::numberOf(std::string_view text) {
  if (const auto found = _numbers.find(text); found != _numbers.end()) return found->second;
  const auto number = static_cast<std::uint32_t>(_texts.size());
  // Before the map has it: a text that only the map had would share its number with the next one.
  if (_texts.size() == _texts.capacity()) _texts.reserve(2 * _texts.size() + 8);
  const auto added = _numbers.emplace(text, number).first;
  _texts.push_back(&added->first);
  return number;
}

Table::Table(std::vector<Column> columns) : _columns(commonColumns()) {
  for (Column& column : columns) {
    while (find(column.name) != nullptr) column.name += '_';
    _columns.push_back(std::move(column));
  }
  std::size_t end = 0;
  for (Column& column : _columns) {
    column.offset = aligned(end, sizeOfKind(column.kind));
    end = column.offset + column.size();
  }
  _rowSize = aligned(end, kRowAlignment);
}

const Column* Table::find(std::string_view name) const {
  const auto found = std::ranges::find(_columns, name, &Column::name);
  return found == _columns.end() ? nullptr : &*found;
}

std::byte* Table::nextRow() {
  _block.reserve((_rows + 1) * _rowSize);
  return _block.data() + _rows * _rowSize;
}

}  // namespace vesk::host
