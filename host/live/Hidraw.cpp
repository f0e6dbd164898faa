#include "host/live/Hidraw.h"

#include <fcntl.h>
#include <linux/hidraw.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>

#include "text/numbers.h"

namespace vesk::host {

namespace {

constexpr const char* kClass = "/sys/class/hidraw";
constexpr std::string_view kNodes = "/dev/";

// The size of what an ioctl takes has 14 bits; older kernels ask a device for no more than 4096.
constexpr std::size_t kLongestRequest = (std::size_t{1} << 14) - 1;
constexpr std::size_t kOlderLongestRequest = 4096;

std::errc lastFailure() { return static_cast<std::errc>(errno); }

class Descriptor {
 public:
  explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor() {
    if (_descriptor >= 0) close(_descriptor);
  }
  int get() const { return _descriptor; }

 private:
  int _descriptor;
};

/// A text that the kernel gives by an ioctl; empty if it has none.
template <unsigned long request>
std::string textOf(int descriptor) {
  std::array<char, 256> text{};
  static_assert(_IOC_SIZE(request) == text.size());
  if (ioctl(descriptor, request, text.data()) < 0) return {};
  return {text.data(), strnlen(text.data(), text.size())};
}

class HidrawDevice final : public Device {
 public:
  HidrawDevice(Descriptor descriptor, HidDevice info, std::vector<std::uint8_t> reports)
      : _descriptor(std::move(descriptor)),
        _cancelled(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
        _info(std::move(info)),
        _reports(std::move(reports)) {
    if (_cancelled.get() < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  }

  const HidDevice& info() const override { return _info; }
  std::span<const std::uint8_t> descriptor() const override { return _reports; }

  Transfer getFeature(std::uint8_t id, std::span<std::uint8_t> into) override {
    Transfer transfer = ask(id, into.first(std::min(into.size(), kLongestRequest)));
    if (transfer.failure == std::errc::invalid_argument && into.size() > kOlderLongestRequest)
      transfer = ask(id, into.first(kOlderLongestRequest));
    return transfer;
  }

  Transfer read(std::span<std::uint8_t> into) override {
    for (;;) {
      std::array<pollfd, 2> waits = {
          {{_descriptor.get(), POLLIN, 0}, {_cancelled.get(), POLLIN, 0}}};
      if (poll(waits.data(), waits.size(), -1) < 0 && errno != EINTR) return {0, lastFailure()};
      if (waits[1].revents != 0) return {0, std::errc::operation_canceled};
      if (waits[0].revents == 0) continue;
      // What came before an unplug is still there, so reading comes before what poll() says.
      const ssize_t count = ::read(_descriptor.get(), into.data(), into.size());
      if (count > 0) return {static_cast<std::size_t>(count), {}};
      if (count == 0) return {0, std::errc::no_such_device};
      if (errno != EAGAIN && errno != EINTR) return {0, lastFailure()};
      if ((waits[0].revents & (POLLERR | POLLHUP)) != 0) return {0, std::errc::io_error};
    }
  }

  void cancel() override {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(_cancelled.get(), &one, sizeof one);
  }

  bool present() override {
    hidraw_devinfo raw{};
    return ioctl(_descriptor.get(), HIDIOCGRAWINFO, &raw) >= 0;
  }

 private:
  Transfer ask(std::uint8_t id, std::span<std::uint8_t> into) const {
    std::ranges::fill(into, std::uint8_t{0});
    into.front() = id;
    const int count = ioctl(_descriptor.get(), HIDIOCGFEATURE(into.size()), into.data());
    if (count < 0) return {0, lastFailure()};
    return {std::min(static_cast<std::size_t>(count), into.size()), {}};
  }

  Descriptor _descriptor;
  Descriptor _cancelled;
  HidDevice _info;
  std::vector<std::uint8_t> _reports;
};

/// Whether an ioctl failed since the device was unplugged, and not since it is none.
bool isGone(int failure) { return failure == ENODEV || failure == EIO; }

/// The report descriptor of an open node; empty if the kernel doesn't tell it.
std::vector<std::uint8_t> reportsOf(int descriptor) {
  int size = 0;
  hidraw_report_descriptor raw{};
  if (ioctl(descriptor, HIDIOCGRDESCSIZE, &size) < 0 || size <= 0) return {};
  raw.size = std::min(static_cast<std::uint32_t>(size), std::uint32_t{HID_MAX_DESCRIPTOR_SIZE});
  if (ioctl(descriptor, HIDIOCGRDESC, &raw) < 0) return {};
  raw.size = std::min(raw.size, std::uint32_t{HID_MAX_DESCRIPTOR_SIZE});
  return {raw.value, raw.value + raw.size};
}

/// All of a small file below /sys; empty if it can't be read.
std::string contentOf(const std::string& path) {
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (file.get() < 0) return {};
  std::string content;
  std::array<char, 4096> piece;
  constexpr std::size_t kMost = 65536;
  while (content.size() < kMost) {
    const ssize_t count = read(file.get(), piece.data(), piece.size());
    if (count <= 0) break;
    content.append(piece.data(), static_cast<std::size_t>(count));
  }
  return content;
}

/// "0003:00001209:00000001"
void takeIds(std::string_view text, HidDevice& device) {
  const auto next = [&] {
    const std::size_t colon = text.find(':');
    const auto value = parseNumber<std::uint32_t>(text.substr(0, colon), 16);
    text.remove_prefix(colon == std::string_view::npos ? text.size() : colon + 1);
    return value.value_or(0);
  };
  device.bus = next();
  device.vendor = static_cast<std::uint16_t>(next());
  device.product = static_cast<std::uint16_t>(next());
}

/// What lines like "HID_NAME=Vesk controller" tell.
void takeEvent(std::string_view text, HidDevice& device) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view name = line.substr(0, equals);
    const std::string_view value = line.substr(equals + 1);
    if (name == "HID_ID") takeIds(value, device);
    if (name == "HID_NAME") device.name = value;
    if (name == "HID_PHYS") device.path = value;
    if (name == "HID_UNIQ") device.serial = value;
  }
}

/// Shorter names first, so that hidraw10 comes behind hidraw9.
bool comesBefore(const ListedDevice& one, const ListedDevice& other) {
  const std::string& a = one.device.node;
  const std::string& b = other.device.node;
  return a.size() != b.size() ? a.size() < b.size() : a < b;
}

}  // namespace

std::vector<ListedDevice> Hidraw::list() {
  std::vector<ListedDevice> devices;
  std::error_code failure;
  std::filesystem::directory_iterator entry(kClass, failure);
  for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure)) {
    const std::string folder = entry->path().string() + "/device/";
    ListedDevice& listed = devices.emplace_back();
    listed.device.node = std::string(kNodes) + entry->path().filename().string();
    takeEvent(contentOf(folder + "uevent"), listed.device);
    const std::string descriptor = contentOf(folder + "report_descriptor");
    listed.descriptor.assign(descriptor.begin(), descriptor.end());
  }
  std::ranges::sort(devices, comesBefore);
  return devices;
}

