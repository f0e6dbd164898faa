/// What a decoder returns: lines (text mode), an object (object mode), or nil (nothing to show).
///
///     if (const vesk::LineList* lines = result.lines()) ...
///     if (const vesk::ReportObject* object = result.object()) ...
///     if (result.isNil()) ...
#pragma once

#include <utility>
#include <variant>

#include "model/LineList.h"
#include "model/ReportObject.h"

namespace vesk {

class Result {
 public:
  /// nil.
  Result() = default;
  Result(LineList lines) : _value(std::move(lines)) {}
  Result(ReportObject object) : _value(std::move(object)) {}

  bool isNil() const { return std::holds_alternative<std::monostate>(_value); }

  /// The lines or the object; null if the result is something else. Valid as long as the result.
  const LineList* lines() const { return std::get_if<LineList>(&_value); }
  const ReportObject* object() const { return std::get_if<ReportObject>(&_value); }

 private:
  std::variant<std::monostate, LineList, ReportObject> _value;
};

}  // namespace vesk
