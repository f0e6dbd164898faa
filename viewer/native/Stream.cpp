#include "viewer/native/Stream.h"

#include <variant>

namespace vesk::viewer {

Stream::Stream(std::int32_t source, const host::InputForm* form, const host::KnownReports& known)
    : _bytes(source), _form(form), _known(known) {}

host::Item Stream::next() {
  if (_ended) return host::End{};
  try {
    return nextItem();
  } catch (const host::InputFault& fault) {
    _ended = true;
    return problemAt({}, host::ProblemCode::UnreadableInput, fault.what());
  }
}

host::Item Stream::nextItem() {
  if (_input == nullptr) {
    if (_form == nullptr) _form = &detectForm(_bytes, _known);
    _input = openInput(*_form, _bytes, {_known, {}});
  }
  host::Item item = _input->next();
  if (auto* const report = std::get_if<host::Report>(&item)) {
    _info = _known.find(report->id(), report->type);
    if (_info != nullptr) report->type = _info->type;
  }
  return item;
}

}  // namespace vesk::viewer
