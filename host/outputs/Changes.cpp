#include "host/outputs/Changes.h"

#include <array>
#include <charconv>
#include <cmath>

#include "host/Kinds.h"
#include "host/writing/Colour.h"
#include "host/writing/Numbers.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

constexpr std::size_t kChannels = 48;  // of the sensor: an array of so many has one for each

template <class T>
std::string textOf(T value) {
  if constexpr (std::is_floating_point_v<T>)
    if (std::isnan(value)) return "nan";
  std::array<char, kNumberRoom> text;
  return {text.data(), putNumber(text.data(), value)};
}

std::string textOf(const vesk_number& number) {
  if (number.kind == VESK_BOOL) return number.value.u != 0 ? "true" : "false";
  std::string text;
  withValue(number, [&](auto value) { text = textOf(value); });
  return text;
}

std::string hexOf(std::uint64_t value) {
  std::array<char, 16> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
  return "0x" + std::string(digits.data(), end);
}

/// Four digits are enough for a rate or a mean; what is left of the point stays whole.
std::string roundedText(double value) {
  constexpr double kWhole = 1000;
  std::array<char, 512> text;
  char* const end = text.data() + text.size();
  const auto result = std::fabs(value) >= kWhole
                          ? std::to_chars(text.data(), end, value, std::chars_format::fixed, 0)
                          : std::to_chars(text.data(), end, value, std::chars_format::general, 4);
  return {text.data(), result.ptr};
}

/// "+5"
std::string textOf(const Difference& difference) {
  const std::string sign = isNegative(difference) ? "-" : "+";
  if (const auto* whole = std::get_if<WholeDifference>(&difference))
    return sign + textOf(whole->magnitude);
  if (const auto* single = std::get_if<float>(&difference))
    return sign + textOf(std::fabs(*single));
  return sign + textOf(std::fabs(std::get<double>(difference)));
}

/// "bit 3 set", "bits 0-7, 30 cleared"; empty if there are none.
std::string bitsText(std::uint64_t bits, std::string_view what) {
  std::string text;
  int count = 0;
  for (unsigned bit = 0; bit < 64; ++bit) {
    if ((bits >> bit & 1) == 0) continue;
    unsigned last = bit;
    while (last < 63 && (bits >> (last + 1) & 1) != 0) ++last;
    text.append(text.empty() ? "" : ", ").append(std::to_string(bit));
    if (last != bit) text.append(last == bit + 1 ? ", " : "-").append(std::to_string(last));
    count += static_cast<int>(last - bit) + 1;
    bit = last;
  }
  if (text.empty()) return text;
  return (count == 1 ? "bit " : "bits ") + text + " " + std::string(what);
}

void appendPart(std::string& text, std::string_view part) {
  if (!part.empty()) text.append(text.empty() ? "" : ", ").append(part);
}

std::string_view nameOf(Course course) {
  switch (course) {
    case Course::Wrapped:
      return "wrapped";
    case Course::Fell:
      return "fell";
    default:
      return "";
  }
}

std::string inParentheses(const std::string& text) { return text.empty() ? "" : " (" + text + ")"; }

std::string describe(const NumberChange& change) {
  std::string parts;
  if (change.isBits) {
    appendPart(parts, bitsText(change.bitsSet(), "set"));
    appendPart(parts, bitsText(change.bitsCleared(), "cleared"));
    return hexOf(change.before.value.u) + " -> " + hexOf(change.after.value.u) +
           inParentheses(parts);
  }
  if (change.difference) appendPart(parts, textOf(*change.difference));
  appendPart(parts, nameOf(change.course));
  if (change.rate) appendPart(parts, roundedText(*change.rate) + "/s");
  return textOf(change.before) + " -> " + textOf(change.after) + inParentheses(parts);
}

std::string describe(const ElementChange& change, std::size_t count) {
  return (count == kChannels ? "channel " : "element ") + std::to_string(change.index) + ": " +
         describe(NumberChange{change.before, change.after, change.difference});
}

std::string describe(const ArrayChange& change) {
  std::string text =
      std::to_string(change.elements.size()) + " of " + std::to_string(change.count) + " changed";
  const bool areBools = change.elements.front().after.kind == VESK_BOOL;
  if (const std::size_t unsized = change.elements.size() - change.sized; unsized != 0 && !areBools)
    text += ", " + std::to_string(unsized) + " of them from or to NaN or infinity";
  if (change.sized != 0)
    text += ", mean " + roundedText(change.mean) + ", largest at " +
            describe(change.elements[change.largest], change.count);
  return text;
}

