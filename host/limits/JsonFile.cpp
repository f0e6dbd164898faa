#include "host/limits/JsonFile.h"

#include <algorithm>
#include <set>
#include <utility>

#include "host/limits/LimitsFault.h"

namespace vesk::host {

namespace {

constexpr int kDeepest = 64;  // objects and arrays in each other

std::string inQuotes(std::string_view text) { return "\"" + std::string(text) + "\""; }

/// How many characters must be changed, added or removed to make one text of another.
std::size_t distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = std::exchange(row[0], i);
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, changed});
    }
  }
  return row[b.size()];
}

std::string escaped(std::string_view name) {
  std::string text;
  for (const char character : name) {
    if (character == '~' || character == '/')
      text += character == '~' ? "~0" : "~1";
    else
      text += character;
  }
  return text;
}

}  // namespace

bool contains(Names names, std::string_view name) {
  return std::ranges::find(names, name) != names.end();
}

std::string didYouMean(std::string_view name, Names known) {
  constexpr std::size_t kLongestName = 200;
  if (name.size() > kLongestName) return "";
  std::string_view best;
  std::size_t least = name.size() / 3 + 1;
  for (const std::string_view candidate : known) {
    const std::size_t changes = distance(name, candidate);
    if (changes > least || (changes == least && !best.empty())) continue;
    least = changes;
    best = candidate;
  }
  return best.empty() ? "" : "; did you mean " + std::string(best) + "?";
}

Pointer Pointer::operator/(std::string_view name) const { return {text + "/" + escaped(name)}; }

void JsonFile::refuse(const Pointer& pointer, const std::string& message) const {
  throw LimitsFault(_name + (pointer.text.empty() ? "" : ": " + pointer.text), message);
}

/// Tells line and column, both from 1, of the byte at `offset`.
void JsonFile::refuseText(std::string_view text, std::size_t offset,
                          const std::string& message) const {
  const std::string_view before = text.substr(0, offset);
  const auto line = std::ranges::count(before, '\n') + 1;
  const std::size_t begin =
      before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
  throw LimitsFault(_name + ":" + std::to_string(line) + ":" + std::to_string(offset - begin + 1),
                    message);
}

/// A key that stands twice in an object would be taken once, without a word.
Json JsonFile::parse(std::string_view text) const {
  std::vector<std::set<std::string>> keys;
  std::vector<std::string> path;  // the key in each object around
  const auto check = [&](int depth, Json::parse_event_t event, Json& parsed) {
    if (depth > kDeepest)
      throw LimitsFault(_name, "more than " + std::to_string(kDeepest) + " levels deep");
    if (event == Json::parse_event_t::object_start) {
      keys.emplace_back();
      path.emplace_back();
    } else if (event == Json::parse_event_t::object_end) {
      keys.pop_back();
      path.pop_back();
    } else if (event == Json::parse_event_t::key) {
      path.back() = parsed.get<std::string>();
      Pointer pointer;
      for (const std::string& key : path) pointer = pointer / key;
      if (!keys.back().insert(path.back()).second)
        refuse(pointer, inQuotes(path.back()) + " stands twice in this object");
    }
    return true;
  };
  try {
    return Json::parse(text, check);
  } catch (const Json::parse_error& error) {
    // "[json.exception.parse_error.101] parse error at line 2, column 3: syntax error ..."
    const std::string_view what = error.what();
    const std::size_t colon = what.find(": ");
    const std::size_t offset = error.byte == 0 ? 0 : std::min(error.byte - 1, text.size());
    refuseText(text, offset, "no JSON: " + std::string(what.substr(colon + 2)));
  } catch (const Json::exception& error) {  // a number that no double holds: "... '1e400'"
    const std::string_view what = error.what();
    const std::size_t begin = what.find('\'') + 1;
    const std::string_view number = what.substr(begin, what.rfind('\'') - begin);
    const std::size_t offset = text.find(number);
    refuseText(text,
               offset == std::string_view::npos ? 0 : offset,
               std::string(number) + " is a larger number than can be compared");
  }
}

void JsonFile::checkIsObject(const Json& json, const Pointer& pointer) const {
  if (!json.is_object()) refuse(pointer, "an object should stand here");
}

void JsonFile::checkNames(const Json& object, const Pointer& pointer, Names names) const {
  checkIsObject(object, pointer);
  for (const auto& [name, value] : object.items())
    if (!contains(names, name)) {
      std::string known;
      for (const std::string_view each : names)
        if (!each.starts_with('$')) known.append(known.empty() ? "" : ", ").append(each);
      refuse(pointer / name, inQuotes(name) + " is unknown here; known are " + known);
    }
}

std::string JsonFile::textAt(const Json& object, const std::string& name,
                             const Pointer& pointer) const {
  const Json& value = object.at(name);
  if (!value.is_string()) refuse(pointer / name, "a string should stand here");
  return value.get<std::string>();
}

}  // namespace vesk::host
