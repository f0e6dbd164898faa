#include "host/read/Reader.h"

#include <utility>
#include <variant>

#include "host/inputs/Compressed.h"

namespace vesk::host {

Reader::Reader(Bytes& bytes, const KnownReports& known, ReadSettings settings)
    : _known(known), _settings(std::move(settings)), _unpacked(decompressed(bytes)) {
  Bytes& content = _unpacked ? *_unpacked : bytes;
  _form = _settings.form != nullptr ? _settings.form : &detectForm(content, known);
  _input = openInput(*_form, content, {known, _settings.usb});
}

Reader::~Reader() = default;

Item Reader::next() {
  while (!_ended) {
    try {
      Item item = _input->next();
      if (auto* report = std::get_if<Report>(&item)) {
        _info = _known.find(report->id(), report->type);
        if (_info != nullptr) report->type = _info->type;
        if (_settings.wants(*report) && isInWindow(*report)) return item;
      } else if (const auto* problem = std::get_if<Problem>(&item)) {
        if (_settings.selection.has(*problem)) return item;
      } else {
        _ended = true;
      }
    } catch (const InputFault& fault) {
      _ended = true;
      return problemAt({}, ProblemCode::UnreadableInput, fault.what());
    }
  }
  return End{};
}

bool Reader::isInWindow(const Report& report) {
  const TimeWindow::Verdict verdict = _settings.selection.window.judge(report.microseconds);
  if (verdict == TimeWindow::Verdict::Untimed) ++_untimed;
  return verdict == TimeWindow::Verdict::Inside;
}

bool ReadSettings::wants(const Report& report) const {
  return (report.direction == Direction::FromDevice || hostWrites) && selection.has(report);
}

}  // namespace vesk::host
