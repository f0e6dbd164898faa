#include "host/ProgramFolder.h"

#include <system_error>

namespace vesk::host {

std::optional<std::filesystem::path> programFolder() {
  std::error_code failed;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failed);
  if (failed) return std::nullopt;
  return program.parent_path();
}

}  // namespace vesk::host
