/// What the tests of compiled formats have in common: a check of one format against the C library.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "model/wire_format.h"
#include "tests/text/reference.h"
#include "text/format.h"

namespace vesk::test {

/// A value as snprintf takes it.
template <class T>
T reference(const T& value) {
  return value;
}
inline const char* reference(const std::string& value) { return value.c_str(); }
inline const char* reference(std::string_view value) {
  return value.data();  // ours end with a NUL
}
template <class T>
T reference(const wire::Field<T>& value) {
  return value.value();
}

inline void expectEqual(std::string_view text, std::string_view got, std::string_view expected,
                        bool intact) {
  if (got == expected && intact) return;
  ADD_FAILURE() << "format \"" << text << "\"\n  printed  " << got << "\n  expected " << expected
                << (intact ? "" : "\n  and wrote outside its room");
}

/// Prints `argument...` both ways. On its own, as what is written inline into it is long.
template <format::Literal text, class... T>
[[gnu::noinline]] void check(const T&... argument) {
  static Printed printed;
  static Guarded guarded;
  const std::string_view got = guarded(format::size<text>(argument...), [&](char* out) {
    return format::write<text>(out, argument...);
  });
  expectEqual(text.view(), got, printed(text.characters, reference(argument)...), guarded.intact());
}

inline const std::vector<std::string> kStrings = {
    "", "a", "PSE", std::string(30, 'y'), std::string(40, 'z'), std::string(41, 'z'), "100 %d"};

}  // namespace vesk::test
