#include "host/run/Run.h"

int main(int argc, char** argv) { return vesk::host::run(argc - 1, argv + 1); }
