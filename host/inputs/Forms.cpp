#include "host/inputs/Forms.h"

#include <algorithm>
#include <array>
#include <string>

#include "host/inputs/Binary.h"
#include "host/inputs/Dump.h"
#include "host/inputs/Hex.h"
#include "host/inputs/HexText.h"
#include "host/inputs/Recording.h"
#include "host/inputs/UsbCapture.h"

namespace vesk::host {

namespace {

using namespace std::string_view_literals;

template <class Form, auto... arguments>
std::unique_ptr<Input> opened(Bytes& bytes, const InputContext& context) {
  return std::make_unique<Form>(bytes, context, arguments...);
}

using enum DumpBytes::Style;

constexpr auto kForms = std::to_array<InputForm>({
    {"hex", "lines of hex digits", opened<HexText>},
    {"dump",
     "a dump by xxd, hexdump -C or od -A x -t x1",
     opened<Dump, Addressed>,
     {},
     Dump::beginsAddressed},
    {"xxd-p", "a dump by xxd -p", opened<Dump, Plain>, {}, Dump::beginsPlain},
    {"binary", "binary reports", opened<Binary>},
    {"recording", "a recording of hid-recorder", opened<Recording>, {}, Recording::begins},
    {"usb", "a USB capture, pcap or pcapng", opened<UsbCapture>, kCaptureMagics},
});

/// What text and other bytes are that begin as no form does.
constexpr const InputForm& kHex = kForms[0];
constexpr const InputForm& kBinary = kForms[3];
static_assert(kHex.name == "hex" && kBinary.name == "binary");

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// What people hand over by mistake, and how to make it readable.
struct Foreign {
  std::string_view magic;
  std::string_view complaint;
};
constexpr auto kForeign = std::to_array<Foreign>({
    {"\x1F\x8B"sv, "compressed by gzip; use: zcat FILE | vesk-decode"},
    {"\xFD"
     "7zXZ"sv,
     "compressed by xz; use: xzcat FILE | vesk-decode"},
    {"\x28\xB5\x2F\xFD"sv, "compressed by zstd; use: zstdcat FILE | vesk-decode"},
    {"PK\x03\x04"sv, "a zip archive; use: unzip -p FILE | vesk-decode"},
    {"\xFF\xFE"sv, "text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode"},
    {"\xFE\xFF"sv, "text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode"},
});

/// Reads until the first line that says something is whole, or for as long as a beginning can be.
TextHead headOf(Bytes& bytes) {
  constexpr std::size_t kLongestHead = std::size_t{64} * 1024;
  for (;;) {
    std::string_view rest = bytes.window();
    while (!rest.empty()) {
      const std::size_t end = rest.find('\n');
      if (end == std::string_view::npos) break;
      std::string_view line = rest.substr(0, end);
      rest.remove_prefix(end + 1);
      if (line.ends_with('\r')) line.remove_suffix(1);
      line = trim(line);
      if (!line.empty() && !line.starts_with('#')) return {line, rest};
    }
    if (bytes.window().size() >= kLongestHead || !bytes.readMore()) return {trim(rest), {}};
  }
}

/// Text begins with a printable character or a blank, and no report's ID is one of those that hex
/// text begins with.
bool beginsAsText(std::string_view window, const KnownReports& known) {
  const auto first = static_cast<unsigned char>(window.front());
  if (window.starts_with(kByteOrderMark)) return true;
  if (known.find(first, std::nullopt) != nullptr) return false;
  return (first >= ' ' && first <= '~') || first == '\t' || first == '\n' || first == '\r';
}

const InputForm& detectText(Bytes& bytes, const KnownReports& known) {
  const TextHead head = headOf(bytes);
  for (const InputForm& form : kForms)
    if (form.begins != nullptr && form.begins(head, known)) return form;
  return kHex;
}

}  // namespace

std::span<const InputForm> inputForms() { return kForms; }

const InputForm* inputFormNamed(std::string_view name) {
  const auto found = std::ranges::find(kForms, name, &InputForm::name);
  return found == kForms.end() ? nullptr : &*found;
}

const InputForm& detectForm(Bytes& bytes, const KnownReports& known) {
  std::string_view window = bytes.peek(1);
  if (window.empty()) return kHex;
  const auto first = static_cast<unsigned char>(window.front());
  const bool ambiguous = known.find(first, std::nullopt) == nullptr;
  if (ambiguous) window = bytes.peek(4);
  const auto begins = [&](std::string_view magic) { return window.starts_with(magic); };
  for (const InputForm& form : kForms)
    if (std::ranges::any_of(form.magics, begins)) return form;
  for (const Foreign& foreign : kForeign)
    if (begins(foreign.magic)) throw InputFault(std::string(foreign.complaint));
  return beginsAsText(window, known) ? detectText(bytes, known) : kBinary;
}

std::unique_ptr<Input> openInput(const InputForm& form, Bytes& bytes, const InputContext& context) {
  if (bytes.window().starts_with(kByteOrderMark)) bytes.take(kByteOrderMark.size());
  return form.open(bytes, context);
}

}  // namespace vesk::host
