/// What is wrong with a file of limits, and where.
#pragma once

#include <stdexcept>
#include <string>
#include <utility>

namespace vesk::host {

/// The file can't be used.
class LimitsFault : public std::runtime_error {
 public:
  /// `place` is where: "a.json:3:8" for what is no JSON, or else "a.json: /reports/0xE3".
  LimitsFault(std::string place, const std::string& message)
      : std::runtime_error(message), _place(std::move(place)) {}

  const std::string& place() const { return _place; }

 private:
  std::string _place;
};

}  // namespace vesk::host
