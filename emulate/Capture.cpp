#include "emulate/Capture.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string_view>
#include <utility>
#include <variant>

#include "host/inputs/Compressed.h"
#include "host/inputs/Hex.h"
#include "host/run/FileBytes.h"
#include "text/numbers.h"

namespace vesk::emulate {

namespace {

using host::Problem;
using host::Report;
using host::ReportType;

constexpr std::size_t kLongestDescriptor = 4096;  // the kernel takes no longer one
constexpr unsigned kShownProblems = 5;

/// The reports of one capture, put together one by one.
class Reader {
 public:
  Reader(std::string file, const host::KnownReports& known,
         const std::function<void(const std::string&)>& complain)
      : _file(std::move(file)), _known(known), _complain(complain) {}

  void take(const Report& report);
  void take(const Problem& problem);

  /// The capture as a whole.
  Capture finish();

 private:
  void tell(const host::Place& place, const std::string& message);
  void checkSender(const Report& report);
  void takeInput(const Report& report);
  void takePreamble(std::string_view lines);
  void takeIds(std::string_view words);
  void takeDescriptor(std::string_view words);

  std::string _file;
  const host::KnownReports& _known;
  const std::function<void(const std::string&)>& _complain;
  Capture _capture;
  std::optional<host::UsbSender> _sender;
  std::optional<std::int64_t> _last;  // time of the report that the next distance counts from
  bool _begun = false;
  unsigned _problems = 0;
  std::size_t _features = 0;
};

void Reader::tell(const host::Place& place, const std::string& message) {
  if (++_problems <= kShownProblems) _complain(describe(_file, place) + ": " + message);
}

void Reader::take(const Problem& problem) {
  if (problem.endsInput())
    throw CaptureFault(describe(_file, problem.place) + ": " + problem.message);
  tell(problem.place, problem.message);
}

void Reader::take(const Report& report) {
  if (report.direction == host::Direction::ToDevice) return;
  checkSender(report);
  if (!std::exchange(_begun, true)) {
    takePreamble(report.preamble);
    _last = report.microseconds;
  }
  const host::ReportInfo* const info = _known.find(report.id(), report.type);
  const auto type = report.type       ? report.type
                    : info != nullptr ? std::optional(info->type)
                                      : std::nullopt;
  if (!type)
    return tell(report.place,
                describe(report.id(), type) +
                    ": nothing says of which type it is; write feature or "
                    "input before its bytes");
  if (type == ReportType::Input) return takeInput(report);
  if (type == ReportType::Feature) {
    _capture.features[report.id()].emplace_back(report.bytes.begin(), report.bytes.end());
    ++_features;
  }
}

/// Two devices of a USB capture are not one.
void Reader::checkSender(const Report& report) {
  if (!report.sender) return;
  if (!_sender) _sender = report.sender;
  const auto name = [](const host::UsbSender& sender) {
    return std::to_string(sender.bus) + ":" + std::to_string(sender.device);
  };
  if (name(*_sender) != name(*report.sender))
    throw CaptureFault(_file + ": reports of several devices, " + name(*_sender) + " and " +
                       name(*report.sender) + "; choose one by --device");
}

void Reader::takeInput(const Report& report) {
  std::chrono::nanoseconds distance =
      _capture.inputs.empty() ? std::chrono::nanoseconds(0) : kUsualDistance;
  if (report.microseconds && _last)
    distance = std::chrono::microseconds(std::max<std::int64_t>(*report.microseconds - *_last, 0));
  if (report.microseconds) _last = report.microseconds;
  _capture.inputs.push_back({{report.bytes.begin(), report.bytes.end()}, distance});
}

/// A recording's lines on the device.
void Reader::takePreamble(std::string_view lines) {
  Identity& identity = _capture.identity;
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    const std::string_view line = host::trim(lines.substr(0, end));
    lines.remove_prefix(std::min(end + 1, lines.size()));
    if (line.size() < 3) continue;
    const std::string_view rest = host::trim(line.substr(2));
    if (line[0] == 'N' && !rest.empty()) identity.name = rest;
    if (line[0] == 'P') identity.physical = rest;
    if (line[0] == 'I') takeIds(rest);
    if (line[0] == 'R') takeDescriptor(rest);
  }
}

/// "3 1209 0001", in hexadecimal. Zeros are what writes a recording without knowing better.
void Reader::takeIds(std::string_view words) {
  std::array<std::uint16_t, 3> ids{};
  for (std::uint16_t& id : ids) {
    const std::string_view word = host::takeWord(words);
    const auto value = parseNumber<std::uint16_t>(word, 16);
    if (!value) return tell({}, "the line I: has no bus, vendor and product");
    id = *value;
  }
  Identity& identity = _capture.identity;
  identity.bus = ids[0];
  if (ids[1] == 0 && ids[2] == 0) return;
  identity.vendor = ids[1];
  identity.product = ids[2];
}

/// "9 06 00 ff ...", its size first.
void Reader::takeDescriptor(std::string_view words) {
  const auto size = parseNumber<std::size_t>(host::takeWord(words));
  Bytes bytes;
  if (!size || host::appendHex(words, bytes) || bytes.size() != *size ||
      bytes.size() > kLongestDescriptor)
    return tell({}, "the line R: is no report descriptor; one is made of the reports");
  _capture.identity.descriptor = std::move(bytes);
}

Capture Reader::finish() {
  if (_problems > kShownProblems)
    _complain(_file + ": " + std::to_string(_problems - kShownProblems) +
              " more errors are not shown");
  if (_features == 0 && _capture.inputs.empty())
    throw CaptureFault(_file + ": no input or feature report in it");
  Identity& identity = _capture.identity;
  if (!declaresReportIds(identity.descriptor)) {
    try {
      identity.descriptor = makeDescriptor(_capture);
    } catch (const CaptureFault& fault) {
      throw CaptureFault(_file + ": " + fault.what());
    }
  }
  return std::move(_capture);
}

}  // namespace

