// The formats: the run-time parser against a grammar, and what formats and kernels write against
// the C library's snprintf.

#include <cstring>
#include <memory>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>

#include "fuzz/Given.h"
#include "text/format.h"
#include "text/run_time_format.h"

namespace vesk::fuzz {
namespace {

using format::Format;

/// The formats that are understood, put down a second time.
bool isFormat(const std::string& text) {
  static const std::regex grammar("[^%]*%([-+ #0]*)([0-9]*)(?:\\.([0-9]*))?(ll)?([suidxXf])[^%]*",
                                  std::regex::optimize);
  std::smatch found;
  if (text.size() > 2000 || !std::regex_match(text, found, grammar)) return false;
  const std::string flags = found[1];
  const char letter = found[5].str().front();
  const auto has = [&flags](char flag) { return flags.find(flag) != std::string::npos; };
  const auto isTooLarge = [](std::string digits) {
    digits.erase(0, digits.find_first_not_of('0'));
    return digits.size() > 3;
  };
  if (isTooLarge(found[2]) || isTooLarge(found[3])) return false;
  if (found[4].matched && (letter == 's' || letter == 'f')) return false;
  if (has('#') && (letter == 'i' || letter == 'd' || letter == 'u' || letter == 's')) return false;
  return !(has('0') && letter == 's');
}

template <class... T>
std::string printed(const char* format, T... argument) {
  const int size = std::snprintf(nullptr, 0, format, argument...);
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::snprintf(text.data(), text.size(), format, argument...);
  text.pop_back();
  return text;
}

void compare(const std::string& format, std::string_view expected, std::string_view got) {
  if (expected == got) return;
  std::fprintf(stderr,
               "\"%s\": the C library writes \"%.*s\", we write \"%.*s\"\n",
               format.c_str(),
               static_cast<int>(expected.size()),
               expected.data(),
               static_cast<int>(got.size()),
               got.data());
  demand(false, "formats give what the C library gives");
}

/// A value as printf is handed it.
template <class T>
auto promoted(T value) {
  if constexpr (std::is_same_v<T, float>)
    return static_cast<double>(value);
  else
    return value;
}

/// In room that is just as long as size() says, so that an overrun is noticed.
template <class T>
void checkRunTime(const Format& format, const std::string& text, T value) {
  if (!format.takes<T>()) return;
  const std::size_t size = format.size(value);
  const auto room = std::make_unique<char[]>(size + kernels::kSlack);
  char* const end = format.write(room.get(), value);
  demand(end <= room.get() + size, "size() is a bound");
  compare(text,
          printed(text.c_str(), promoted(value)),
          {room.get(), static_cast<std::size_t>(end - room.get())});
}

template <format::Literal text, class T>
void checkCompiled(T value) {
  const std::size_t size = format::size<text>(value);
  const auto room = std::make_unique<char[]>(size + kernels::kSlack);
  char* const end = format::write<text>(room.get(), value);
  demand(end <= room.get() + size, "size() is a bound");
  compare(std::string(text.view()),
          printed(text.characters, promoted(value)),
          {room.get(), static_cast<std::size_t>(end - room.get())});
}

/// Formats that reports use, and their neighbours, each with its own path through the kernels.
void checkKernels(std::uint64_t bits, float real, double wide) {
  const auto word = static_cast<std::uint32_t>(bits);
  const auto half = static_cast<std::uint16_t>(bits);
  const auto byte = static_cast<std::uint8_t>(bits);
  checkCompiled<"%08x ">(word);
  checkCompiled<"%08X">(word);
  checkCompiled<"0x%04X">(half);
  checkCompiled<"%02x">(byte);
  checkCompiled<"%14d ">(word);
  checkCompiled<"%14d ">(static_cast<std::int32_t>(word));
  checkCompiled<"%i">(word);
  checkCompiled<"%i">(half);
  checkCompiled<"%u">(word);
  checkCompiled<"%12u ms">(word);
  checkCompiled<"%x">(word);
  checkCompiled<"%#x">(word);
  checkCompiled<"%lli">(static_cast<long long>(bits));
  checkCompiled<"%llu">(static_cast<unsigned long long>(bits));
  checkCompiled<"%016llX">(static_cast<unsigned long long>(bits));
  checkCompiled<"%llx">(static_cast<unsigned long long>(bits));
  checkCompiled<"% -13.3f ">(real);
  checkCompiled<"%f">(real);
  checkCompiled<"%.3f">(real);
  checkCompiled<"%+16.6f">(real);
  checkCompiled<"%.0f">(real);
  checkCompiled<"%012.3f">(real);
  checkCompiled<"%.3f">(wide);
  checkCompiled<"%f">(wide);
  checkCompiled<"% -13.3f ">(wide);
}

template <class To>
To bitsAs(std::uint64_t bits) {
  To value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

void check(Given& given) {
  const std::uint64_t bits = given.number(8);
  const auto real = bitsAs<float>(bits);
  const auto wide = bitsAs<double>(bits);
  checkKernels(bits, real, wide);

  const std::string words(given.shortBytes());
  const std::string text(given.rest());
  std::unique_ptr<Format> format;
  try {
    format = std::make_unique<Format>(text);
  } catch (const std::invalid_argument&) {
  }
  if (text.size() <= 2000) demand((format != nullptr) == isFormat(text), "the grammar decides");
  if (format == nullptr || text.find('\0') != std::string::npos) return;
  checkRunTime(*format, text, static_cast<std::uint32_t>(bits));
  checkRunTime(*format, text, static_cast<std::int32_t>(bits));
  checkRunTime(*format, text, static_cast<unsigned long long>(bits));
  checkRunTime(*format, text, static_cast<long long>(bits));
  checkRunTime(*format, text, static_cast<unsigned char>(bits));
  checkRunTime(*format, text, static_cast<std::uint16_t>(bits));
  checkRunTime(*format, text, real);
  checkRunTime(*format, text, wide);
  checkRunTime(*format, text, words.c_str());
  checkRunTime(*format, text, static_cast<const char*>(nullptr));
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::Given given(data, size);
  vesk::fuzz::check(given);
  return 0;
}
