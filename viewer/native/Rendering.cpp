#include "viewer/native/Rendering.h"

#include <utility>
#include <variant>

namespace vesk::viewer {

Rendering::Rendering(Module& module, const host::OutputForm& form, std::string_view file,
                     bool lines)
    : _output(form.make({
          .plugin = module.plugin,
          .known = module.known,
          .sink = _collector,
          .lines = lines,
      })) {
  _output->beginFile(file);
}

/// What the host sent is no news from the device.
void Rendering::write(const host::Report& report, const host::ReportInfo* info) {
  if (report.direction == host::Direction::FromDevice) _output->write(report, info);
}

void Rendering::add(Capture& capture, std::size_t entry) {
  const auto found = capture.at(entry);
  if (const auto* const report = std::get_if<host::Report>(&found))
    write(*report, capture.infoOf(*report));
  else
    _output->write(std::get<host::Problem>(found));
}

bool Rendering::add(Stream& stream) {
  const host::Item item = stream.next();
  if (const auto* const report = std::get_if<host::Report>(&item))
    write(*report, stream.info());
  else if (const auto* const problem = std::get_if<host::Problem>(&item))
    _output->write(*problem);
  else
    return false;
  return true;
}

std::string_view Rendering::take() {
  _taken = std::exchange(_collector.text, {});
  return _taken;
}

}  // namespace vesk::viewer
