// The reports of version 1: their names, and the values of a controller in order.

#include "bench/references/version1.h"

#include <cstdint>

#include "bench/references/catalogue.h"
#include "bench/references/shared.h"

namespace reference {

namespace {

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

/// Up for some days, fed every second.
void fillWatchDog(std::string& bytes, Random& random) {
  put(bytes, 1, below(random, 500000));
  put(bytes, 5, std::uint64_t{1000000} * below(random, 500000) + below(random, 1000000));
  put(bytes, 13, 0x40000000 + below(random, 0x1000));
  put(bytes, 17, below(random, 5000));
  put(bytes, 21, below(random, 5000));
}

void fillPowerModes(std::string& bytes, Random& random) {
  for (std::size_t mode = 0; mode < 5; ++mode) {
    put(bytes, 1 + 8 * mode, below(random, 100000000));
    put(bytes, 5 + 8 * mode, below(random, 10000));
  }
}

void fillImage(std::string& bytes, Random& random) {
  bytes[1] = static_cast<char>(below(random, 16));
  put(bytes, 2, static_cast<std::uint16_t>(below(random, 8)));
  put(bytes, 4, below(random, 1000000));
  put(bytes, 8, 0x00010000 + below(random, 256));
  put(bytes, 12, below(random, 100000000));
  for (std::size_t block = 0; block < 4; ++block) putSamples(bytes, 16 + 192 * block, random);
  put(bytes, 784, 0x00000100 + below(random, 256));
  put(bytes, 788, static_cast<float>(20 + below(random, 30000) / 1000.0));
}

void fillAdcDumpConfig(std::string& bytes, Random& random) {
  put(bytes, 1, 0x20000000 + 16 * below(random, 4096));
  put(bytes, 5, static_cast<std::uint32_t>(random()));
  put(bytes, 9, below(random, 0x10000));
  put(bytes, 13, 64 * below(random, 1024));
  put(bytes, 17, below(random, 100000));
  put(bytes, 21, below(random, 2));
}

void fillAdcDumpState(std::string& bytes, Random& random) {
  bytes[1] = static_cast<char>(below(random, 4));
}

void fillAdcDumpPacket(std::string& bytes, Random& random) {
  put(bytes, 1, std::uint16_t{0xDCAD});
  bytes[3] = '\x01';
  put(bytes, 4, below(random, 10000));
  put(bytes, 8, 2048u);
  put(bytes, 12, 2048 * below(random, 10000));
  for (std::size_t i = 0; i < 1024; ++i)  // 12-bit samples, two in a word
    put(bytes, 16 + 2 * i, static_cast<std::uint16_t>(2048 + below(random, 512) - 256));
}

void fillBaseline(std::string& bytes, Random& random) {
  for (std::size_t i = 0; i < 48; ++i)
    put(bytes, 1 + 4 * i, static_cast<float>(std::normal_distribution<>(4000, 6000)(random)));
}

void fillSummary(std::string& bytes, Random& random) {
  bytes[1] = static_cast<char>(below(random, 6));
  put(bytes, 2, std::uint16_t{22});
  for (std::size_t i = 4; i < 7; ++i) bytes[i] = static_cast<char>(random() & random() & 0x3F);
}

void fillFullReport(std::string& bytes, Random& random) {
  put(bytes, 1, std::uint16_t{22});
  std::uint16_t number = 0;
  for (const Module& module : kModules)
    putRecord(bytes, module.record, module.events.size(), number++, random);
  for (const Blob& blob : kBlobs)
    putRecord(bytes, blob.record, std::size(kBlobEvents), number++, random);
}

/// Most events at a level, the severe ones with a message, few with more.
void fillConfiguration(std::string& bytes, Random& random) {
  for (std::size_t i = 1; i < bytes.size(); ++i) {
    const std::uint32_t level = below(random, 6);
    std::uint32_t option = level;
    if (level >= 3) option |= 0x40;
    if (below(random, 8) == 0) option |= 0x08;
    if (below(random, 20) == 0) option |= (1 + below(random, 3)) << 4;
    if (level == 5 && below(random, 4) == 0) option |= 0x80;
    bytes[i] = static_cast<char>(option);
  }
}

void fillOpenShortTest(std::string& bytes, Random& random) {
  for (std::size_t i = 0; i < 7; ++i) put(bytes, 1 + 8 * i, faults(random));
}

void fillScanData(std::string& bytes, Random& random) {
  put(bytes, 1, faults(random));
  putSamples(bytes, 9, random);
  putSamples(bytes, 201, random);
  bytes[393] = below(random, 20) == 0;
}

const Registered version({.name = "version",
                          .ids = {0xD0},
                          .text = text,
                          .fmtText = fmtText,
                          .object = object,
                          .dom = dom});
const Registered versionExtended({.name = "version_extended",
                                  .ids = {0xD2},
                                  .text = text,
                                  .fmtText = fmtText,
                                  .object = object,
                                  .dom = dom,
                                  .fewestLines = 6,
                                  .mostLines = 8});
const Registered watchdog({.name = "watchdog",
                           .ids = {0xDF},
                           .text = text,
                           .fmtText = fmtText,
                           .object = object,
                           .dom = dom,
                           .fill = fillWatchDog});
const Registered powerModes({.name = "power_modes",
                             .ids = {0xA9},
                             .text = text,
                             .fmtText = fmtText,
                             .object = object,
                             .dom = dom,
                             .fill = fillPowerModes});
const Registered image({.name = "image",
                        .ids = {0x76},
                        .text = text,
                        .fmtText = fmtText,
                        .object = object,
                        .dom = dom,
                        .fill = fillImage,
                        .decimal = true});
const Registered adcConfig({.name = "adc_config",
                            .ids = {0xDC},
                            .text = text,
                            .fmtText = fmtText,
                            .object = object,
                            .dom = dom,
                            .fill = fillAdcDumpConfig});
const Registered adcState({.name = "adc_state",
                           .ids = {0xDE},
                           .text = text,
                           .fmtText = fmtText,
                           .object = object,
                           .dom = dom,
                           .fill = fillAdcDumpState});
const Registered adcPacket({.name = "adc_packet",
                            .ids = {0x77},
                            .text = text,
                            .fmtText = fmtText,
                            .object = object,
                            .dom = dom,
                            .fill = fillAdcDumpPacket});
const Registered baseline({.name = "baseline",
                           .ids = {0xA2},
                           .text = text,
                           .fmtText = fmtText,
                           .object = object,
                           .dom = dom,
                           .fill = fillBaseline});
const Registered summary({.name = "summary",
                          .ids = {0xE0},
                          .text = text,
                          .fmtText = fmtText,
                          .object = object,
                          .dom = dom,
                          .fill = fillSummary});
const Registered fullReport({.name = "full_report",
                             .ids = {0xE1, 0xEA},
                             .text = text,
                             .fmtText = fmtText,
                             .object = object,
                             .dom = dom,
                             .fill = fillFullReport});
const Registered configuration({.name = "configuration",
                                .ids = {0xE2},
                                .text = text,
                                .fmtText = fmtText,
                                .fill = fillConfiguration});
const Registered openShort({.name = "open_short",
                            .ids = {0xE3},
                            .text = text,
                            .fmtText = fmtText,
                            .object = object,
                            .dom = dom,
                            .fill = fillOpenShortTest});
const Registered scanData({.name = "scan_data",
                           .ids = {0xE4, 0xE5},
                           .text = text,
                           .fmtText = fmtText,
                           .object = object,
                           .dom = dom,
                           .fill = fillScanData,
                           .decimal = true});

}  // namespace

}  // namespace reference
