/// What a report says: its lines and the fields of its object.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/Value.h"
#include "host/outputs/Output.h"
#include "viewer/native/Reply.h"

namespace vesk::viewer {

/// Keeps what was decoded last. Its lines stay where only its object can't be made.
class Shown final : public host::DecodingOutput {
 public:
  using DecodingOutput::DecodingOutput;

  /// A count of fields, and for each its key and its form: 0 for nothing, 1 for a number, 2 for a
  /// text, 3 for an array. A number has its vesk_kind and its bytes, an array its kind, its count
  /// and its bytes. Behind them a count of lines, and the lines.
  void putTo(Reply& reply) const;

  const std::vector<host::Field>& fields() const { return _fields; }
  std::size_t lineCount() const { return _lines.size(); }

 private:
  void writeChecked(const host::Report& report, const host::ReportInfo& info) override;

  std::vector<host::Field> _fields;
  std::vector<host::Field> _lines;
};

}  // namespace vesk::viewer
