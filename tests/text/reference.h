/// What the tests of the formats measure against: the C library's snprintf, and a buffer that
/// notices what is written outside the room it was given.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "text/digits.h"

namespace vesk::test {

#if defined(__has_feature)
#define VESK_HAS_FEATURE(feature) __has_feature(feature)
#else
#define VESK_HAS_FEATURE(feature) 0
#endif

/// Whether this build is several times slower than a release, or runs on an emulated machine
/// (VESK_SLOW_MACHINE): the sweeps then take larger steps.
#if defined(VESK_SLOW_MACHINE) || defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    !defined(__OPTIMIZE__) || VESK_HAS_FEATURE(address_sanitizer) ||                               \
    VESK_HAS_FEATURE(thread_sanitizer) || VESK_HAS_FEATURE(undefined_behavior_sanitizer)
inline constexpr bool kSlowBuild = true;
#else
inline constexpr bool kSlowBuild = false;
#endif

/// Whether to leave nothing out, as VESK_EXHAUSTIVE=1 in the environment asks.
inline bool exhaustive() {
  const char* const wanted = std::getenv("VESK_EXHAUSTIVE");
  return wanted != nullptr && *wanted == '1';
}

/// Random bits that are the same in every run.
inline std::mt19937_64 generator() { return std::mt19937_64(20210914); }

/// A test that fails everywhere is to say so a few times, not a million times.
inline bool failedOftenEnough() {
  static int failures = 0;
  return testing::Test::HasFailure() && ++failures > 5;
}

/// Characters as snprintf writes them.
class Printed {
 public:
  template <class... T>
  std::string_view operator()(const char* format, T... argument) {
    const int size = std::snprintf(_characters, sizeof _characters, format, argument...);
    return {_characters, static_cast<std::size_t>(size)};
  }

 private:
  char _characters[4096];
};

/// A buffer whose bytes before and behind the room handed out are known.
class Guarded {
 public:
  Guarded() { std::memset(_bytes, kGuard, sizeof _bytes); }

  /// What `write(out)` writes in front of the end that it returns. It may write `size` characters
  /// and touch kSlack bytes behind that size.
  template <class Write>
  std::string_view operator()(std::size_t size, const Write& write) {
    char* const begin = _bytes + kMargin;
    char* const limit = begin + size + kernels::kSlack;
    std::memset(begin, kGuard, size + kernels::kSlack + kMargin);
    const char* const end = write(begin);
    _intact = untouched(_bytes) && untouched(limit) && end >= begin && end <= begin + size;
    return {begin, static_cast<std::size_t>(end - begin)};
  }

  /// As above, for what may touch `slack` bytes behind what it writes, whatever that is.
  template <class Write>
  std::string_view withSlack(std::size_t slack, const Write& write) {
    constexpr std::size_t most = 512;
    char* const begin = _bytes + kMargin;
    std::memset(begin, kGuard, most + 2 * kMargin);
    const char* const end = write(begin);
    _intact = untouched(_bytes) && end >= begin && end <= begin + most && untouched(end + slack);
    return {begin, static_cast<std::size_t>(end - begin)};
  }

  /// Whether the last write stayed in its room.
  bool intact() const { return _intact; }

 private:
  static constexpr std::size_t kMargin = 64;
  static constexpr unsigned char kGuard = 0xA5;

  static bool untouched(const char* bytes) {
    static const std::string guard(kMargin, static_cast<char>(kGuard));
    return std::memcmp(bytes, guard.data(), kMargin) == 0;
  }

  char _bytes[4096];
  bool _intact = true;
};

/// Fails unless `write(out)` writes `expected` and overwrites no more than the slack behind it.
template <class Write>
void expectWritten(std::string_view expected, const Write& write) {
  static Guarded guarded;
  const std::string_view got = guarded.withSlack(kernels::kSlack, write);
  if (got != expected || !guarded.intact())
    ADD_FAILURE() << "  wrote    " << got << "\n  expected " << expected
                  << (guarded.intact() ? "" : "\n  and overwrote more than its slack");
}

}  // namespace vesk::test
