// The value arrays: runs of 32-bit elements as lines of eight, or as numbers.

#include <algorithm>
#include <stdexcept>
#include <string>
#include <string_view>

#include "plugin/HIDReportVeskPlugin.h"
#include "plugin/format.h"

namespace vesk {

namespace {

constexpr std::uint32_t kPerLine = 8;

/// Appends `count` elements in lines of eight, each written by `write(out, value)` in no more than
/// `size(value)` characters.
template <class T, class Size, class Write>
void addRows(LineList& lines, const wire::Field<T>* data, std::uint32_t count, const Size& size,
             const Write& write) {
  for (std::uint32_t begin = 0; begin < count; begin += kPerLine) {
    const std::uint32_t end = begin + std::min(kPerLine, count - begin);
    std::size_t characters = 0;
    for (std::uint32_t i = begin; i < end; ++i) characters += size(data[i].value());
    char* out = lines.lineRoom(characters);
    for (std::uint32_t i = begin; i < end; ++i) out = write(out, data[i].value());
    lines.endLine(out);
  }
}

/// The same for a format that is known when the program is compiled.
template <format::Literal text, class T>
void addRows(LineList& lines, const wire::Field<T>* data, std::uint32_t count) {
  addRows(
      lines, data, count, [](T value) { return format::size<text>(value); },
      [](char* out, T value) { return format::write<text>(out, value); });
}

template <class T>
void addArray(LineList& lines, const wire::Field<T>* data, std::uint32_t count,
              std::string_view text) {
  const format::Format format(text);
  if (!format.takes<T>())
    throw std::invalid_argument("format: \"" + std::string(text) +
                                "\" does not take the elements of this array");
  if (count == 0) return lines.add("");

  // The formats of the reports are compiled; any other one is interpreted.
  if constexpr (std::is_same_v<T, float>) {
    if (text == "% -13.3f ") return addRows<"% -13.3f ">(lines, data, count);
  } else {
    if (text == "%08x ") return addRows<"%08x ">(lines, data, count);
    if (text == "%14d ") return addRows<"%14d ">(lines, data, count);
  }
  addRows(
      lines, data, count, [&format](T value) { return format.size(value); },
      [&format](char* out, T value) { return format.write(out, value); });
}

}  // namespace

void HIDReportVeskPlugin::addArrayUint32(LineList& lines, const u32* data, std::uint32_t dataLength,
                                         const char* format) const {
  addArray(lines, data, dataLength, format);
}

void HIDReportVeskPlugin::addArrayInt32(LineList& lines, const i32* data, std::uint32_t dataLength,
                                        const char* format) const {
  addArray(lines, data, dataLength, format);
}

void HIDReportVeskPlugin::addArrayFloat(LineList& lines, const f32* data, std::uint32_t dataLength,
                                        const char* format) const {
  addArray(lines, data, dataLength, format);
}

NumberArray HIDReportVeskPlugin::arrayWithUint32Array(const u32* data, std::uint32_t length) const {
  return {data, length};
}

NumberArray HIDReportVeskPlugin::arrayWithInt32Array(const i32* data, std::uint32_t length) const {
  return {data, length};
}

NumberArray HIDReportVeskPlugin::arrayWithFloatArray(const f32* data, std::uint32_t length) const {
  return {data, length};
}

}  // namespace vesk
