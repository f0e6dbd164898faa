/// What the tests share: making reports, decoding them, and looking at what came out.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "plugin/HIDReportVeskPlugin.h"

namespace vesk::test {

using Lines = std::vector<std::string>;

/// The bytes of one report, all zero but for the ID and what is put into them.
class ReportBytes {
 public:
  ReportBytes(std::uint32_t id, std::size_t size) : _id(id), _bytes(size) {
    if (size != 0) _bytes[0] = static_cast<char>(id);
  }

  /// A version report: the ID, a text, a NUL.
  ReportBytes(std::uint32_t id, const std::string& text) : ReportBytes(id, text.size() + 2) {
    std::memcpy(_bytes.data() + 1, text.data(), text.size());
  }

  ReportBytes& put(std::size_t offset, std::initializer_list<int> bytes) {
    for (const int byte : bytes) _bytes.at(offset++) = static_cast<char>(byte);
    return *this;
  }

  /// A little-endian number of `size` bytes.
  ReportBytes& put(std::size_t offset, std::size_t size, std::uint64_t value) {
    for (std::size_t i = 0; i < size; ++i)
      _bytes.at(offset + i) = static_cast<char>(value >> 8 * i);
    return *this;
  }
  ReportBytes& put16(std::size_t offset, std::uint64_t value) { return put(offset, 2, value); }
  ReportBytes& put32(std::size_t offset, std::uint64_t value) { return put(offset, 4, value); }
  ReportBytes& put64(std::size_t offset, std::uint64_t value) { return put(offset, 8, value); }
  ReportBytes& putFloat(std::size_t offset, float value) {
    return put32(offset, std::bit_cast<std::uint32_t>(value));
  }

  ReportBytes& fill(std::size_t begin, std::size_t end, int byte) {
    for (std::size_t i = begin; i < end; ++i) _bytes.at(i) = static_cast<char>(byte);
    return *this;
  }

  std::uint32_t id() const { return _id; }
  std::int32_t type() const;  // as the list of reports has it; of an unknown one kFeature
  char* data() { return _bytes.data(); }
  std::size_t size() const { return _bytes.size(); }
  std::int64_t length() const { return static_cast<std::int64_t>(_bytes.size()); }

 private:
  std::uint32_t _id;
  std::vector<char> _bytes;
};

/// A fresh instance; -decimal if asked for.
std::unique_ptr<HIDReportVeskPlugin> makePlugin(bool decimal = false);

/// Decodes a report on a fresh instance.
Result decode(ReportBytes report, bool useStrings, bool decimal = false);

/// The lines of a report in text mode. Fails the test if there are none.
Lines linesOf(const ReportBytes& report, bool decimal = false);
Lines linesOf(const Result& result);

/// The object of a report in object mode. Fails the test if there is none.
ReportObject objectOf(const ReportBytes& report, bool decimal = false);

/// The number, string or array under a key. Fails the test if it is of another form.
Number numberAt(const ReportObject& object, std::string_view key);
std::string stringAt(const ReportObject& object, std::string_view key);
NumberSpan arrayAt(const ReportObject& object, std::string_view key);

/// A listing of a result, one entry a line with its kind:
///
///     dictionary 2
///     "Count" unsigned int 5
///     "SAMPLES" array of int: 1 -2 3
///
/// A bare string is `string "TEXT"`; nil is `nil`; lines are the lines themselves.
std::string listing(const Result& result);

/// What `run` writes to standard output.
std::string captureOutput(const std::function<void()>& run);

}  // namespace vesk::test