std::chrono::nanoseconds Capture::turn() const {
  if (inputs.size() < 2) return kUsualDistance;
  std::chrono::nanoseconds sum{0};
  for (std::size_t i = 1; i < inputs.size(); ++i) sum += inputs[i].distance;
  return sum / (inputs.size() - 1);
}

Capture readCapture(const std::string& file, const HowToRead& how, const host::KnownReports& known,
                    const std::function<void(const std::string& line)>& complain) {
  Reader reader(file, known, complain);
  try {
    host::FileBytes bytes(file, [](const host::FileBytes&, bool) { return std::nullopt; });
    const auto unpacked = host::decompressed(bytes);
    host::Bytes& content = unpacked ? *unpacked : bytes;
    const host::InputForm& form = how.form != nullptr ? *how.form : detectForm(content, known);
    const auto input = openInput(form, content, {known, how.usb});
    for (;;) {
      const host::Item item = input->next();
      if (std::holds_alternative<host::End>(item)) break;
      if (const auto* report = std::get_if<Report>(&item))
        reader.take(*report);
      else
        reader.take(std::get<Problem>(item));
    }
  } catch (const host::InputFault& fault) {
    throw CaptureFault(file + ": " + fault.what());
  }
  return reader.finish();
}

bool declaresReportIds(std::span<const std::uint8_t> descriptor) {
  constexpr std::uint8_t kReportId = 0x84;  // without the two bits of its size
  constexpr std::uint8_t kLongItem = 0xFE;
  bool declares = false;
  for (std::size_t at = 0; at < descriptor.size();) {
    const std::uint8_t prefix = descriptor[at];
    std::size_t size = 1 + (std::size_t{1} << (prefix & 3u)) / 2;  // 0, 1, 2 or 4 bytes of data
    if (prefix == kLongItem) size = at + 1 < descriptor.size() ? 3u + descriptor[at + 1] : 3;
    if (size > descriptor.size() - at) return false;
    declares = declares || (prefix & ~3u) == kReportId;
    at += size;
  }
  return declares;
}

Bytes makeDescriptor(const Capture& capture) {
  // Usage page 0xFF00, usage 1, application collection, logical 0 to 255, size 8 bits.
  Bytes bytes = {
      0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08};
  const auto declare = [&](std::size_t id, std::size_t longest, std::uint8_t mainItem) {
    const std::size_t count = longest - 1;
    // Report ID, usage, 16-bit count, and the item itself: data, variable, absolute.
    for (const std::size_t byte : {std::size_t{0x85},
                                   id,
                                   std::size_t{0x09},
                                   id,
                                   std::size_t{0x96},
                                   count & 0xFF,
                                   count >> 8})
      bytes.push_back(static_cast<std::uint8_t>(byte));
    bytes.push_back(mainItem);
    bytes.push_back(0x02);
  };
  for (std::size_t id = 0; id < capture.features.size(); ++id) {
    std::size_t longest = 0;
    for (const Bytes& report : capture.features[id]) longest = std::max(longest, report.size());
    if (longest != 0) declare(id, longest, 0xB1);
  }
  std::map<std::uint8_t, std::size_t> inputs;  // the longest of each ID
  for (const InputReport& report : capture.inputs) {
    std::size_t& longest = inputs[report.bytes.front()];
    longest = std::max(longest, report.bytes.size());
  }
  for (const auto& [id, longest] : inputs) declare(id, longest, 0x81);
  bytes.push_back(0xC0);
  if (bytes.size() > kLongestDescriptor)
    throw CaptureFault(
        "more kinds of reports than a device can declare; it may be no capture of one");
  return bytes;
}

}  // namespace vesk::emulate
