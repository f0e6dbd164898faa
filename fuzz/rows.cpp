// The kernels for rows of samples: each set that this processor can run against the C library.

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/Given.h"
#include "model/wire.h"
#include "text/digits.h"
#include "text/rows.h"

namespace vesk::fuzz {
namespace {

constexpr std::size_t kRowBytes = kernels::kPerRow * sizeof(u32);

/// The values at `bytes`, each as `format` says, in rows that end with `end`.
template <class T>
std::string printed(const char* format, const std::string& bytes, const char* end) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += sizeof(T)) {
    wire::Field<T> field;
    std::memcpy(&field, bytes.data() + at, sizeof field);
    char one[64];
    text.append(one,
                static_cast<std::size_t>(std::snprintf(one, sizeof one, format, field.value())));
    if ((at + sizeof(T)) % kRowBytes == 0) text += end;
  }
  return text;
}

/// What `write(out)` writes, in no more room than it may touch.
template <class Write>
void check(std::string_view expected, const char* set, const Write& write) {
  const auto room = std::make_unique<char[]>(expected.size() + kernels::kSlack);
  const std::string_view got(room.get(), static_cast<std::size_t>(write(room.get()) - room.get()));
  if (got == expected) return;
  std::fprintf(stderr,
               "the C library writes\n%s\nand %s\n%s\n",
               std::string(expected).c_str(),
               set,
               std::string(got).c_str());
  demand(false, "rows give what the C library gives");
}

void check(std::string bytes) {
  const std::size_t rows = (bytes.size() + kRowBytes - 1) / kRowBytes;
  bytes.resize(rows * kRowBytes);
  const std::string hex = printed<std::uint32_t>("%08x ", bytes, "\n");
  const std::string decimal = printed<std::int32_t>("%14d ", bytes, "\n");
  const std::string fixed = printed<float>("% -13.3f ", bytes, "");
  const auto* const values = reinterpret_cast<const unsigned char*>(bytes.data());
  for (const kernels::RowKernels& set : kernels::usableRowKernels()) {
    check(hex, set.name, [&](char* out) { return set.hex(out, values, rows); });
    check(decimal, set.name, [&](char* out) { return set.decimal(out, values, rows); });
    check(fixed, set.name, [&](char* out) {
      for (std::size_t row = 0; row < rows; ++row) out = set.fixed(out, values + row * kRowBytes);
      return out;
    });
  }
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::Given given(data, size);
  vesk::fuzz::check(std::string(given.rest()));
  return 0;
}
