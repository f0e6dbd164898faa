/// JSON text, written value by value.
///
///     JsonWriter json;
///     json.beginObject();
///     json.member("file", "a.hex");
///     json.key("samples");
///     json.array(std::span<const std::int32_t>(samples));
///     json.endObject();
///     json.text();  // {"file":"a.hex","samples":[1,-2]}
///
/// Commas are its matter; that keys and values come in turn, and that what begins ends, is the
/// caller's.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>

#include "host/writing/Numbers.h"

namespace vesk::host {

class JsonWriter {
 public:
  /// What was written so far; lives until more is.
  std::string_view text() const { return {_text.get(), _size}; }

  /// Starts afresh, and keeps the memory.
  void clear() {
    _size = 0;
    _comma = false;
  }

  void beginObject() { begin('{'); }
  void endObject() { end('}'); }
  void beginArray() { begin('['); }
  void endArray() { end(']'); }

  /// The key of the value that follows.
  void key(std::string_view name) {
    string(name);
    put(':');
    _comma = false;
  }

  /// A string of UTF-8.
  void string(std::string_view text);

  void null() { raw("null"); }
  void boolean(bool value) { raw(value ? "true" : "false"); }

  template <class T>
  void number(T value) {
    comma();
    char* const begin = room(kNumberRoom);
    took(putValue(begin, value));
  }

  /// An array of numbers. Long runs of them are what most of the output consists of: they are
  /// written in room that is taken once for all of them.
  template <class T>
  void array(std::span<const T> values) {
    comma();
    char* out = room(values.size() * (kNumberRoom + 1) + 2);
    *out++ = '[';
    for (const T value : values) {
      out = putValue(out, value);
      *out++ = ',';
    }
    if (!values.empty()) --out;
    *out++ = ']';
    took(out);
  }

  /// Text that is a JSON value, or several members of an object, already.
  void raw(std::string_view json) {
    comma();
    append(json);
  }

  /// A key and its value, a string or a number.
  template <class T>
  void member(std::string_view name, const T& value) {
    key(name);
    if constexpr (std::is_arithmetic_v<T>)
      number(value);
    else
      string(value);
  }

  /// The same where there is a value, or else nothing.
  template <class T>
  void member(std::string_view name, const std::optional<T>& value) {
    if (value) member(name, *value);
  }

 private:
  void begin(char bracket) {
    comma();
    put(bracket);
    _comma = false;
  }

  void end(char bracket) {
    put(bracket);
    _comma = true;
  }

  /// The comma in front of a key or a value, but for the first one.
  void comma() {
    if (_comma) put(',');
    _comma = true;
  }

  /// Room for `size` more characters.
  char* room(std::size_t size) {
    if (_capacity - _size < size) grow(size);
    return _text.get() + _size;
  }

  /// Room is used up to `end`.
  void took(const char* end) { _size = static_cast<std::size_t>(end - _text.get()); }

  void put(char character) {
    *room(1) = character;
    ++_size;
  }

  void append(std::string_view text) { took(putText(room(text.size()), text)); }

  void appendEscaped(std::string_view text);
  void grow(std::size_t size);

  /// JSON has no NaN and no infinity, and "-0" is an integer to many readers, who drop its sign.
  template <class T>
  static char* putValue(char* out, T value) {
    if constexpr (std::is_floating_point_v<T>) {
      if (!std::isfinite(value)) return putText(out, "null");
      if (value == 0 && std::signbit(value)) return putText(out, "-0.0");
    }
    return putNumber(out, value);
  }

  static char* putText(char* out, std::string_view text) {
    return out + text.copy(out, text.size());
  }

  std::unique_ptr<char[]> _text;
  std::size_t _size = 0;
  std::size_t _capacity = 0;
  bool _comma = false;  // before what comes next
};

}  // namespace vesk::host
