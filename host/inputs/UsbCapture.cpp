#include "host/inputs/UsbCapture.h"

#include <cstdio>

namespace vesk::host {

namespace {

constexpr std::uint8_t kDirectionIn = 0x80;
constexpr std::uint8_t kGetReportType = 0xA1;  // from the device, class request, to an interface
constexpr std::uint8_t kGetReport = 0x01;

/// USB counts the types of reports from 1.
std::optional<ReportType> typeFromUsb(std::uint8_t type) {
  if (type < 1 || type > 3) return std::nullopt;
  return static_cast<ReportType>(type - 1);
}

std::string failureText(const UsbEvent& event) {
  switch (event.outcome) {
    case UsbEvent::Outcome::Stalled:
      return "stalled: the device refused it";
    case UsbEvent::Outcome::Cancelled:
      return "was cancelled";
    default:
      return "failed with status " + std::to_string(event.status);
  }
}

}  // namespace

UsbCapture::UsbCapture(Bytes& bytes, const InputContext& context)
    : _file(bytes), _link(static_cast<UsbLink>(_file.linkType())), _selection(context.usb) {
  if (!isUsbLink(_file.linkType()))
    throw InputFault("a capture of link type " + _file.linkTypeName() +
                     ", which is not USB (189, 220 or 249); capture on usbmon, or with USBPcap");
}

Item UsbCapture::next() {
  while (!_ended) {
    const auto next = _file.next();
    if (const auto* packet = std::get_if<PcapFile::Packet>(&next)) {
      if (auto item = handle(*packet)) return *item;
      continue;
    }
    _ended = true;
    if (const auto* damage = std::get_if<PcapFile::Damage>(&next))
      return problemAt({},
                       ProblemCode::TruncatedCapture,
                       damage->message + "; what was good is decoded, and editcap FILE NEW.pcap " +
                           "writes it without the damaged end");
  }
  if (_open.empty()) return End{};
  return giveUp(0);
}

std::optional<Item> UsbCapture::handle(const PcapFile::Packet& packet) {
  _place = {Place::Unit::Packet, packet.number};
  _microseconds = packet.microseconds;
  if (const auto event = usbEvent(_link, packet.bytes))
    return selected(event->sender) ? handle(*event) : std::nullopt;
  Problem problem = problemAt(_place,
                              ProblemCode::TruncatedCapture,
                              "cut off in its header: " + countedBytes(packet.bytes.size()) +
                                  " captured; capture whole packets (-s 0)");
  problem.expected = packet.length;
  problem.got = packet.bytes.size();
  return problem;
}

std::optional<Item> UsbCapture::handle(const UsbEvent& event) {
  const bool completed = event.stage == UsbEvent::Stage::Completion;
  if (event.transfer == UsbEvent::Transfer::Control) return completed ? answer(event) : open(event);
  if (event.transfer == UsbEvent::Transfer::Interrupt && completed &&
      (event.sender.endpoint & kDirectionIn) != 0)
    return interrupt(event);
  return std::nullopt;
}

/// Remembers a GET_REPORT.
std::optional<Item> UsbCapture::open(const UsbEvent& event) {
  const auto setup = event.setup;
  if (setup.empty() || setup[0] != kGetReportType || setup[1] != kGetReport) return std::nullopt;
  const auto type = typeFromUsb(setup[3]);
  if (!type) return std::nullopt;
  std::optional<Item> given;
  const std::size_t same = find(event);
  if (same < _open.size())
    given = giveUp(same);
  else if (_open.size() == kMostOpen)
    given = giveUp(0);
  _open.push_back({event.sender, event.request, setup[2], *type, _place, _microseconds});
  return given;
}

std::optional<Item> UsbCapture::answer(const UsbEvent& event) {
  const std::size_t index = find(event);
  if (index == _open.size()) return std::nullopt;
  const Request request = _open[index];
  _open.erase(_open.begin() + static_cast<std::ptrdiff_t>(index));

  const auto problem = [&](ProblemCode code, const std::string& complaint) {
    Problem made =
        problemAt(_place, code, describe(request.reportId, request.type) + ": " + complaint);
    made.microseconds = _microseconds;
    made.reportId = request.reportId;
    made.reportType = request.type;
    return made;
  };
  if (event.outcome != UsbEvent::Outcome::Done)
    return problem(ProblemCode::FailedRequest, "its request " + failureText(event));
  Item item = report(event, request.type);
  const auto* found = std::get_if<Report>(&item);
  if (found == nullptr || found->id() == request.reportId) return item;
  return problem(ProblemCode::MismatchedReply,
                 "the answer is " + describe(found->id(), std::nullopt));
}

std::optional<Item> UsbCapture::interrupt(const UsbEvent& event) {
  switch (event.outcome) {
    case UsbEvent::Outcome::Done:
      return report(event, ReportType::Input);
    case UsbEvent::Outcome::Cancelled:
      return std::nullopt;  // that is how every driver stops listening
    default:
      return problemAt(
          _place, ProblemCode::FailedRequest, "an interrupt transfer " + failureText(event));
  }
}

/// The report in a completion that went well.
Item UsbCapture::report(const UsbEvent& event, ReportType type) {
  Problem problem;
  if (event.data.size() < event.transferred) {
    problem = problemAt(_place,
                        ProblemCode::TruncatedCapture,
                        countedBytes(event.transferred) + " transferred, " +
                            std::to_string(event.data.size()) +
                            " captured; capture whole packets (-s 0)");
    problem.expected = event.transferred;
    problem.got = event.data.size();
  } else if (auto wrongSize = checkSize(_place, event.data.size())) {
    problem = *wrongSize;
  } else {
    Report report;
    report.bytes = event.data;
    report.type = type;
    report.place = _place;
    report.microseconds = _microseconds;
    report.sender = event.sender;
    return report;
  }
  problem.microseconds = _microseconds;
  problem.reportType = type;
  return problem;
}

Item UsbCapture::giveUp(std::size_t index) {
  const Request request = _open[index];
  _open.erase(_open.begin() + static_cast<std::ptrdiff_t>(index));
  Problem problem = problemAt(
      request.place,
      ProblemCode::UnansweredRequest,
      describe(request.reportId, request.type) + ": its request has no answer in the capture");
  problem.microseconds = request.microseconds;
  problem.reportId = request.reportId;
  problem.reportType = request.type;
  return problem;
}

/// Index of the open request that an event belongs to; their number if there is none.
std::size_t UsbCapture::find(const UsbEvent& event) const {
  for (std::size_t i = 0; i < _open.size(); ++i)
    if (_open[i].id == event.request && _open[i].sender.bus == event.sender.bus &&
        _open[i].sender.device == event.sender.device)
      return i;
  return _open.size();
}

bool UsbCapture::selected(const UsbSender& sender) const {
  const auto& device = _selection.device;
  if (device && (device->bus != sender.bus || device->address != sender.device)) return false;
  const auto& endpoint = _selection.endpoint;
  return !endpoint || *endpoint == (sender.endpoint & ~kDirectionIn);
}

}  // namespace vesk::host
