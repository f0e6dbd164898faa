#include "host/inputs/UsbCapture.h"

#include <algorithm>
#include <utility>

namespace vesk::host {

namespace {

constexpr std::uint8_t kDirectionIn = 0x80;
constexpr std::uint8_t kGetReportType = 0xA1;  // from the device, class request, to an interface
constexpr std::uint8_t kGetReport = 0x01;
constexpr std::uint8_t kSetReportType = 0x21;  // to the device, class request, to an interface
constexpr std::uint8_t kSetReport = 0x09;

/// USB counts the types of reports from 1.
std::optional<ReportType> typeFromUsb(std::uint8_t type) {
  if (type < 1 || type > 3) return std::nullopt;
  return static_cast<ReportType>(type - 1);
}

bool isIn(const UsbEvent& event) { return (event.sender.endpoint & kDirectionIn) != 0; }

/// Bytes of data: what was transferred counts where not all of it is held.
std::size_t sizeOf(const UsbEvent& event) {
  return std::max(event.data.size(), static_cast<std::size_t>(event.transferred));
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
    : _file(bytes), _selection(context.usb) {}

Item UsbCapture::next() {
  if (_second) return *std::exchange(_second, std::nullopt);
  while (!_ended) {
    const auto next = _file.next();
    if (const auto* packet = std::get_if<CaptureFile::Packet>(&next)) {
      if (auto item = handle(*packet)) return *item;
      continue;
    }
    _ended = true;
    if (const auto* damage = std::get_if<CaptureFile::Damage>(&next)) return problemOf(*damage);
    if (auto problem = noUsb()) return *problem;
  }
  while (!_open.empty())
    if (auto problem = giveUp(0)) return *problem;
  return End{};
}

Problem UsbCapture::problemOf(const CaptureFile::Damage& damage) {
  Problem problem = problemAt({Place::Unit::Packet, damage.packet},
                              ProblemCode::TruncatedCapture,
                              damage.message + ", at byte " + std::to_string(damage.offset) +
                                  "; what was good is decoded, and editcap FILE NEW.pcap " +
                                  "writes it without the damaged end");
  problem.offset = damage.offset;
  return problem;
}

/// What is wrong with a capture that ended without any USB, if it had another interface.
std::optional<Problem> UsbCapture::noUsb() const {
  const auto interfaces = _file.interfaces();
  const auto isUsb = [](const auto& interface) { return isUsbLink(interface.linkType); };
  if (_someUsb || std::ranges::any_of(interfaces, isUsb)) return std::nullopt;
  if (_someOther)
    return problemAt({}, ProblemCode::UnsupportedInput, "none of its interfaces is USB");
  if (interfaces.empty()) return std::nullopt;
  return problemAt({}, ProblemCode::UnsupportedInput, unsupportedLink(interfaces.front().linkType));
}

std::optional<Item> UsbCapture::handle(const CaptureFile::Packet& packet) {
  _place = {Place::Unit::Packet, packet.number};
  _microseconds = packet.microseconds;
  _interface = packet.interface.number;
  _isWhole = packet.bytes.size() == packet.captured;
  const std::uint16_t linkType = packet.interface.linkType;
  if (!isUsbLink(linkType)) return handleOther(packet);
  _someUsb = true;
  if (const auto event = usbEvent(static_cast<UsbLink>(linkType), packet.order, packet.bytes))
    return selected(event->sender) ? handleKnown(*event) : std::nullopt;
  Problem problem = problemAt(_place,
                              ProblemCode::TruncatedCapture,
                              "cut off in its header: " + countedBytes(packet.bytes.size()) +
                                  " captured; capture whole packets (-s 0)");
  problem.expected = packet.length;
  problem.got = packet.bytes.size();
  return problem;
}

/// A packet that is no USB: said once for its interface. A pcap has no other.
std::optional<Item> UsbCapture::handleOther(const CaptureFile::Packet& packet) {
  if (packet.interface.used) return std::nullopt;
  _someOther = true;
  const std::string complaint = unsupportedLink(packet.interface.linkType);
  if (!_file.severalInterfaces()) {
    _ended = true;
    return problemAt({}, ProblemCode::UnsupportedInput, complaint);
  }
  return problemAt(_place,
                   ProblemCode::UnsupportedInput,
                   "interface " + std::to_string(packet.interface.number) + ": " + complaint +
                       "; its packets are passed over");
}

/// A problem is the sender's who is at hand, if it isn't an older request's.
std::optional<Item> UsbCapture::handleKnown(const UsbEvent& event) {
  auto item = handle(event);
  auto* const problem = item ? std::get_if<Problem>(&*item) : nullptr;
  if (problem != nullptr && !problem->sender) problem->sender = event.sender;
  return item;
}

std::optional<Item> UsbCapture::handle(const UsbEvent& event) {
  switch (event.stage) {
    case UsbEvent::Stage::Submission:
      return submitted(event);
    case UsbEvent::Stage::Continuation:
      return continued(event);
    case UsbEvent::Stage::Completion:
      break;
  }
  if (event.transfer == UsbEvent::Transfer::Control) return answer(event);
  if (event.transfer == UsbEvent::Transfer::Interrupt && isIn(event)) return interrupt(event);
  return std::nullopt;
}

/// Whatever is submitted under the number of an open request, that request is over.
std::optional<Item> UsbCapture::submitted(const UsbEvent& event) {
  std::optional<Item> given;
  const std::size_t same = find(event);
  if (same < _open.size()) given = giveUp(same);
  if (event.transfer == UsbEvent::Transfer::Interrupt && !isIn(event))
    return both(given, write(event, ReportType::Output));
  const auto setup = event.setup;
  if (event.transfer != UsbEvent::Transfer::Control || setup.empty()) return given;
  const bool reads = setup[0] == kGetReportType && setup[1] == kGetReport;
  const bool writes = setup[0] == kSetReportType && setup[1] == kSetReport;
  const auto type = typeFromUsb(setup[3]);
  if (!type || (!reads && !writes)) return given;
  if (writes && !event.data.empty()) return both(given, write(event, *type));
  if (_open.size() == kMostOpen) given = giveUp(0);
  const auto direction = reads ? Direction::FromDevice : Direction::ToDevice;
  _open.push_back(
      {event.sender, _interface, event.request, setup[2], *type, direction, _place, _microseconds});
  return given;
}

/// The data of a SET_REPORT, where they have a packet of their own.
std::optional<Item> UsbCapture::continued(const UsbEvent& event) {
  const std::size_t index = find(event);
  if (index == _open.size() || _open[index].direction != Direction::ToDevice) return std::nullopt;
  return write(event, _open[index].type);
}

std::optional<Item> UsbCapture::answer(const UsbEvent& event) {
  const std::size_t index = find(event);
  if (index == _open.size()) return std::nullopt;
  const Request request = _open[index];
  _open.erase(_open.begin() + static_cast<std::ptrdiff_t>(index));
  if (request.direction == Direction::ToDevice) return std::nullopt;

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
  if (_isWhole && event.data.size() < event.transferred) {
    problem = problemAt(_place,
                        ProblemCode::TruncatedCapture,
                        countedBytes(event.transferred) + " transferred, " +
                            std::to_string(event.data.size()) +
                            " captured; capture whole packets (-s 0)");
    problem.expected = event.transferred;
    problem.got = event.data.size();
  } else if (auto wrongSize = checkSize(_place, sizeOf(event))) {
    problem = *wrongSize;
  } else {
    return reportOf(event, type);
  }
  problem.microseconds = _microseconds;
  problem.reportType = type;
  if (!event.data.empty()) problem.reportId = event.data.front();
  return problem;
}

/// What a host writes, as far as it was captured; none if nothing was.
std::optional<Item> UsbCapture::write(const UsbEvent& event, ReportType type) const {
  if (checkSize(_place, event.data.size())) return std::nullopt;
  Report report = reportOf(event, type);
  report.direction = Direction::ToDevice;
  return report;
}

Report UsbCapture::reportOf(const UsbEvent& event, ReportType type) const {
  Report report;
  report.bytes = event.data;
  report.type = type;
  report.place = _place;
  report.microseconds = _microseconds;
  report.sender = event.sender;
  return report;
}

/// Closes a request; the problem that it has no answer, unless it needs none.
std::optional<Problem> UsbCapture::giveUp(std::size_t index) {
  const Request request = _open[index];
  _open.erase(_open.begin() + static_cast<std::ptrdiff_t>(index));
  if (request.direction == Direction::ToDevice) return std::nullopt;
  Problem problem = problemAt(
      request.place,
      ProblemCode::UnansweredRequest,
      describe(request.reportId, request.type) + ": its request has no answer in the capture");
  problem.microseconds = request.microseconds;
  problem.reportId = request.reportId;
  problem.reportType = request.type;
  problem.sender = request.sender;
  return problem;
}

/// Hands on one item now, and the other when it is asked for the next.
std::optional<Item> UsbCapture::both(std::optional<Item> first, std::optional<Item> second) {
  if (!first) return second;
  _second = std::move(second);
  return first;
}

/// Index of the open request that an event belongs to; their number if there is none.
std::size_t UsbCapture::find(const UsbEvent& event) const {
  for (std::size_t i = 0; i < _open.size(); ++i)
    if (_open[i].id == event.request && _open[i].interface == _interface &&
        _open[i].sender.bus == event.sender.bus && _open[i].sender.device == event.sender.device)
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
