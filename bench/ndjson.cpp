// Reports, one behind another in a file, as NDJSON, the ordinary way: a document for each, and its
// dump. scripts/bench-process measures vesk-decode beside it.
//
//     vesk-bench-ndjson FILE > OUT

#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>

#include "bench/reference.h"

namespace {

/// Only what streams: image frames and ADC packets.
std::size_t sizeOf(unsigned id) { return id == 0x76 ? 792 : id == 0x77 ? 2064 : 0; }

int run(const char* path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    std::cerr << path << ": can't be read\n";
    return 3;
  }
  std::string report(2064, '\0');
  for (int first; (first = file.get()) != std::ifstream::traits_type::eof();) {
    const auto id = static_cast<unsigned>(first);
    const std::size_t size = sizeOf(id);
    report[0] = static_cast<char>(first);
    if (size == 0 || !file.read(report.data() + 1, static_cast<std::streamsize>(size - 1))) {
      std::cerr << path << ": neither image frames nor ADC packets\n";
      return 1;
    }
    std::cout << reference::find(id)->dom(report.data(), {id, false}).dump() << '\n';
  }
  return std::cout.flush() ? 0 : 3;
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::fputs("usage: vesk-bench-ndjson FILE\n", stderr);
    return 2;
  }
  std::ios::sync_with_stdio(false);
  return run(argv[1]);
} catch (const std::exception& error) {
  std::cerr << error.what() << '\n';
  return 3;
}