Opening Hidraw::open(const std::string& node) {
  // Opening and closing a pipe would end the program that writes to it.
  struct stat status {};
  if (stat(node.c_str(), &status) != 0)
    return {nullptr, errno == ENOENT ? std::errc::no_such_file_or_directory : std::errc{}};
  if (S_ISREG(status.st_mode) || S_ISFIFO(status.st_mode) || S_ISDIR(status.st_mode)) return {};

  Descriptor descriptor(::open(node.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (descriptor.get() < 0) {
    const std::errc failure = lastFailure();
    std::error_code ignored;
    const std::string real = std::filesystem::canonical(node, ignored).string();
    const bool isListed = std::ranges::any_of(list(), [&](const ListedDevice& listed) {
      return listed.device.node == node || listed.device.node == real;
    });
    return {nullptr, isListed ? failure : std::errc{}};
  }

  hidraw_devinfo raw{};
  if (ioctl(descriptor.get(), HIDIOCGRAWINFO, &raw) < 0)
    return {nullptr, isGone(errno) ? std::errc::no_such_device : std::errc{}};
  HidDevice info;
  info.node = node;
  info.bus = raw.bustype;
  info.vendor = static_cast<std::uint16_t>(raw.vendor);
  info.product = static_cast<std::uint16_t>(raw.product);
  info.name = textOf<HIDIOCGRAWNAME(256)>(descriptor.get());
  info.path = textOf<HIDIOCGRAWPHYS(256)>(descriptor.get());
  info.serial = textOf<HIDIOCGRAWUNIQ(256)>(descriptor.get());
  errno = 0;
  std::vector<std::uint8_t> reports = reportsOf(descriptor.get());
  if (reports.empty() && isGone(errno)) return {nullptr, std::errc::no_such_device};
  return {
      std::make_unique<HidrawDevice>(std::move(descriptor), std::move(info), std::move(reports)),
      {}};
}

}  // namespace vesk::host
