#include "host/run/Messages.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>
#include <utility>

#include "host/run/DescriptorSink.h"
#include "host/writing/Colour.h"
#include "host/writing/Terminal.h"

namespace vesk::host {

namespace {

/// Standard error may be closed or full, and there is nobody left to tell.
void writeQuietly(std::string_view text) {
  try {
    writeAll(STDERR_FILENO, text);
  } catch (const OutputFault&) {
    return;
  }
}

std::string secondsLeft(double seconds) {
  std::array<char, 32> text;
  const auto whole = static_cast<unsigned long>(seconds);
  std::snprintf(text.data(), text.size(), ", %lu:%02lu left", whole / 60, whole % 60);
  return text.data();
}

}  // namespace

void Messages::tell(std::string_view where, std::string_view message) {
  write(printable(where), printable(message));
}

void Messages::write(std::string_view where, std::string_view message) {
  clear();
  put(std::string(where).append(": ").append(message) + '\n');
}

void Messages::put(std::string_view text) {
  if (_held)
    _kept += text;
  else
    writeQuietly(text);
}

void Messages::release() {
  _held = false;
  writeQuietly(std::exchange(_kept, {}));
}

void Messages::complain(std::string_view where, std::string_view message) {
  if (!_colours) return tell(where, message);
  write(coloured(Colour::Bold, printable(where)), coloured(Colour::Red, printable(message)));
}

void Messages::show(std::string_view lines) {
  clear();
  put(printableLines(lines));
}

void Messages::beginFile() { _begun = false; }

void Messages::progress(std::uint64_t bytes, std::optional<std::uint64_t> size,
                        std::uint64_t reports) {
  using namespace std::chrono_literals;
  if (!_progress || _held) return;
  const Clock::time_point now = Clock::now();
  if (!std::exchange(_begun, true)) {
    _begin = now;
    _next = now + 1s;
    _reportsAtBegin = reports;
  }
  if (now < _next) return;
  _next = now + 200ms;

  const double seconds = std::chrono::duration<double>(now - _begin).count();
  std::array<char, 96> text;
  std::snprintf(text.data(),
                text.size(),
                "\r\x1b[K%.1f MB, %.0f reports/s",
                static_cast<double>(bytes) / 1e6,
                static_cast<double>(reports - _reportsAtBegin) / seconds);
  std::string line = text.data();
  if (size && *size != 0 && bytes != 0) {
    const double part = static_cast<double>(bytes) / static_cast<double>(*size);
    std::snprintf(text.data(), text.size(), ", %.0f %%", 100 * part);
    line += text.data() + secondsLeft(seconds / part - seconds);
  }
  writeQuietly(line);
  _lineShown = true;
}

void Messages::clear() {
  if (std::exchange(_lineShown, false)) writeQuietly("\r\x1b[K");
}

}  // namespace vesk::host
