/// A wire field as the argument of a printf format: it converts as its value.
#pragma once

#include "model/wire.h"
#include "text/format_convert.h"

template <class T>
struct vesk::format::Argument<vesk::wire::Field<T>> {
  static T value(const wire::Field<T>& argument) { return argument.value(); }
};
