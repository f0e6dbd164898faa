/// All reports of one decoder as a table: a row a report, a column a key of its object.
///
/// A row is a struct of the columns' numbers, each aligned for its kind, in the machine's byte order;
/// all rows lie in one block, so that a column is a view of it with the row's size as its stride:
///
///     const Column& column = *table.find("D_SCAN_I");  // 48 numbers of VESK_INT
///     const auto* samples = reinterpret_cast<const std::int32_t*>(table.rowAt(7) + column.offset);
///
/// In front of the report's own columns stand those of every table:
///
///     time       VESK_LONG_LONG      microseconds; kNoTime where the input tells none
///     report_id  VESK_UNSIGNED_CHAR  one decoder may read two IDs
///     source     VESK_UNSIGNED_INT   of the file, a text
///     device     VESK_UNSIGNED_INT   of who sent it, a text; empty where the input doesn't tell
///     place      VESK_UNSIGNED_LONG_LONG  where in the file, in the unit that `source` has
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/columns/Block.h"
#include "plugin/vesk_plugin.h"

namespace vesk::host {

inline constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();

struct Column {
  std::string name;
  std::int32_t kind =
      VESK_BOOL;          // a vesk_kind: of numbers, or VESK_UNSIGNED_INT of a text's number
  std::size_t count = 1;  // numbers in a row
  bool isArray = false;
  bool isText = false;     // its numbers are those of Texts
  std::size_t offset = 0;  // in a row, in bytes

  std::size_t size() const;  // in bytes, of a row's
};

/// Texts by number, each of which is kept once. The first one, of number 0, is empty.
class Texts {
 public:
  Texts();
  Texts(const Texts&) = delete;
  Texts& operator=(const Texts&) = delete;

  std::uint32_t numberOf(std::string_view text);
  const std::string& text(std::uint32_t number) const { return *_texts.at(number); }
  std::size_t count() const { return _texts.size(); }

 private:
  struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
  };
  std::unordered_map<std::string, std::uint32_t, Hash, std::equal_to<>> _numbers;
  std::vector<const std::string*> _texts;  // the map's keys, which stay where they are
};

class Table {
 public:
  /// A table of these columns behind those of every table. Their offsets are set here. One that has
  /// the name of another has "_" behind it.
  explicit Table(std::vector<Column> columns);

  const std::vector<Column>& columns() const { return _columns; }

  /// Null if there is no such column.
  const Column* find(std::string_view name) const;

  /// In bytes; a multiple of 8.
  std::size_t rowSize() const { return _rowSize; }
  std::size_t rows() const { return _rows; }

  const std::byte* rowAt(std::size_t row) const { return _block.data() + row * _rowSize; }

  /// Room for the next row, which is part of the table from commitRow() on: all of its columns must
  /// have been written by then. Throws std::bad_alloc.
  std::byte* nextRow();
  void commitRow() { ++_rows; }

  /// Gives back the memory behind the last row.
  void fit() { _block.shrink(_rows * _rowSize); }

 private:
  std::vector<Column> _columns;
  std::size_t _rowSize = 0;
  std::size_t _rows = 0;
  Block _block;
};

/// The columns of every table, in their order.
inline constexpr std::size_t kTimeColumn = 0;
inline constexpr std::size_t kReportIdColumn = 1;
inline constexpr std::size_t kSourceColumn = 2;
inline constexpr std::size_t kDeviceColumn = 3;
inline constexpr std::size_t kPlaceColumn = 4;
inline constexpr std::size_t kCommonColumns = 5;

}  // namespace vesk::host
