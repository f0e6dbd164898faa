/// Reports as tables, one for each decoder.
///
///     Columns columns({plugin, known, sink}, {});
///     columns.beginFile("bench.pcap");
///     for (...) if (const auto problem = columns.write(report, info)) ...
///     const Table* images = columns.table("parseVeskImage");
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/columns/Table.h"
#include "host/outputs/Output.h"

namespace vesk::host {

/// The keys that are kept of a decoder's reports; a decoder that isn't here has all of its keys kept.
using ColumnChoice = std::map<std::string, std::vector<std::string>, std::less<>>;

/// Tables by decoder, and what the numbers of their columns of texts stand for.
struct Tables {
  std::map<std::string, std::unique_ptr<Table>, std::less<>> byDecoder;
  std::unique_ptr<Texts> texts;
};

/// Which columns a decoder's table has is learned from its first report: keys, kinds and lengths of
/// arrays. A later report whose object is another one is refused as one whose decoder failed. A
/// report that is a bare string has the column `value`, and one without an object `lines`, a text of
/// its lines with a newline between them.
class Columns final : public DecodingOutput {
 public:
  Columns(const OutputContext& context, ColumnChoice choice);
  ~Columns() override;

  void beginFile(std::string_view name) override;

  /// The table of a decoder; null while none of its reports came.
  const Table* table(std::string_view decoder) const;

  /// Rows in all tables together.
  std::size_t rows() const { return _rows; }

  /// What the numbers of the columns of texts stand for, in all tables.
  const Texts& texts() const { return *_texts; }

  /// Hands over the tables that have rows, and begins anew without rows and texts. What is known of
  /// the objects' shapes stays.
  Tables take();

 private:
  class Filler;
  struct Entry;
  struct Shape;

  void writeChecked(const Report& report, const ReportInfo& info) override;
  Shape& shapeOf(const ReportInfo& info, const Decoded& object);
  std::unique_ptr<Shape> learn(const ReportInfo& info, const Decoded& object) const;
  std::uint32_t deviceOf(const Report& report);
  void writeCommon(const Report& report, const Table& table, std::byte* row);

  ColumnChoice _choice;
  std::unique_ptr<Texts> _texts;
  std::size_t _rows = 0;
  std::map<std::string, std::unique_ptr<Shape>, std::less<>> _shapes;
  std::map<const ReportInfo*, Shape*> _byInfo;
  std::string _file;
  std::uint32_t _source = 0;         // the number of its name
  std::optional<UsbSender> _sender;  // whose text _device is
  std::uint32_t _device = 0;
};

}  // namespace vesk::host
