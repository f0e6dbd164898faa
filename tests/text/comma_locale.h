/// A locale with a decimal comma, to see that text does not follow it.
#pragma once

#include <clocale>
#include <cstdlib>

namespace vesk::test {

/// Makes a locale the current one in which numbers are written otherwise; sets it back at the end.
class CommaLocale {
 public:
  CommaLocale() {
    // The build made one for this test, if the C library's compiler for locales was there.
#ifdef VESK_COMMA_LOCALES
    setenv("LOCPATH", VESK_COMMA_LOCALES, 1);
    found = std::setlocale(LC_NUMERIC, "comma") != nullptr;
    unsetenv("LOCPATH");
#endif
    for (const char* const name : {"de_DE.UTF-8", "de_DE", "fr_FR.UTF-8", "pt_BR.UTF-8"})
      found = found || std::setlocale(LC_NUMERIC, name) != nullptr;
    found = found && *std::localeconv()->decimal_point == ',';
  }
  CommaLocale(const CommaLocale&) = delete;
  CommaLocale& operator=(const CommaLocale&) = delete;
  ~CommaLocale() { std::setlocale(LC_NUMERIC, "C"); }

  bool found = false;
};

}  // namespace vesk::test
