/// What an input holds, one by one, for programs that have no command line: decompressed, in the form
/// that it is of, and no more of it than is wanted.
///
///     FileBytes bytes("bench.pcap.gz", beforeRead);
///     Reader reader(bytes, known, {.selection = {.ids = {0x76}}});
///     for (Item item = reader.next(); !std::holds_alternative<End>(item); item = reader.next()) ...
#pragma once

#include <cstdint>
#include <memory>

#include "host/KnownReports.h"
#include "host/Selection.h"
#include "host/inputs/Forms.h"
#include "host/inputs/Input.h"

namespace vesk::host {

/// How an input is read, and what of it is wanted.
struct ReadSettings {
  const InputForm* form = nullptr;  // null: by the content
  Selection selection = {};
  UsbSelection usb = {};
  bool hostWrites = false;  // what a host sends to the device, too

  /// Whether a report is wanted, whatever its time is.
  bool wants(const Report& report) const;
};

class Reader {
 public:
  /// Bytes and reports must outlive it. Throws InputFault if nothing of it can be read.
  Reader(Bytes& bytes, const KnownReports& known, ReadSettings settings);
  ~Reader();

  /// The next wanted report, whose type is known if its ID is; the next problem with what is wanted;
  /// or the end. An input that can't be read any further gives a problem that says so, and ends.
  Item next();

  /// What is known of the report that came last; null if no decoder reads it.
  const ReportInfo* info() const { return _info; }

  const InputForm& form() const { return *_form; }

  /// Reports that are wanted but for the window: they have no time, and so are in no window.
  std::uint64_t untimed() const { return _untimed; }

 private:
  bool isInWindow(const Report& report);

  const KnownReports& _known;
  const ReadSettings _settings;
  std::unique_ptr<Bytes> _unpacked;  // null unless the bytes are compressed
  const InputForm* _form = nullptr;
  std::unique_ptr<Input> _input;
  const ReportInfo* _info = nullptr;
  std::uint64_t _untimed = 0;
  bool _ended = false;
};

}  // namespace vesk::host
