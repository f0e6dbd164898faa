/// A JSON file that people write: read strictly, and refused with the place of what is wrong.
#pragma once

#include <cstddef>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace vesk::host {

using Json = nlohmann::ordered_json;  // members stay in the order in which they were read
using Names = std::span<const std::string_view>;

/// Where in a file: a JSON pointer.
struct Pointer {
  std::string text{};

  Pointer operator/(std::string_view name) const;
  Pointer operator/(std::size_t index) const { return {text + "/" + std::to_string(index)}; }
};

class JsonFile {
 public:
  /// `name` is the file's, for people.
  explicit JsonFile(std::string name) : _name(std::move(name)) {}

  /// Reads the whole file. All that refuses throws LimitsFault.
  Json parse(std::string_view text) const;

  [[noreturn]] void refuse(const Pointer& pointer, const std::string& message) const;

  void checkIsObject(const Json& json, const Pointer& pointer) const;

  /// Refuses an object, not a schema, that has other members.
  void checkNames(const Json& object, const Pointer& pointer, Names names) const;

  /// The member `name`, which is there, and must be a string.
  std::string textAt(const Json& object, const std::string& name, const Pointer& pointer) const;

 private:
  [[noreturn]] void refuseText(std::string_view text, std::size_t offset,
                               const std::string& message) const;

  const std::string _name;
};

bool contains(Names names, std::string_view name);

/// "; did you mean NAME?", if one is much like it; or else nothing.
std::string didYouMean(std::string_view name, Names known);

}  // namespace vesk::host
