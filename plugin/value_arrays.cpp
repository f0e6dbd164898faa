// The value arrays: runs of 32-bit elements as lines of eight, or as numbers.

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "model/lines.h"
#include "plugin/HIDReportVeskPlugin.h"
#include "text/format.h"
#include "text/library_format.h"
#include "text/rows.h"
#include "text/run_time_format.h"

namespace vesk {

namespace {

using kernels::kDecimalRow;
using kernels::kHexRow;
using kernels::RowKernels;

constexpr std::uint32_t kPerLine = 8;
static_assert(kPerLine == kernels::kPerRow);

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

/// The same where a kernel writes whole rows, all of `size` characters and a newline.
template <format::Literal text, std::size_t size, auto kernel, class T>
void addBlock(LineList& lines, const wire::Field<T>* data, std::uint32_t count) {
  const std::uint32_t rows = count / kPerLine;
  lines.addBlock(
      rows, size, [&](char* out) { (kernels::rowKernels().*kernel)(out, data->bytes, rows); });
  if (const std::uint32_t rest = count % kPerLine; rest != 0)
    addRows<text>(lines, data + (count - rest), rest);
}

/// The same where a kernel writes a row, of varying size.
template <format::Literal text, auto kernel, class T>
void addLines(LineList& lines, const wire::Field<T>* data, std::uint32_t count) {
  constexpr std::size_t size = kPerLine * format::maximumSize<text, T>();
  lines.addLines(count / kPerLine, size, [&](char* out, std::size_t row) {
    return (kernels::rowKernels().*kernel)(out, data[row * kPerLine].bytes);
  });
  if (const std::uint32_t rest = count % kPerLine; rest != 0)
    addRows<text>(lines, data + (count - rest), rest);
}

/// Whether two texts are the same. Written out: a call for six characters takes longer.
template <std::size_t size>
bool equal(const char* text, const char (&constant)[size]) {
  for (std::size_t i = 0; i < size; ++i)
    if (text[i] != constant[i]) return false;
  return true;
}

/// A format that our own code interprets, and that takes elements of type T; nothing for another.
template <class T>
std::optional<format::Format> ownFormat(const char* text) try {
  const format::Format format(text);
  if (!format.takes<T>()) return std::nullopt;
  return format;
} catch (const std::invalid_argument&) {
  return std::nullopt;
}

/// The same for a format that is left to the C library.
template <class T>
void addByLibrary(LineList& lines, const wire::Field<T>* data, std::uint32_t count,
                  const char* text) {
  const format::LibraryFormat format(text);
  if (!format.takes<T>())
    throw std::invalid_argument("format: \"" + std::string(text) +
                                "\" does not take the elements of this array");
  std::string line;
  for (std::uint32_t i = 0; i < count; ++i) {
    if (i != 0 && i % kPerLine == 0) {
      lines.add(line);
      line.clear();
    }
    format.append(line, data[i].value());
  }
  lines.add(line);
}

template <class T>
void addArray(LineList& lines, const wire::Field<T>* data, std::uint32_t count, const char* text) {
  if (count == 0) return lines.add("");
  // The formats of the reports are compiled; any other one is interpreted.
  if constexpr (std::is_same_v<T, float>) {
    if (equal(text, "% -13.3f "))
      return addLines<"% -13.3f ", &RowKernels::fixed>(lines, data, count);
  } else {
    if (equal(text, "%08x "))
      return addBlock<"%08x ", kHexRow - 1, &RowKernels::hex>(lines, data, count);
    if (equal(text, "%14d "))
      return addBlock<"%14d ", kDecimalRow - 1, &RowKernels::decimal>(lines, data, count);
  }
  const auto format = ownFormat<T>(text);
  if (!format) return addByLibrary(lines, data, count, text);
  std::size_t size = 0;
  for (std::uint32_t i = 0; i < count; ++i) size = std::max(size, format->size(data[i].value()));
  addRows(lines, data, count, size, [&format](char* out, T value) {
    return format->write(out, value);
  });
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
