#include "host/inputs/Forms.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "host/inputs/Binary.h"
#include "host/inputs/Dump.h"
#include "host/inputs/Hex.h"
#include "host/inputs/HexText.h"
#include "host/inputs/Recording.h"
#include "host/inputs/UsbCapture.h"

namespace vesk::host {

namespace {

using namespace std::string_view_literals;

constexpr std::array<FormInfo, 6> kForms = {{
    {Form::HexText, "hex", "lines of hex digits"},
    {Form::Dump, "dump", "a dump by xxd, hexdump -C or od -A x -t x1"},
    {Form::PlainDump, "xxd-p", "a dump by xxd -p"},
    {Form::Binary, "binary", "binary reports"},
    {Form::Recording, "recording", "a recording of hid-recorder"},
    {Form::UsbCapture, "usb", "a USB capture, pcap or pcapng"},
}};

constexpr std::string_view kHexDigits = "0123456789abcdefABCDEF";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The first four bytes of capture files: pcap in either byte order and precision, and pcapng.
constexpr std::array<std::string_view, 7> kCaptureMagics = {
    "\xA1\xB2\xC3\xD4"sv,
    "\xD4\xC3\xB2\xA1"sv,
    "\xA1\xB2\x3C\x4D"sv,
    "\x4D\x3C\xB2\xA1"sv,
    "\xA1\xB2\xCD\x34"sv,
    "\x34\xCD\xB2\xA1"sv,
    "\x0A\x0D\x0D\x0A"sv,
};

/// What people hand over by mistake, and how to make it readable.
struct Foreign {
  std::string_view magic;
  std::string_view complaint;
};
constexpr std::array<Foreign, 6> kForeign = {{
    {"\x1F\x8B"sv, "compressed by gzip; use: zcat FILE | vesk-decode"},
    {"\xFD"
     "7zXZ"sv,
     "compressed by xz; use: xzcat FILE | vesk-decode"},
    {"\x28\xB5\x2F\xFD"sv, "compressed by zstd; use: zstdcat FILE | vesk-decode"},
    {"PK\x03\x04"sv, "a zip archive; use: unzip -p FILE | vesk-decode"},
    {"\xFF\xFE"sv, "text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode"},
    {"\xFE\xFF"sv, "text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode"},
}};

std::size_t digitsAtFront(std::string_view text) {
  return std::min(text.find_first_not_of(kHexDigits), text.size());
}

/// Dumps begin at address 0, or with an address that xxd or hexdump -C marks as one.
bool isAddressedDump(std::string_view line) {
  const std::size_t digits = digitsAtFront(line);
  if (digits < 6) return false;
  const std::string_view rest = line.substr(digits);
  const bool marked = (rest.starts_with(": ") || rest.starts_with("  ")) && digits >= 8;
  const bool zero = line.find_first_not_of('0') >= digits;
  return marked || (zero && rest.starts_with(' '));
}

/// Whether the bytes are one report and nothing else, but for zeros that fill it up.
bool isOneReport(const std::vector<std::uint8_t>& bytes, const ReportInfo& info) {
  const auto size = static_cast<std::ptrdiff_t>(info.smallest);
  if (std::ssize(bytes) < size) return false;
  const auto end = info.nulTerminated ? std::ranges::find(bytes, 0) : bytes.begin() + size;
  if (info.nulTerminated && end == bytes.end()) return false;
  return std::all_of(end, bytes.end(), [](std::uint8_t byte) { return byte == 0; });
}

/// xxd -p writes a file in lines of 30 bytes, without anything between them. That looks as reports
/// written a line each do, but for the first line being no report, or more than one.
bool isPlainDump(std::string_view line, std::string_view following, const KnownReports& known) {
  constexpr std::size_t kLineDigits = 60;
  if (line.size() != kLineDigits || digitsAtFront(line) != kLineDigits) return false;
  std::vector<std::uint8_t> bytes;
  appendHex(line, bytes);
  const ReportInfo* info = known.find(bytes.front(), std::nullopt);
  if (info == nullptr || isOneReport(bytes, *info)) return false;
  following = following.substr(0, following.find_first_of("\r\n"));
  return digitsAtFront(following) == following.size() && following.size() <= kLineDigits;
}

bool isRecordingLine(std::string_view line) {
  return line.size() >= 2 && line[0] >= 'A' && line[0] <= 'Z' && line[1] == ':' &&
         (line.size() == 2 || isBlank(line[2]));
}

struct Head {
  std::string_view line;       // the first one that isn't empty or a comment
  std::string_view following;  // what is at hand behind it
};

/// Reads until the first line that says something is whole, or for as long as a beginning can be.
Head headOf(Bytes& bytes) {
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

Form detectText(Bytes& bytes, const KnownReports& known) {
  const Head head = headOf(bytes);
  if (isRecordingLine(head.line)) return Form::Recording;
  if (isAddressedDump(head.line)) return Form::Dump;
  if (isPlainDump(head.line, head.following, known)) return Form::PlainDump;
  return Form::HexText;
}

/// Text begins with a printable character or a blank, and no report's ID is one of those that hex
/// text begins with.
bool beginsAsText(std::string_view window, const KnownReports& known) {
  const auto first = static_cast<unsigned char>(window.front());
  if (window.starts_with(kByteOrderMark)) return true;
  if (known.find(first, std::nullopt) != nullptr) return false;
  return (first >= ' ' && first <= '~') || first == '\t' || first == '\n' || first == '\r';
}

}  // namespace

std::span<const FormInfo> forms() { return kForms; }

const FormInfo& infoOf(Form form) { return kForms[static_cast<std::size_t>(form)]; }

Form detectForm(Bytes& bytes, const KnownReports& known) {
  std::string_view window = bytes.peek(1);
  if (window.empty()) return Form::HexText;
  const auto first = static_cast<unsigned char>(window.front());
  const bool ambiguous = known.find(first, std::nullopt) == nullptr;
  if (ambiguous) window = bytes.peek(4);
  for (const std::string_view magic : kCaptureMagics)
    if (window.starts_with(magic)) return Form::UsbCapture;
  for (const Foreign& foreign : kForeign)
    if (window.starts_with(foreign.magic)) throw InputFault(std::string(foreign.complaint));
  return beginsAsText(window, known) ? detectText(bytes, known) : Form::Binary;
}

std::unique_ptr<Input> openInput(Form form, Bytes& bytes, const KnownReports& known,
                                 const UsbSelection& selection) {
  if (bytes.window().starts_with(kByteOrderMark)) bytes.take(kByteOrderMark.size());
  switch (form) {
    case Form::HexText:
      return std::make_unique<HexText>(bytes);
    case Form::Dump:
      return std::make_unique<Dump>(bytes, DumpBytes::Style::Addressed, known);
    case Form::PlainDump:
      return std::make_unique<Dump>(bytes, DumpBytes::Style::Plain, known);
    case Form::Binary:
      return std::make_unique<Binary>(bytes, known);
    case Form::Recording:
      return std::make_unique<Recording>(bytes);
    case Form::UsbCapture:
      return std::make_unique<UsbCapture>(bytes, selection);
  }
  return nullptr;
}

}  // namespace vesk::host
