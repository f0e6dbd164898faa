// Tables: any bytes, read as whatever they look like or as each form, fill tables whose rows are what
// the reports say by themselves, in whatever parts they are handed over.

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/Given.h"
#include "fuzz/known.h"
#include "host/Kinds.h"
#include "host/Value.h"
#include "host/columns/Columns.h"
#include "host/read/MemoryBytes.h"
#include "host/read/Reader.h"

namespace vesk::fuzz {
namespace {

host::Collector nowhere;

host::Plugin& plugin() {
  static host::Plugin made(library(), {});
  return made;
}

/// What a column holds in a row, as bytes.
std::string_view cell(const host::Table& table, const host::Column& column, std::size_t row) {
  return {reinterpret_cast<const char*>(table.rowAt(row)) + column.offset, column.size()};
}

std::string_view textOf(const host::Table& table, const host::Column& column, std::size_t row,
                        const host::Texts& texts) {
  demand(column.isText && column.size() == 4, "a text is a number");
  std::uint32_t number = 0;
  std::memcpy(&number, cell(table, column, row).data(), sizeof number);
  demand(number < texts.count(), "a text's number has a text");
  return texts.text(number);
}

/// A number by itself, as the bytes that a column has of it.
std::string bytesOf(const vesk_number& number) {
  std::string bytes;
  host::withValues(number.kind, nullptr, 0, [&](auto numbers) {
    host::withValue(number, [&](auto value) {
      const auto typed = static_cast<std::remove_cvref_t<decltype(*numbers.data())>>(value);
      bytes.assign(reinterpret_cast<const char*>(&typed), sizeof typed);
    });
  });
  return bytes;
}

bool isSame(const host::Table& table, const host::Column& column, std::size_t row,
            const host::Texts& texts, const host::Value& value) {
  if (const auto* number = std::get_if<vesk_number>(&value))
    return column.kind == number->kind && cell(table, column, row) == bytesOf(*number);
  if (const auto* text = std::get_if<std::string>(&value))
    return textOf(table, column, row, texts) == *text;
  const auto& array = std::get<host::ArrayValue>(value);
  return column.kind == array.kind && column.count == array.count &&
         cell(table, column, row) ==
             std::string_view(static_cast<const char*>(array.values()), column.size());
}

/// The row that was added last against the report's object.
void checkRow(const host::Table& table, const host::Texts& texts, const host::Report& report,
              const host::ReportInfo& info) {
  std::vector<std::uint8_t> bytes(report.bytes.begin(), report.bytes.end());
  bytes.resize(std::max(bytes.size(), info.smallest) + 1);
  const auto object =
      plugin().decode({bytes.data(), report.bytes.size()}, info, host::Plugin::Mode::Object);
  if (object.form() == VESK_NIL) return;
  const std::size_t row = table.rows() - 1;
  std::size_t index = host::kCommonColumns;
  for (const host::Field& field : host::fieldsOf(object)) {
    const host::Column& column = table.columns().at(index++);
    demand(isSame(table, column, row, texts, field.value), "a row is the report's object");
  }
  demand(index == table.columns().size(), "an object fills its row");
}

void checkLayout(const host::Table& table) {
  std::size_t end = 0;
  for (const host::Column& column : table.columns()) {
    demand(column.offset >= end, "columns don't overlap");
    demand(column.offset % host::sizeOfKind(column.kind) == 0, "a column is aligned");
    end = column.offset + column.size();
  }
  demand(table.rowSize() >= end && table.rowSize() % 8 == 0, "rows hold their columns, aligned");
}

/// A "*" in a dump may stand for 16 MiB of reports: more of the same tells nothing new.
constexpr int kMostItems = 10'000;

/// Reads all, and hands tables over whenever they have so many rows. How many rows there were.
std::size_t read(const host::InputForm* form, std::string_view given, std::size_t part) {
  host::Columns columns({plugin(), known(), nowhere}, {});
  columns.beginFile("given");
  host::MemoryBytes bytes(given);
  std::size_t rows = 0;
  std::size_t taken = 0;
  const auto take = [&] {
    for (const auto& [decoder, table] : columns.take().byDecoder) {
      checkLayout(*table);
      taken += table->rows();
    }
  };
  try {
    host::Reader reader(bytes, known(), {.form = form});
    for (int items = 0; items < kMostItems; ++items) {
      const host::Item item = reader.next();
      if (std::holds_alternative<host::End>(item)) break;
      const auto* const report = std::get_if<host::Report>(&item);
      if (report == nullptr || columns.write(*report, reader.info())) continue;
      ++rows;
      checkRow(*columns.table(reader.info()->decoder), columns.texts(), *report, *reader.info());
      if (columns.rows() == part) take();
    }
  } catch (const host::InputFault&) {
  }
  take();
  demand(taken == rows, "each report is one row");
  return rows;
}

void check(std::string_view given) {
  const std::size_t rows = read(nullptr, given, 1 << 20);
  demand(read(nullptr, given, 1 + given.size() % 3) == rows, "parts are as many rows as the whole");
  const auto forms = host::inputForms();
  read(&forms[given.size() % forms.size()], given, 2);
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::check({reinterpret_cast<const char*>(data), size});
  return 0;
}
