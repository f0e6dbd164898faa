#include "emulate/Folder.h"

#include <fcntl.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include "emulate/protocol.h"

namespace vesk::emulate {

namespace {

namespace fs = std::filesystem;

constexpr const char* kClass = "/sys/class/hidraw";

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

/// A new folder for temporary files, where the names of sockets are not too long for an address.
fs::path makeFolder() {
  constexpr std::size_t kLongestName = 40;  // "/bound/hidraw4294967295.4294967295", and some
  std::error_code failed;
  fs::path parent = fs::temp_directory_path(failed);
  const std::string name = "vesk-emulate.XXXXXX";
  if (failed ||
      parent.string().size() + 1 + name.size() + kLongestName > sizeof(sockaddr_un::sun_path))
    parent = "/tmp";
  std::string path = (parent / name).string();
  if (mkdtemp(path.data()) == nullptr) fail("cannot make a folder in " + parent.string());
  return fs::canonical(path);
}

void removeAll(const fs::path& path) {
  std::error_code failed;
  fs::remove_all(path, failed);
}

void write(const fs::path& path, const std::string& content) {
  std::ofstream file(path, std::ios::binary);
  file << content;
  file.close();
  if (!file) throw std::system_error(EIO, std::generic_category(), "cannot write " + path.string());
}

/// With `form` for one number.
std::string hex(const char* form, unsigned number) {
  std::array<char, 16> text;
  std::snprintf(text.data(), text.size(), form, number);
  return text.data();
}

/// A line's value has no line ends of its own.
std::string oneLine(std::string text) {
  for (char& character : text)
    if (character == '\n' || character == '\r') character = ' ';
  return text;
}

}  // namespace

/// It removes `path` when the pipe is closed, which the end of this process does however it comes.
Folder::Guard Folder::startGuard(const fs::path& path) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) fail("cannot make a pipe");
  const pid_t child = fork();
  if (child < 0) fail("cannot start a process");
  if (child != 0) {
    close(ends[0]);
    return {child, ends[1]};
  }
  setsid();  // not to be ended along with its parent
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) std::signal(signal, SIG_IGN);
  const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
  for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) dup2(nothing, descriptor);
  close(ends[1]);
  char byte = 0;
  while (read(ends[0], &byte, 1) < 0 && errno == EINTR) continue;
  removeAll(path);
  _exit(0);
}

Folder::Folder()
    : _path(makeFolder()), _class(_path / "sys/class/hidraw"), _guard(startGuard(_path)) {
  for (const char* const name : {"/bound", "/dev", VESK_EMULATE_DEVICES, "/sys/class/hidraw"})
    fs::create_directories(fs::path(_path) += name);
  refresh();
}

Folder::~Folder() {
  removeAll(_path);
  close(_guard.pipe);
  waitpid(_guard.process, nullptr, 0);
}

fs::path Folder::boundSocket(unsigned number, unsigned generation) const {
  return _path / "bound" / ("hidraw" + std::to_string(number) + "." + std::to_string(generation));
}

fs::path Folder::node(unsigned number) const {
  return _path / "dev" / ("hidraw" + std::to_string(number));
}

/// As in sysfs, the class has a link to a folder below the device's, and that a link back.
void Folder::add(unsigned number, const Identity& identity) {
  const std::string node = "hidraw" + std::to_string(number);
  const std::string vendor = hex("%04X", identity.vendor);
  const std::string product = hex("%04X", identity.product);
  const std::string bus = hex("%04X", identity.bus);
  const std::string name = bus + ":" + vendor + ":" + product + hex(".%04X", number);
  const fs::path device = fs::path(_path).concat(VESK_EMULATE_DEVICES) / name;
  const fs::path entry = device / "hidraw" / node;
  const std::string numbers = std::to_string(VESK_EMULATE_MAJOR) + ":" + std::to_string(number);

  removeAll(device);
  fs::create_directories(entry);
  write(device / "uevent",
        "DRIVER=hid-generic\nHID_ID=" + bus + ":0000" + vendor + ":0000" + product +
            "\nHID_NAME=" + oneLine(identity.name) + "\nHID_PHYS=" + oneLine(identity.physical) +
            "\nHID_UNIQ=" + oneLine(identity.serial) + "\nMODALIAS=hid:b" + bus + "g0001v0000" +
            vendor + "p0000" + product + "\n");
  write(device / "report_descriptor",
        std::string(identity.descriptor.begin(), identity.descriptor.end()));
  write(entry / "dev", numbers + "\n");
  write(entry / "uevent",
        "MAJOR=" + std::to_string(VESK_EMULATE_MAJOR) + "\nMINOR=" + std::to_string(number) +
            "\nDEVNAME=" + node + "\n");
  fs::create_directory_symlink("../..", entry / "device");
  fs::create_directory_symlink("../../../../../class/hidraw", entry / "subsystem");
  _emulated.insert(node);
  removeAll(_class / node);
  fs::create_directory_symlink("../../devices/vesk-emulate/" + name + "/hidraw/" + node,
                               _class / node);
}

void Folder::remove(unsigned number) {
  const std::string node = "hidraw" + std::to_string(number);
  std::error_code failed;
  const fs::path device = fs::canonical(_class / node / "device", failed);
  removeAll(_class / node);
  if (!failed) removeAll(device);
}

void Folder::refresh() {
  std::set<std::string> now;
  std::error_code failed;
  for (fs::directory_iterator entry(kClass, failed), end; !failed && entry != end;
       entry.increment(failed))
    now.insert(entry->path().filename().string());
  for (const std::string& name : _own)
    if (!now.contains(name) && !_emulated.contains(name)) removeAll(_class / name);
  for (const std::string& name : now)
    if (!_own.contains(name) && !_emulated.contains(name))
      fs::create_directory_symlink(fs::path(kClass) / name, _class / name, failed);
  _own = std::move(now);
}

}  // namespace vesk::emulate
