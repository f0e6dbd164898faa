#include "host/inputs/Forms.h"

#include <algorithm>
#include <array>
#include <string>

#include "host/inputs/ArrayText.h"
#include "host/inputs/Binary.h"
#include "host/inputs/CsvText.h"
#include "host/inputs/Dump.h"
#include "host/inputs/Hex.h"
#include "host/inputs/HexText.h"
#include "host/inputs/LogText.h"
#include "host/inputs/PacketText.h"
#include "host/inputs/PlainText.h"
#include "host/inputs/Recording.h"
#include "host/inputs/UsbCapture.h"
#include "host/inputs/UsbhidDump.h"

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
    {"binary", "binary reports", opened<Binary>, {}, nullptr, false},
    {"recording", "a recording of hid-recorder", opened<Recording>, {}, Recording::begins},
    {"usb", "a USB capture, pcap or pcapng", opened<UsbCapture>, kCaptureMagics, nullptr, false},
    {"usbhid-dump", "a stream by usbhid-dump", opened<UsbhidDump>, {}, UsbhidDump::begins},
    {"usbmon",
     "the text that usbmon prints",
     opened<PacketText, PacketText::Style::Usbmon>,
     {},
     PacketText::beginsUsbmon},
    {"packets",
     "USB packets in rows, as by tshark -x",
     opened<PacketText, PacketText::Style::Rows>,
     {},
     PacketText::beginsRows},
    {"array", "arrays in a program", opened<ArrayText>, {}, ArrayText::begins},
    {"csv", "a table with a column of bytes", opened<CsvText>, {}, CsvText::begins},
    {"log", "digits among the lines of a log", opened<LogText>, {}, LogText::begins},
});

/// What text and other bytes are that begin as no form does.
constexpr const InputForm& kHex = kForms[0];
constexpr const InputForm& kBinary = kForms[3];
static_assert(kHex.name == "hex" && kBinary.name == "binary");

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// Whether a byte order mark comes first. Reads no further than to the first byte that is none of
/// it.
bool beginsWithMark(Bytes& bytes) {
  const auto size = [&] { return std::min(bytes.window().size(), kByteOrderMark.size()); };
  while (size() < kByteOrderMark.size() && kByteOrderMark.starts_with(bytes.window()))
    if (!bytes.readMore()) return false;
  return bytes.window().starts_with(kByteOrderMark);
}

/// What people hand over by mistake, and how to make it readable.
struct Foreign {
  std::string_view magic;
  std::string_view complaint;
};
constexpr auto kForeign = std::to_array<Foreign>({
    {"PK\x03\x04"sv, "a zip archive; use: unzip -p FILE | vesk-decode"},
    {"\xFF\xFE"sv, "text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode"},
    {"\xFE\xFF"sv, "text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode"},
});

/// Reads until the first line that says something is whole, or for as long as a beginning can be.
TextHead headOf(Bytes& bytes) {
  constexpr std::size_t kLongestHead = std::size_t{64} * 1024;
  for (;;) {
    std::string_view rest = bytes.window();
    if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());
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

/// As many bytes as a report has at most tell whether a stream is text: no report of that length is.
constexpr std::size_t kTextEnough = 2064;

/// Reads until it shows whether the stream is text, and no further.
bool isText(Bytes& bytes) {
  for (;;) {
    const std::string_view window = bytes.window();
    if (!mayBePlainText(window.substr(0, kTextEnough))) return false;
    if (window.size() >= kTextEnough) return true;
    if (!bytes.readMore()) return plainTextLength(window) == window.size();
  }
}

/// Whether a report that begins with a letter is one: behind it stands another, or padding, or the
/// end. What has no control in it may be text that is not UTF-8.
bool isReport(Bytes& bytes, const ReportInfo& info, const KnownReports& known) {
  const std::string_view window = bytes.peek(info.smallest + 1);
  const auto report = window.substr(0, info.smallest);
  if (std::ranges::none_of(report, [](char c) { return isControl(c); })) return false;
  if (window.size() <= info.smallest) return true;
  const auto next = static_cast<unsigned char>(window[info.smallest]);
  return next == 0 || known.find(next, std::nullopt) != nullptr;
}

/// Whether the stream is text. Two reports' IDs are letters, and other IDs begin letters that are
/// not ASCII. Throws InputFault if nothing can be made of it.
bool beginsAsText(Bytes& bytes, const KnownReports& known) {
  const auto first = static_cast<unsigned char>(bytes.window().front());
  const bool ascii = first < 0x80;
  const ReportInfo* const info = known.find(first, std::nullopt);
  if (info == nullptr && ascii)
    return (first >= ' ' && first <= '~') || first == '\t' || first == '\n' || first == '\r' ||
           first == '\x1B';
  if (isText(bytes)) return true;
  if (info != nullptr && ascii && !isReport(bytes, *info, known))
    throw InputFault("begins with " + inQuotes(bytes.window().substr(0, 1)) + ", which is " +
                     describe(info->id, info->type) +
                     " as well, and is neither text nor such a report and another behind it; say "
                     "which it is: -i hex or -i binary");
  return false;
}

/// The form of a text. Where its first line is nobody's, later ones may tell.
const InputForm& detectText(Bytes& bytes, const KnownReports& known) {
  constexpr std::size_t kEnough = 4096;
  for (;;) {
    const TextHead head = headOf(bytes);
    for (const InputForm& form : kForms)
      if (form.begins != nullptr && form.begins(head, known)) return form;
    if (HexText::begins(head, known)) return kHex;
    if (bytes.window().size() >= kEnough || !bytes.readMore()) return kHex;
  }
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
  if (begins(kByteOrderMark) || beginsAsText(bytes, known)) return detectText(bytes, known);
  return kBinary;
}

std::string_view howKnown(const InputForm& form) {
  if (!form.magics.empty()) return ", known by its first bytes";
  if (form.begins != nullptr) return ", known by its first line";
  return form.isText ? ", since it is text that begins as no other form"
                     : ", since it is no text, and begins as no other form";
}

std::unique_ptr<Input> openInput(const InputForm& form, Bytes& bytes, const InputContext& context) {
  if (form.isText && beginsWithMark(bytes)) bytes.take(kByteOrderMark.size());
  return form.open(bytes, context);
}

}  // namespace vesk::host
