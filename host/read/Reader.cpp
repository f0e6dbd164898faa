#include "host/read/Reader.h"

#include <algorithm>
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
        if (wants(*report)) return item;
      } else if (const auto* problem = std::get_if<Problem>(&item)) {
        if (wants(*problem)) return item;
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

bool Reader::wants(std::uint32_t id) const {
  return _settings.reports.empty() ||
         std::ranges::find(_settings.reports, id) != _settings.reports.end();
}

bool Reader::wants(const Report& report) {
  if (report.direction == Direction::ToDevice && !_settings.hostWrites) return false;
  if (_settings.type && report.type != _settings.type) return false;
  if (!wants(report.id())) return false;
  const TimeWindow::Verdict verdict = _settings.window.judge(report.microseconds);
  if (verdict == TimeWindow::Verdict::Untimed) ++_untimed;
  return verdict == TimeWindow::Verdict::Inside;
}

/// Where it isn't known which report a problem is with, that one may be wanted.
bool Reader::wants(const Problem& problem) const {
  if (_settings.type && problem.reportType && problem.reportType != _settings.type) return false;
  if (_settings.window.judge(problem.microseconds) == TimeWindow::Verdict::Outside) return false;
  return !problem.reportId || wants(*problem.reportId);
}

}  // namespace vesk::host
