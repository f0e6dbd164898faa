/// The forms of input: their names, how to tell them apart, and how to open them.
#pragma once

#include <memory>
#include <span>
#include <string_view>

#include "host/inputs/Input.h"

namespace vesk::host {

enum class Form : std::uint8_t { HexText, Dump, PlainDump, Binary, Recording, UsbCapture };

struct FormInfo {
  Form form;
  std::string_view name;         // for -i
  std::string_view description;  // for people
};

/// All forms, in the order of Form.
std::span<const FormInfo> forms();
const FormInfo& infoOf(Form form);

/// Tells by the first bytes which form a stream has; takes none of them. Waits for no more of a
/// stream than it needs: one line of text, or a few bytes. Throws InputFault for what is known, but
/// can't be read as it is.
Form detectForm(Bytes& bytes, const KnownReports& known);

/// Throws InputFault if the stream isn't of that form, as far as its head tells.
std::unique_ptr<Input> openInput(Form form, Bytes& bytes, const KnownReports& known,
                                 const UsbSelection& selection);

}  // namespace vesk::host
