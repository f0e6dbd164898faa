/// A file's reports, whatever its form: what the program does with a file, up to decoding.
#pragma once

#include <cstdint>
#include <memory>

#include "host/inputs/Forms.h"
#include "viewer/native/SourceBytes.h"

namespace vesk::viewer {

class Stream {
 public:
  /// `form` is null where the file's first bytes shall tell it.
  Stream(std::int32_t source, const host::InputForm* form, const host::KnownReports& known);

  /// As host::Input::next(), but that a file which can't be read is a problem, too, behind which
  /// the end comes. A report has its type, if its ID tells it.
  host::Item next();

  /// What is known of the report that next() gave; null if no decoder knows it.
  const host::ReportInfo* info() const { return _info; }

  const SourceBytes& bytes() const { return _bytes; }

  /// Null until it is known.
  const host::InputForm* form() const { return _form; }

 private:
  host::Item nextItem();

  SourceBytes _bytes;
  const host::InputForm* _form;
  const host::KnownReports& _known;
  std::unique_ptr<host::Input> _input;
  const host::ReportInfo* _info = nullptr;
  bool _ended = false;
};

}  // namespace vesk::viewer
