#include "bench/reports.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <string_view>

#include "bench/catalogue.h"
#include "plugin/HIDReportVeskPlugin.h"

namespace bench {

namespace {

using vesk::kFeature;
using vesk::kInput;

template <class T>
void put(std::string& bytes, std::size_t offset, T value) {
  std::memcpy(bytes.data() + offset, &value, sizeof value);
}

std::uint32_t below(Random& random, std::uint32_t limit) {
  return std::uniform_int_distribution<std::uint32_t>(0, limit - 1)(random);
}

/// A count of something that seldom happens.
std::uint32_t rareCount(Random& random) {
  const std::uint32_t dice = below(random, 10);
  return dice < 7 ? 0 : dice < 9 ? below(random, 20) : below(random, 20000);
}

/// Samples of a sensor: noise around a level that drifts from channel to channel.
void putSamples(std::string& bytes, std::size_t offset, Random& random) {
  double level = std::normal_distribution<>(0, 20000)(random);
  for (std::size_t i = 0; i < 48; ++i) {
    level += std::normal_distribution<>(0, 3000)(random);
    put(bytes, offset + 4 * i, static_cast<std::int32_t>(std::lround(level)));
  }
}

void putRecord(std::string& bytes, int record, std::size_t events, std::uint16_t module,
               Random& random) {
  auto at = static_cast<std::size_t>(record);
  put(bytes, at, static_cast<std::uint16_t>(0x0100 + module));
  put(bytes, at + 2, static_cast<std::uint16_t>(events));
  for (std::size_t i = 0; i < events; ++i) put(bytes, at + 4 + 4 * i, rareCount(random));
}

/// The bits of the few channels with a fault.
std::uint64_t faults(Random& random) {
  std::uint64_t mask = 0;
  for (std::uint32_t n = below(random, 3); n > 0; --n)
    mask |= std::uint64_t{1} << below(random, 48);
  return mask;
}

std::string versionText(Random& random, std::uint32_t lines) {
  std::string text;
  for (std::uint32_t i = 0; i < lines; ++i) {
    if (i != 0) text += '\n';
    text += "vesk-" + std::to_string(below(random, 10)) + '.' + std::to_string(below(random, 100)) +
            '.' + std::to_string(below(random, 100)) + " (build " +
            std::to_string(below(random, 100000)) + ')';
  }
  return text;
}

/// Any text that is one: printable characters and those of two and three bytes.
std::string randomText(Random& random, std::uint32_t lines) {
  std::string text;
  for (std::uint32_t i = 0; i < lines; ++i) {
    if (i != 0) text += '\n';
    for (std::uint32_t n = below(random, 60); n > 0; --n) {
      const std::uint32_t dice = below(random, 20);
      if (dice == 0)
        text += "\u00B5";
      else if (dice == 1)
        text += "\u2126";
      else
        text += static_cast<char>(' ' + below(random, 95));
    }
  }
  return text;
}

void fillPlausible(std::string& bytes, std::uint32_t id, Random& random) {
  switch (id) {
    case 0xDF:  // up for some days, fed every second
      put(bytes, 1, below(random, 500000));
      put(bytes, 5, std::uint64_t{1000000} * below(random, 500000) + below(random, 1000000));
      put(bytes, 13, 0x40000000 + below(random, 0x1000));
      put(bytes, 17, below(random, 5000));
      put(bytes, 21, below(random, 5000));
      break;
    case 0xA9:
      for (std::size_t mode = 0; mode < 5; ++mode) {
        put(bytes, 1 + 8 * mode, below(random, 100000000));
        put(bytes, 5 + 8 * mode, below(random, 10000));
      }
      break;
    case 0x76:
      bytes[1] = static_cast<char>(below(random, 16));
      put(bytes, 2, static_cast<std::uint16_t>(below(random, 8)));
      put(bytes, 4, below(random, 1000000));
      put(bytes, 8, 0x00010000 + below(random, 256));
      put(bytes, 12, below(random, 100000000));
      for (std::size_t block = 0; block < 4; ++block) putSamples(bytes, 16 + 192 * block, random);
      put(bytes, 784, 0x00000100 + below(random, 256));
      put(bytes, 788, static_cast<float>(20 + below(random, 30000) / 1000.0));
      break;
    case 0xDC:
      put(bytes, 1, 0x20000000 + 16 * below(random, 4096));
      put(bytes, 5, static_cast<std::uint32_t>(random()));
      put(bytes, 9, below(random, 0x10000));
      put(bytes, 13, 64 * below(random, 1024));
      put(bytes, 17, below(random, 100000));
      put(bytes, 21, below(random, 2));
      break;
    case 0xDE:
      bytes[1] = static_cast<char>(below(random, 4));
      break;
    case 0x77:
      put(bytes, 1, std::uint16_t{0xDCAD});
      bytes[3] = '\x01';
      put(bytes, 4, below(random, 10000));
      put(bytes, 8, 2048u);
      put(bytes, 12, 2048 * below(random, 10000));
      for (std::size_t i = 0; i < 1024; ++i)  // 12-bit samples, two in a word
        put(bytes, 16 + 2 * i, static_cast<std::uint16_t>(2048 + below(random, 512) - 256));
      break;
    case 0xA2: {
      for (std::size_t i = 0; i < 48; ++i)
        put(bytes, 1 + 4 * i, static_cast<float>(std::normal_distribution<>(4000, 6000)(random)));
      break;
    }
    case 0xE0:
      bytes[1] = static_cast<char>(below(random, 6));
      put(bytes, 2, std::uint16_t{22});
      for (std::size_t i = 4; i < 7; ++i) bytes[i] = static_cast<char>(random() & random() & 0x3F);
      break;
    case 0xE1:
    case 0xEA: {
      put(bytes, 1, std::uint16_t{22});
      std::uint16_t number = 0;
      for (const reference::Module& module : reference::kModules)
        putRecord(bytes, module.record, module.events.size(), number++, random);
      for (const reference::Blob& blob : reference::kBlobs)
        putRecord(bytes, blob.record, std::size(reference::kBlobEvents), number++, random);
      break;
    }
    case 0xE2:  // most events at a level, the severe ones with a message, few with more
      for (std::size_t i = 1; i < bytes.size(); ++i) {
        const std::uint32_t level = below(random, 6);
        std::uint32_t option = level;
        if (level >= 3) option |= 0x40;
        if (below(random, 8) == 0) option |= 0x08;
        if (below(random, 20) == 0) option |= (1 + below(random, 3)) << 4;
        if (level == 5 && below(random, 4) == 0) option |= 0x80;
        bytes[i] = static_cast<char>(option);
      }
      break;
    case 0xE3:
      for (std::size_t i = 0; i < 7; ++i) put(bytes, 1 + 8 * i, faults(random));
      break;
    case 0xE4:
    case 0xE5:
      put(bytes, 1, faults(random));
      putSamples(bytes, 9, random);
      putSamples(bytes, 201, random);
      bytes[393] = below(random, 20) == 0;
      break;
  }
}

}  // namespace

const std::vector<Subject> kSubjects = {
    {"version", 0xD0, 0xD0, kFeature, 0, false, true},
    {"version_extended", 0xD2, 0xD2, kFeature, 0, false, true},
    {"watchdog", 0xDF, 0xDF, kFeature, 25, false, true},
    {"power_modes", 0xA9, 0xA9, kFeature, 41, false, true},
    {"image", 0x76, 0x76, kInput, 792, false, true},
    {"image_decimal", 0x76, 0x76, kInput, 792, true, false},
    {"adc_config", 0xDC, 0xDC, kFeature, 25, false, true},
    {"adc_state", 0xDE, 0xDE, kFeature, 2, false, true},
    {"adc_packet", 0x77, 0x77, kInput, 2064, false, true},
    {"baseline", 0xA2, 0xA2, kFeature, 193, false, true},
    {"summary", 0xE0, 0xE0, kFeature, 7, false, true},
    {"full_report", 0xE1, 0xEA, kFeature, 991, false, true},
    {"configuration", 0xE2, 0xE2, kFeature, 232, false, false},
    {"open_short", 0xE3, 0xE3, kFeature, 57, false, true},
    {"scan_data", 0xE4, 0xE5, kFeature, 401, false, true},
    {"scan_data_decimal", 0xE4, 0xE5, kFeature, 401, true, false},
};

Report makeReport(const Subject& subject, Values values, Random& random) {
  const std::uint32_t id = random() % 2 == 0 ? subject.id : subject.otherID;
  Report report{id, std::string(1, static_cast<char>(id))};
  if (subject.size == 0) {  // text up to its NUL
    const std::uint32_t lines = id == 0xD0 ? 1 : 6 + below(random, 3);
    report.bytes +=
        values == Values::Plausible ? versionText(random, lines) : randomText(random, lines);
    report.bytes += '\0';
    return report;
  }
  report.bytes.resize(subject.size);
  if (values == Values::Plausible)
    fillPlausible(report.bytes, id, random);
  else
    for (std::size_t i = 1; i < subject.size; ++i) report.bytes[i] = static_cast<char>(random());
  return report;
}

std::vector<Report> extremeReports(const Subject& subject) {
  std::vector<Report> reports;
  if (subject.size == 0) {
    const std::string_view texts[] = {"", "\n\n\n\n\n", "a\n\nb\n\nc\n", "1\n2\n3\n4\n5\n6\n7\n8"};
    for (const std::string_view text : texts) {
      std::string bytes(1, static_cast<char>(subject.id));
      if (subject.id == 0xD2 && text.empty()) continue;  // its object needs six lines
      reports.push_back({subject.id, bytes.append(text).append(1, '\0')});
    }
    return reports;
  }

  std::vector<std::uint32_t> words = {0,          1,          9,          10,         99,
                                      100,        9999,       10000,      99999999,   100000000,
                                      999999999,  1000000000, 0x7FFFFFFF, 0x80000000, 0x80000001,
                                      0xFFFFFFFF, 0xFFFFFF00, 0x00FF00FF, 0x55555555, 0xAAAAAAAA};
  const float magnitudes[] = {
      0.0f,       1e-45f,      0.0005f,        0.000488281250f, 0.0625f, 0.5f,
      0.9995f,    0.99949998f, 0.9999995f,     1.0005f,         2.5f,    999.9995f,
      8388607.5f, 8388608.0f,  16777215.0f,    2147483520.0f,   0x1p31f, 4294967040.0f,
      0x1p32f,    1e10f,       0x1.fffffep62f, 0x1p63f,         0x1p64f, 1e19f,
      1e20f,      1e30f,       3.4028235e38f,  INFINITY,        NAN,     1.17549435e-38f};
  for (const float magnitude : magnitudes)
    for (const float value : {magnitude, -magnitude})
      words.push_back(std::bit_cast<std::uint32_t>(value));

  for (const std::uint32_t id : {subject.id, subject.otherID})
    for (const std::uint32_t word : words)
      for (std::size_t phase = 0; phase < 4; ++phase) {
        Report report{id, std::string(subject.size, '\0')};
        for (std::size_t i = 0; i < subject.size; ++i)
          report.bytes[i] = static_cast<char>(word >> 8 * ((i + phase) % 4));
        report.bytes[0] = static_cast<char>(id);
        reports.push_back(report);
      }
  return reports;
}

}  // namespace bench
