/// The whole program but for main().
#pragma once

#include <string>
#include <vector>

namespace vesk::host {

/// Runs with the arguments after the program's name and returns the exit status.
int run(const std::vector<std::string>& arguments);

}  // namespace vesk::host
