/// The whole program but for main().
#pragma once

namespace vesk::host {

/// Runs with the `count` arguments after the program's name and returns the exit status.
int run(int count, const char* const* arguments);

}  // namespace vesk::host
