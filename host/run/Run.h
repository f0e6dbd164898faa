/// The whole program but for main().
#pragma once

#include <string>
#include <vector>

namespace vesk::host {

/// Runs with the arguments behind the program's name and gives back the exit status.
int run(const std::vector<std::string>& arguments);

}  // namespace vesk::host
