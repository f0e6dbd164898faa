/// The forms of input: their names, how to tell them apart, and how to open them.
///
/// A form is one class behind the interface in Input.h and one row of the table in Forms.cpp, which
/// holds all that the rest of the program knows of it: `-i`, the help, detection and the fuzzer go
/// by the rows.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "host/inputs/Input.h"

namespace vesk::host {

/// A row of the table.
struct InputForm {
  std::string_view name;         // for -i
  std::string_view description;  // for people: "read as ..."

  /// Opens a stream, which must outlive what is given back. Throws InputFault if the stream isn't
  /// of this form, as far as its head tells.
  std::unique_ptr<Input> (*open)(Bytes& bytes, const InputContext& context);

  /// How a stream of this form begins: with one of these bytes, ...
  std::span<const std::string_view> magics = {};

  /// ... or as text of which this says so; null where none is.
  bool (*begins)(const TextHead& head, const KnownReports& known) = nullptr;

  /// Text may begin with a byte order mark.
  bool isText = true;
};

/// All forms. Text that begins as no other form does is "hex", and other bytes are "binary".
std::span<const InputForm> inputForms();

/// The form of this name; null if there is none.
const InputForm* inputFormNamed(std::string_view name);

/// Tells by the first bytes which form a stream has; takes none of them. Waits for no more of a
/// stream than it needs: one line of text, or a few bytes, or, where those leave it open whether they
/// are text, a report and the first byte of the next. Throws InputFault for what is known, but
/// can't be read as it is.
const InputForm& detectForm(Bytes& bytes, const KnownReports& known);

/// Why detectForm() takes a stream for this form, for people: ", known by its first line".
std::string_view howKnown(const InputForm& form);

/// Opens a stream as `form`, past the byte order mark that it may begin with.
std::unique_ptr<Input> openInput(const InputForm& form, Bytes& bytes, const InputContext& context);

}  // namespace vesk::host
