// The forms of input: any bytes, read as each of the forms, give reports and problems and an end,
// and the same ones in whatever pieces the bytes are read.

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "fuzz/Given.h"
#include "fuzz/known.h"
#include "host/inputs/Forms.h"

namespace vesk::fuzz {
namespace {

/// What the fuzzer gave, read in steps of a given size.
class GivenBytes final : public host::Bytes {
 public:
  GivenBytes(std::string_view given, std::size_t step, bool fails)
      : _rest(given), _step(step), _fails(fails) {}

 private:
  std::size_t read(char* into, std::size_t room) override {
    const std::size_t count = std::min({room, _step, _rest.size()});
    if (count == 0 && _fails) throw host::InputFault("it fails");
    std::memcpy(into, _rest.data(), count);
    _rest.remove_prefix(count);
    return count;
  }

  std::string_view _rest;
  std::size_t _step;
  bool _fails;
};

template <class T>
std::string textOf(const std::optional<T>& number) {
  return number ? std::to_string(static_cast<long long>(*number)) : "-";
}

std::string textOf(const host::Place& place) {
  return std::to_string(static_cast<int>(place.unit)) + '@' + std::to_string(place.number) + ' ';
}

std::string textOf(const host::Report& report) {
  demand(!report.bytes.empty(), "a report has an ID");
  demand(report.bytes.size() <= host::kLongestReport, "a report has a longest length");
  std::string text = textOf(report.place) + textOf(report.type) + ' ' +
                     textOf(report.microseconds) + ' ' + std::string(report.preamble);
  if (report.sender)
    text += std::to_string(report.sender->bus) + ':' + std::to_string(report.sender->device) + ':' +
            std::to_string(report.sender->endpoint);
  text.append(reinterpret_cast<const char*>(report.bytes.data()), report.bytes.size());
  return text + '\n';
}

std::string textOf(const host::Problem& problem) {
  demand(static_cast<std::size_t>(problem.code) < host::kProblemCodes, "a code has a name");
  demand(!problem.message.empty(), "a problem has a message");
  demand(std::ranges::all_of(problem.message, [](char c) { return c >= ' ' && c <= '~'; }),
         "a message is one line that any terminal can show");
  return textOf(problem.place) + std::string(nameOf(problem.code)) + ' ' + problem.message + ' ' +
         textOf(problem.microseconds) + textOf(problem.reportId) + textOf(problem.reportType) +
         textOf(problem.expected) + textOf(problem.got) + textOf(problem.offset) + '\n';
}

/// All that an input gives, to its end or, if the stream `fails`, to the fault.
std::string read(const host::InputForm& form, std::string_view given, std::size_t step,
                 bool fails = false) {
  GivenBytes bytes(given, step, fails);
  std::string text;
  try {
    const auto input = host::openInput(form, bytes, {known()});
    // Each item takes a byte at least, but for requests that a capture leaves open, and for what a
    // "*" in a dump stands for.
    for (std::size_t i = 0; i < given.size() + 1000; ++i) {
      const host::Item item = input->next();
      if (std::holds_alternative<host::End>(item)) {
        demand(std::holds_alternative<host::End>(input->next()), "the end stays the end");
        return text;
      }
      if (const auto* report = std::get_if<host::Report>(&item))
        text += textOf(*report);
      else
        text += textOf(std::get<host::Problem>(item));
    }
  } catch (const host::InputFault& fault) {
    return fails ? text : text + fault.what();
  }
  demand(form.name == "dump", "an input comes to its end");
  return text;
}

void detect(std::string_view given, std::size_t step) {
  GivenBytes bytes(given, step, false);
  try {
    host::detectForm(bytes, known());
  } catch (const host::InputFault&) {
  }
  demand(bytes.position() == 0, "detecting takes nothing");
}

/// A "*" in a dump may stand for 16 MiB: with many of them a short input is a long run.
bool isLong(const host::InputForm& form, std::string_view given) {
  return form.name == "dump" && std::ranges::count(given, '*') > 2;
}

void check(std::string_view given) {
  constexpr std::size_t kSteps[] = {1, 2, 3, 7, 100, 1000};
  const std::size_t step = kSteps[given.size() % std::size(kSteps)];
  detect(given, step);
  for (const host::InputForm& form : host::inputForms()) {
    if (isLong(form, given)) continue;
    const std::string whole = read(form, given, 1 << 20);
    demand(read(form, given, step) == whole, "it does not matter in which pieces bytes come");
    demand(whole.starts_with(read(form, given, step, true)), "a fault takes nothing back");
  }
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::check({reinterpret_cast<const char*>(data), size});
  return 0;
}
