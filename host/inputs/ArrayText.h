/// Reports as arrays in a program's source:
///
///     static const uint8_t report[] = {
///         0xDE,  // its ID
///         1,
///     };
///
/// The innermost braces are a report each.
#pragma once

#include "host/inputs/Rows.h"

namespace vesk::host {

class ArrayText final : public RowInput {
 public:
  ArrayText(Bytes& bytes, const InputContext& context) : RowInput(context.known), _lines(bytes) {}

  /// Whether a text begins so.
  static bool begins(const TextHead& head, const KnownReports& known);

 private:
  Next nextRow() override;
  std::optional<Next> takeFrom(std::uint64_t line);
  std::optional<Problem> addElement(std::string_view element, std::uint64_t line);

  LineReader _lines;
  std::uint64_t _line = 0;  // being read
  std::string _text;        // of it, without comments
  std::size_t _taken = 0;
  std::optional<Row> _row;  // within its braces
  bool _inComment = false;  // one that goes on
  bool _bad = false;        // an element of the row was
  bool _found = false;      // there was a brace
};

}  // namespace vesk::host
