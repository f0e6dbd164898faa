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
        if (_settings.wants(*report) && isInWindow(*report)) return item;
      } else if (const auto* problem = std::get_if<Problem>(&item)) {
        if (_settings.wants(*problem)) return item;
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
  const TimeWindow::Verdict verdict = _settings.window.judge(report.microseconds);
  if (verdict == TimeWindow::Verdict::Untimed) ++_untimed;
  return verdict == TimeWindow::Verdict::Inside;
}

bool ReadSettings::wants(std::uint32_t id) const {
  return reports.empty() || std::ranges::find(reports, id) != reports.end();
}

bool ReadSettings::wants(const Report& report) const {
  if (report.direction == Direction::ToDevice && !hostWrites) return false;
  return (!type || report.type == type) && wants(report.id());
}

/// Where it isn't known which report it is with, or when it was, it may be a wanted one.
bool ReadSettings::wants(const Problem& problem) const {
  if (type && problem.reportType && problem.reportType != type) return false;
  if (window.judge(problem.microseconds) == TimeWindow::Verdict::Outside) return false;
  return !problem.reportId || wants(*problem.reportId);
}

}  // namespace vesk::host
