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
/// `size` characters.
template <class T, class Write>
void addRows(LineList& lines, const wire::Field<T>* data, std::uint32_t count, std::size_t size,
             const Write& write) {
  const std::uint32_t rows = count / kPerLine + (count % kPerLine != 0 ? 1 : 0);
  lines.addLines(rows, kPerLine * size, [&](char* out, std::size_t row) {
    const std::size_t begin = row * kPerLine;
    const std::size_t end = std::min<std::size_t>(begin + kPerLine, count);
    for (std::size_t i = begin; i < end; ++i) out = write(out, data[i].value());
    return out;
  });
}

/// The same for a format that is known when the program is compiled.
template <format::Literal text, class T>
void addRows(LineList& lines, const wire::Field<T>* data, std::uint32_t count) {
  addRows(lines, data, count, format::maximumSize<text, T>(), [](char* out, T value) {
    return format::write<text>(out, value);
  });
}

/// The same where a kernel writes whole rows, of `size` characters each.
template <format::Literal text, std::size_t size, auto writeRow, class T>
void addRows(LineList& lines, const wire::Field<T>* data, std::uint32_t count) {
  const std::uint32_t rest = count % kPerLine;
  lines.addLines(count / kPerLine, size, [&](char* out, std::size_t row) {
    return writeRow(out, data[row * kPerLine].bytes);
  });
  if (rest != 0) addRows<text>(lines, data + (count - rest), rest);
}

template <class T>
void addArray(LineList& lines, const wire::Field<T>* data, std::uint32_t count,
              std::string_view text) {
  // The formats of the reports are compiled; any other one is interpreted.
  if (count != 0) {
    if constexpr (std::is_same_v<T, float>) {
      if (text == "% -13.3f ") return addRows<"% -13.3f ">(lines, data, count);
    } else {
      if (text == "%08x ") return addRows<"%08x ", 72, kernels::hexRow>(lines, data, count);
      if (text == "%14d ") return addRows<"%14d ", 120, kernels::decimalRow>(lines, data, count);
    }
  }
  const format::Format format(text);
  if (!format.takes<T>())
    throw std::invalid_argument("format: \"" + std::string(text) +
                                "\" does not take the elements of this array");
  if (count == 0) return lines.add("");
  std::size_t size = 0;
  for (std::uint32_t i = 0; i < count; ++i) size = std::max(size, format.size(data[i].value()));
  addRows(
      lines, data, count, size, [&format](char* out, T value) { return format.write(out, value); });
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
