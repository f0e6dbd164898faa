#include "host/run/Run.h"

int main(int argc, char** argv) {
  return vesk::host::run(std::vector<std::string>(argv + 1, argv + argc));
}
