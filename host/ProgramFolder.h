/// Where the program is that runs.
#pragma once

#include <filesystem>
#include <optional>

namespace vesk::host {

/// The folder of its file, all links followed; none if the system doesn't tell.
std::optional<std::filesystem::path> programFolder();

}  // namespace vesk::host
