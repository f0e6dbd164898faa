/// Where an output puts its text: a descriptor, or memory.
#pragma once

#include <string>
#include <string_view>

namespace vesk::host {

class Sink {
 public:
  virtual ~Sink() = default;
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  /// Appends `text` to what was put before.
  virtual void append(std::string_view text) = 0;
  /// The same for text that steers a terminal on purpose: our own colours.
  virtual void appendControls(std::string_view text) { append(text); }

  void append(char character) { append(std::string_view(&character, 1)); }

 protected:
  Sink() = default;
};

/// Keeps what is put into it.
class Collector final : public Sink {
 public:
  using Sink::append;
  void append(std::string_view added) override { text.append(added); }

  std::string text;
};

}  // namespace vesk::host
