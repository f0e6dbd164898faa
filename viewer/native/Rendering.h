/// Reports as the program writes them: NDJSON, CSV, text, a recording.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "host/outputs/Forms.h"
#include "viewer/native/Capture.h"
#include "viewer/native/Module.h"
#include "viewer/native/Stream.h"

namespace vesk::viewer {

class Rendering {
 public:
  /// `lines` puts a report's lines beside its object, where the form has room for them. `module`
  /// must outlive this.
  Rendering(Module& module, const host::OutputForm& form, std::string_view file, bool lines);

  /// An entry of a capture, of the file of that name.
  void add(Capture& capture, std::size_t entry);

  /// What came next in a file; false if that was its end.
  bool add(Stream& stream);

  /// What has to stand at the end.
  void finish() { _output->finish(); }

  /// What was written since the last call; stays until the next one.
  std::string_view take();

  /// What was passed over and why, for people; empty if nothing was.
  std::string leftOut() const { return _output->leftOut(); }

 private:
  void write(const host::Report& report, const host::ReportInfo* info);

  host::Collector _collector;
  std::string _taken;
  std::unique_ptr<host::Output> _output;
};

}  // namespace vesk::viewer
