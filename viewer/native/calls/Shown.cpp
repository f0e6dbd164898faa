#include "viewer/native/calls/Shown.h"

#include <string>
#include <type_traits>
#include <variant>

#include "host/Kinds.h"
#include "host/columns/Table.h"

namespace vesk::viewer {

namespace {

/// `value` as a number of the C type that `kind` names.
template <class Value>
void put(Reply& reply, std::int32_t kind, Value value) {
  host::withValues(kind, nullptr, 0, [&](auto numbers) {
    using Number = std::remove_cvref_t<decltype(*numbers.data())>;
    reply.number(static_cast<Number>(value));
  });
}

}  // namespace

void Shown::putTo(Reply& reply) const {
  reply.u32(_fields.size());
  for (const host::Field& field : _fields) {
    reply.text(field.key);
    reply.u8(field.value.index());
    if (const auto* const number = std::get_if<vesk_number>(&field.value)) {
      reply.u8(static_cast<std::size_t>(number->kind));
      host::withValue(*number, [&](auto value) { put(reply, number->kind, value); });
    } else if (const auto* const text = std::get_if<std::string>(&field.value)) {
      reply.text(*text);
    } else if (const auto* const array = std::get_if<host::ArrayValue>(&field.value)) {
      reply.u8(static_cast<std::size_t>(array->kind));
      reply.u32(array->count);
      reply.append(array->values(), array->count * host::sizeOfKind(array->kind));
    }
  }
  reply.u32(_lines.size());
  for (const host::Field& line : _lines) reply.text(std::get<std::string>(line.value));
}

void Shown::writeChecked(const host::Report& /*report*/, const host::ReportInfo& info) {
  _lines = fieldsOf(decodeLines(info));
  _fields = fieldsOf(decode(info, host::Plugin::Mode::Object));
}

}  // namespace vesk::viewer