struct ValueText {
  std::string operator()(std::monostate) const { return "nothing"; }
  std::string operator()(const vesk_number& number) const { return textOf(number); }
  std::string operator()(const std::string& text) const { return '"' + printable(text) + '"'; }
  std::string operator()(const ArrayValue& array) const {
    return std::to_string(array.count) + " of " + std::string(nameOfKind(array.kind));
  }
};

/// A line without the blanks that align it.
Value trimmed(const Value& line) {
  const auto* const text = std::get_if<std::string>(&line);
  if (text == nullptr) return line;
  const std::size_t begin = text->find_first_not_of(" \t");
  if (begin == std::string::npos) return std::string();
  return text->substr(begin, text->find_last_not_of(" \t") + 1 - begin);
}

std::string describe(const ValueChange& change) {
  const std::string before = std::visit(ValueText(), change.before);
  const std::string after = std::visit(ValueText(), change.after);
  if (std::holds_alternative<std::monostate>(change.before)) return "new, " + after;
  if (std::holds_alternative<std::monostate>(change.after)) return "gone, was " + before;
  return before + " -> " + after;
}

std::string headerOf(const Comparison& comparison) {
  const Snapshot& after = comparison.after;
  std::string header = describe(printable(after.file), after.place);
  if (after.microseconds) header += ", " + secondsText(*after.microseconds) + " s";
  if (after.sender) header += ", " + describe(*after.sender);
  header += ", " + describe(after.info->id, after.info->type);
  if (comparison.follows) return header;
  const Snapshot& before = comparison.before;
  header += ", compared with " + describe(printable(before.file), before.place);
  if (before.info != after.info) header += ", " + describe(before.info->id, before.info->type);
  return header;
}

}  // namespace

std::string_view describe(Restart restart) {
  switch (restart) {
    case Restart::Counters:
      return "several counters fell: the firmware started again, or cleared them";
    case Restart::Firmware:
      return "the firmware started again: a time fell";
    default:
      return "";
  }
}

std::vector<std::string> describe(const Change& change, bool elements) {
  std::string name = printable(change.key);
  if (change.line != 0) name = "line " + std::to_string(change.line);
  if (!name.empty()) name += ": ";
  const auto* const value = std::get_if<ValueChange>(&change.what);
  std::vector<std::string> lines = {
      name + (value != nullptr && change.line != 0
                  ? describe(ValueChange{trimmed(value->before), trimmed(value->after)})
                  : std::visit([](const auto& what) { return describe(what); }, change.what))};
  const auto* const array = std::get_if<ArrayChange>(&change.what);
  if (array != nullptr && elements)
    for (const ElementChange& element : array->elements)
      lines.push_back("  " + describe(element, array->count));
  return lines;
}

ChangesOutput::ChangesOutput(const OutputContext& context)
    : DecodingOutput(context),
      _sink(context.sink),
      _tracker(context.changes == nullptr ? ChangeRules() : *context.changes),
      _elements(context.elements),
      _colours(context.colours) {}

void ChangesOutput::beginFile(std::string_view name) { _tracker.beginFile(name); }

void ChangesOutput::writeChecked(const Report& report, const ReportInfo& info) {
  const auto decoded = [&](Plugin::Mode mode) {
    return mode == Plugin::Mode::Text ? decodeLines(info) : decode(info, mode);
  };
  for (const Comparison& comparison : _tracker.follow(report, info, decoded)) show(comparison);
}

void ChangesOutput::show(const Comparison& comparison) {
  const std::string header = headerOf(comparison);
  _sink.appendControls((_colours ? coloured(Colour::Cyan, header) : header) + "\n");
  if (comparison.restart != Restart::None) {
    const std::string_view restart = describe(comparison.restart);
    _sink.appendControls("  " + (_colours ? coloured(Colour::Red, restart) : std::string(restart)) +
                         "\n");
  }
  if (comparison.changes.empty()) _sink.append("  the same again\n");
  for (const Change& change : comparison.changes) {
    const auto* const number = std::get_if<NumberChange>(&change.what);
    const bool fell = number != nullptr && number->course == Course::Fell;
    for (const std::string& line : describe(change, _elements))
      _sink.appendControls("  " + (_colours && fell ? coloured(Colour::Red, line) : line) + "\n");
  }
}

}  // namespace vesk::host
