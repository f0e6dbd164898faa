/// The folder that stands for /dev and /sys/class/hidraw in the programs under emulation (see
/// protocol.h): the machine's own devices as links, and the emulated ones.
///
/// It is removed at the end, whatever ends this program.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <set>
#include <string>

#include "emulate/Capture.h"

namespace vesk::emulate {

class Folder {
 public:
  /// Throws std::system_error.
  Folder();
  ~Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::filesystem::path& path() const { return _path; }

  /// Where the node's socket is bound, and where it belongs when it listens.
  std::filesystem::path boundSocket(unsigned number, unsigned generation) const;
  std::filesystem::path node(unsigned number) const;

  /// Adds the device's entry to sys/class/hidraw, or takes it away.
  void add(unsigned number, const Identity& identity);
  void remove(unsigned number);

  /// Follows the machine's own devices, which come and go.
  void refresh();

 private:
  /// A process that removes the folder if this one can't.
  struct Guard {
    pid_t process;
    int pipe;  // it waits for the end of this
  };
  static Guard startGuard(const std::filesystem::path& path);

  std::filesystem::path _path;
  std::filesystem::path _class;
  std::set<std::string> _own;  // names of the machine's own devices
  std::set<std::string> _emulated;
  Guard _guard;
};

}  // namespace vesk::emulate
