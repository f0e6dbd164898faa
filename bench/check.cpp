#include "bench/check.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "bench/reference.h"
#include "bench/reports.h"
#include "plugin/HIDReportVeskPlugin.h"
#include "plugin/report_list.h"

namespace bench {

namespace {

std::string joined(const reference::Lines& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  return text;
}

/// What is different between two texts: the first line that is; empty if there is none.
std::string difference(std::string_view expected, std::string_view got) {
  if (expected == got) return {};
  std::size_t line = 0;
  while (line < expected.size() && line < got.size() && expected[line] == got[line]) ++line;
  line = expected.substr(0, line).rfind('\n') + 1;  // npos + 1: the first
  const auto from = [line](std::string_view text) {
    const std::string_view rest = text.substr(std::min(line, text.size()));
    return std::string(rest.substr(0, rest.find('\n')));
  };
  return "  expected: " + from(expected) + "\n       got: " + from(got);
}

template <class T>
bool same(T a, T b) {
  if constexpr (std::is_floating_point_v<T>)
    if (std::isnan(a) || std::isnan(b)) return std::isnan(a) && std::isnan(b);
  return a == b && std::signbit(static_cast<double>(a)) == std::signbit(static_cast<double>(b));
}

/// Whether a value of the decoder's object has the kind and the value of the reference's.
bool same(const reference::Value& expected, const vesk::Value& got) {
  const auto sameNumber = [](auto value, const vesk::Number& number) {
    using T = decltype(value);
    return number.kind() == vesk::kKindOf<T> && same(value, number.template as<T>());
  };
  return std::visit(
      [&](const auto& value) {
        using T = std::remove_cvref_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::string>) {
          const auto* const text = std::get_if<std::string_view>(&got);
          return text != nullptr && *text == value;
        } else if constexpr (std::is_arithmetic_v<T>) {
          const auto* const number = std::get_if<vesk::Number>(&got);
          return number != nullptr && sameNumber(value, *number);
        } else {
          const auto* const span = std::get_if<vesk::NumberSpan>(&got);
          if (span == nullptr || span->size() != value.size()) return false;
          for (std::size_t i = 0; i < value.size(); ++i)
            if (!sameNumber(value[i], (*span)[i])) return false;
          return true;
        }
      },
      expected);
}

/// Whether the document has the value of the reference's object. A document knows no kinds.
bool same(const reference::Value& expected, const nlohmann::json& got) {
  return std::visit(
      [&](const auto& value) {
        using T = std::remove_cvref_t<decltype(value)>;
        if constexpr (std::is_same_v<T, std::string>) {
          return got == value;
        } else if constexpr (std::is_arithmetic_v<T>) {
          return got.is_number() && same(value, got.get<T>());
        } else {
          if (!got.is_array() || got.size() != value.size()) return false;
          for (std::size_t i = 0; i < value.size(); ++i)
            if (!same(value[i], got[i].get<typename T::value_type>())) return false;
          return true;
        }
      },
      expected);
}

/// `dom` is null where there is no document to compare.
std::string objectDifference(const reference::Object& expected, const vesk::ReportObject* got,
                             const nlohmann::json* dom) {
  if (got == nullptr) return "  expected an object, got none";
  if (const auto* const text = std::get_if<std::string>(&expected)) {
    if (!got->isString()) return "  expected a string, got a dictionary";
    if (dom != nullptr && *dom != *text) return "  the documents differ";
    return difference(*text, got->string());
  }
  const auto& dictionary = std::get<reference::Dictionary>(expected);
  if (got->isString()) return "  expected a dictionary, got a string";
  if (got->size() != dictionary.size())
    return "  expected " + std::to_string(dictionary.size()) + " entries, got " +
           std::to_string(got->size());
  if (dom != nullptr && dom->size() != dictionary.size()) return "  the documents differ in size";
  for (const auto& [key, value] : dictionary) {
    const auto found = got->find(key);
    if (!found) return "  no key " + key;
    if (!same(value, *found)) return "  another value under the key " + key;
    if (dom != nullptr && (!dom->contains(key) || !same(value, (*dom)[key])))
      return "  the documents differ in " + key;
  }
  return {};
}

class Checker {
 public:
  bool check(const Subject& subject, Report report) {
    const reference::Reference& reference = *subject.reference;
    const char* const bytes = report.bytes.data();
    const reference::Mode mode{report.id, subject.decimal};
    std::string different;
    _plugin->setDisplayDecimal(subject.decimal);

    _plugin->setUseStrings(true);
    const std::string expected = joined(reference.text(bytes, mode));
    const vesk::Result lines = decode(subject, report);
    if (lines.lines() == nullptr) return tell(subject, report, "text", "  no lines");
    different = difference(expected, lines.lines()->text());
    if (!different.empty()) return tell(subject, report, "text", different);
    if (reference.fmtText != nullptr)
      different = difference(expected, joined(reference.fmtText(bytes, mode)));
    if (!different.empty()) return tell(subject, report, "text by {fmt}", different);

    _plugin->setUseStrings(false);
    const vesk::Result object = decode(subject, report);
    if (reference.object == nullptr)
      return object.isNil() || tell(subject, report, "object", "  expected none, got one");
    nlohmann::json dom;
    if (reference.dom != nullptr) dom = reference.dom(bytes, mode);
    different = objectDifference(
        reference.object(bytes, mode), object.object(), reference.dom != nullptr ? &dom : nullptr);
    return different.empty() || tell(subject, report, "object", different);
  }

 private:
  vesk::Result decode(const Subject& subject, Report& report) {
    return _plugin->reportToObject(report.bytes.data(),
                                   report.id,
                                   subject.type,
                                   static_cast<std::int64_t>(report.bytes.size()));
  }

  static bool tell(const Subject& subject, const Report& report, const char* what,
                   const std::string& different) {
    std::fprintf(stderr,
                 "%s: the %s differs from the reference\n%s\nreport:",
                 subject.name.c_str(),
                 what,
                 different.c_str());
    for (const char byte : report.bytes)
      std::fprintf(stderr, " %02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    std::fputc('\n', stderr);
    return false;
  }

  std::unique_ptr<vesk::HIDReportVeskPlugin> _plugin = vesk::HIDReportVeskPlugin::init();
};

/// What a new report needs; HACKING.md says how to add one.
constexpr int kStep = 7;

/// Every report of the plug-in has a reference, and every reference is for one.
bool checkReferences() {
  bool all = true;
  for (const vesk::ListedReport& report : vesk::kReports) {
    if (reference::find(report.id) != nullptr) continue;
    std::fprintf(stderr,
                 "report 0x%02X has no reference in bench/references: see HACKING.md, step %d\n",
                 report.id,
                 kStep);
    all = false;
  }
  for (const reference::Reference& reference : reference::references())
    for (const unsigned id : reference.ids) {
      if (std::ranges::find(vesk::kReports, id, &vesk::ListedReport::id) != vesk::kReports.end())
        continue;
      std::fprintf(stderr, "%s: the plug-in has no report 0x%02X\n", reference.name, id);
      all = false;
    }
  return all;
}

}  // namespace

bool check(std::uint64_t count) {
  if (!checkReferences()) return false;
  Checker checker;
  Random random;  // always the same reports: a difference can be looked at again
  for (const Subject& subject : subjects()) {
    for (const Report& report : extremeReports(subject))
      if (!checker.check(subject, report)) return false;
    for (std::uint64_t i = 0; i < count; ++i)
      for (const Values values : {Values::Random, Values::Plausible})
        if (!checker.check(subject, makeReport(subject, values, random))) return false;
  }
  return true;
}

}  // namespace bench
