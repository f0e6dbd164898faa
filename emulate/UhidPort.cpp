#include "emulate/UhidPort.h"

#include <fcntl.h>
#include <linux/uhid.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

namespace vesk::emulate {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr const char* kUhid = "/dev/uhid";

/// A text in a field of the kernel's, cut off where it must be, with a NUL.
template <std::size_t Size>
void copyText(const std::string& text, std::uint8_t (&field)[Size]) {
  std::copy_n(text.begin(), std::min(text.size(), Size - 1), field);
}

/// Where a device is plugged in, as nothing else of this machine is.
std::string newPlace() {
  static unsigned count = 0;
  return "vesk-emulate-" + std::to_string(getpid()) + "-" + std::to_string(++count) + "/input0";
}

/// The node of the device that is plugged in there; empty if there is none.
std::string nodeAt(const std::string& physical) {
  std::error_code failed;
  for (fs::directory_iterator entry("/sys/class/hidraw", failed), end; !failed && entry != end;
       entry.increment(failed)) {
    std::ifstream file(entry->path() / "device/uevent");
    for (std::string line; std::getline(file, line);)
      if (line == "HID_PHYS=" + physical) return "/dev/" + entry->path().filename().string();
  }
  return {};
}

}  // namespace

std::optional<std::string> whyNoUhid() {
  const int descriptor = open(kUhid, O_RDWR | O_CLOEXEC);
  if (descriptor >= 0) {
    close(descriptor);
    return std::nullopt;
  }
  const int error = errno;
  std::string why = std::string("cannot open ") + kUhid + ": " + std::strerror(error);
  if (error == ENOENT) why += "; the kernel's module uhid is needed: modprobe uhid";
  if (error == EACCES || error == EPERM) why += "; it takes root, or the right to use it";
  return why;
}

UhidPort::UhidPort(EventLoop& loop, const Capture& capture,
                   std::function<void(const std::string& line)> tell)
    : _loop(loop), _identity(capture.identity), _tell(std::move(tell)), _physical(newPlace()) {
  const auto check = [](const Bytes& report) {
    if (report.size() > UHID_DATA_MAX)
      throw CaptureFault("a report of " + host::countedBytes(report.size()) + ": " + kUhid +
                         " takes no more than " + std::to_string(UHID_DATA_MAX));
  };
  for (const InputReport& report : capture.inputs) check(report.bytes);
  for (const auto& reports : capture.features) std::ranges::for_each(reports, check);
}

UhidPort::~UhidPort() {
  if (_descriptor >= 0) close(_descriptor);
}

std::string UhidPort::name() const { return _node.empty() ? _identity.name : _node; }

void UhidPort::write(const uhid_event& event) {
  if (::write(_descriptor, &event, sizeof event) < 0)
    throw std::system_error(errno, std::generic_category(), std::string("cannot write ") + kUhid);
}

void UhidPort::plug(DeviceSide& device) {
  _device = &device;
  ++_plugged;
  _descriptor = ::open(kUhid, O_RDWR | O_CLOEXEC | O_NONBLOCK);
  if (_descriptor < 0)
    throw std::system_error(errno, std::generic_category(), std::string("cannot open ") + kUhid);
  uhid_event event{};
  event.type = UHID_CREATE2;
  uhid_create2_req& create = event.u.create2;
  copyText(_identity.name, create.name);
  copyText(_physical, create.phys);
  copyText(_identity.serial, create.uniq);
  create.rd_size = static_cast<__u16>(_identity.descriptor.size());
  std::ranges::copy(_identity.descriptor, create.rd_data);
  create.bus = _identity.bus;
  create.vendor = _identity.vendor;
  create.product = _identity.product;
  write(event);
  _loop.watch(_descriptor, POLLIN, [this](short) { takeEvents(); });
}

/// The kernel ends the requests that wait.
void UhidPort::unplug() {
  _device = nullptr;
  _loop.unwatch(_descriptor);
  uhid_event event{};
  event.type = UHID_DESTROY;
  write(event);
  close(std::exchange(_descriptor, -1));
}

unsigned UhidPort::send(std::span<const std::uint8_t> report) {
  uhid_event event{};
  event.type = UHID_INPUT2;
  event.u.input2.size = static_cast<__u16>(report.size());
  std::ranges::copy(report, event.u.input2.data);
  write(event);
  return 0;
}

void UhidPort::takeEvents() {
  uhid_event event{};
  while (_descriptor >= 0 && ::read(_descriptor, &event, sizeof event) > 0) {
    takeEvent(event);
    event = {};  // a short one leaves the rest as it was
  }
}

void UhidPort::takeEvent(const uhid_event& event) {
  constexpr int kTries = 100;
  switch (event.type) {
    case UHID_START:
      return findNode(kTries);
    case UHID_OPEN:
      return _device->opened();
    case UHID_CLOSE:
      return _device->closed();
    case UHID_OUTPUT:
      return _device->written();
    case UHID_GET_REPORT:
      return answer(event.u.get_report.id, event.u.get_report.rtype, event.u.get_report.rnum);
    case UHID_SET_REPORT: {
      _device->written();
      uhid_event refusal{};
      refusal.type = UHID_SET_REPORT_REPLY;
      refusal.u.set_report_reply.id = event.u.set_report.id;
      refusal.u.set_report_reply.err = EIO;
      return write(refusal);
    }
    default:
      return;
  }
}

void UhidPort::answer(std::uint32_t request, std::uint8_t type, std::uint8_t id) {
  const auto reply = [this, request, plugged = _plugged](
                         int error, std::span<const std::uint8_t> report) {
    if (_descriptor < 0 || plugged != _plugged) return;
    uhid_event event{};
    event.type = UHID_GET_REPORT_REPLY;
    uhid_get_report_reply_req& answered = event.u.get_report_reply;
    answered.id = request;
    answered.err = static_cast<__u16>(error);
    const std::size_t size = std::min<std::size_t>(report.size(), UHID_DATA_MAX);
    answered.size = static_cast<__u16>(size);
    std::copy_n(report.begin(), size, answered.data);
    write(event);
  };
  const auto asked = type == UHID_FEATURE_REPORT ? host::ReportType::Feature
                     : type == UHID_INPUT_REPORT ? host::ReportType::Input
                                                 : host::ReportType::Output;
  _device->ask(asked, id, reply);
}

/// The kernel makes the node a little after the device.
void UhidPort::findNode(int triesLeft) {
  if (_descriptor < 0) return;
  _node = nodeAt(_physical);
  if (!_node.empty()) return _tell(_identity.name + " is " + _node);
  if (triesLeft == 0) return _tell(_identity.name + " has got no node of hidraw");
  _loop.at(EventLoop::Clock::now() + 10ms, [this, triesLeft] { findNode(triesLeft - 1); });
}

}  // namespace vesk::emulate
