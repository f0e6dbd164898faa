// Text by {fmt}: a string for each line, formats that the library compiles.

#include <fmt/compile.h>
#include <fmt/format.h>

#include <cstdint>
#include <iterator>
#include <stdexcept>
#include <string_view>

#include "bench/references/catalogue.h"
#include "bench/references/version1.h"

namespace reference {

namespace {

/// Appends `count` values, eight to a line.
template <class T, class Format>
void addRows(Lines& lines, const char* values, int count, const Format& format) {
  std::string line;
  for (int i = 0; i < count; ++i) {
    if (i != 0 && i % 8 == 0) {
      lines.push_back(line);
      line.clear();
    }
    fmt::format_to(std::back_inserter(line), format, read<T>(values + 4 * i));
  }
  lines.push_back(line);
}

std::string marks(std::string_view label, std::uint64_t mask) {
  std::string row;
  for (int bit = 47; bit >= 0; --bit) {
    if (bit % 8 == 7) row += ' ';
    row += (mask >> bit & 1) != 0 ? 'X' : '.';
  }
  return fmt::format(FMT_COMPILE("{} {}"), label, row);
}

Lines version(const char* r) { return {r + 1}; }

Lines versionExtended(const char* r) {
  Lines lines;
  std::string_view text = r + 1;
  for (std::size_t end; (end = text.find('\n')) != std::string_view::npos;
       text.remove_prefix(end + 1))
    lines.emplace_back(text.substr(0, end));
  lines.emplace_back(text);
  return lines;
}

Lines watchDog(const char* r) {
  const double seconds = static_cast<float>(read<std::uint64_t>(r + 5)) * 1e-6f;
  Lines lines;
  lines.push_back("Watchdog Data:");
  lines.push_back(fmt::format(FMT_COMPILE("    Feed Count:{}"), read<std::uint32_t>(r + 1)));
  lines.push_back(fmt::format(FMT_COMPILE("Feed Timestamp:0x{:016X}"), read<std::uint64_t>(r + 5)));
  lines.push_back(fmt::format(FMT_COMPILE("Feed Wallclock:{:15.3f}"), seconds));
  lines.push_back(fmt::format(FMT_COMPILE("      Register:0x{:08X}"), read<std::uint32_t>(r + 13)));
  lines.push_back(fmt::format(FMT_COMPILE("          Wake:{}"), read<std::uint32_t>(r + 17)));
  lines.push_back(fmt::format(FMT_COMPILE("         Sleep:{}"), read<std::uint32_t>(r + 21)));
  return lines;
}

Lines powerModes(const char* r) {
  Lines lines;
  lines.push_back("Power Mode Statistics - Total Time:");
  lines.push_back(fmt::format(FMT_COMPILE("INIT        : {:12} ms"), read<std::uint32_t>(r + 1)));
  lines.push_back(fmt::format(FMT_COMPILE("ACTIVE      : {:12} ms"), read<std::uint32_t>(r + 9)));
  lines.push_back(fmt::format(FMT_COMPILE("TIMEOUT     : {:12} ms"), read<std::uint32_t>(r + 17)));
  lines.push_back(fmt::format(FMT_COMPILE("READY       : {:12} ms"), read<std::uint32_t>(r + 25)));
  lines.push_back(fmt::format(FMT_COMPILE("LIGHT_SLEEP : {:12} ms"), read<std::uint32_t>(r + 33)));
  lines.push_back("");
  lines.push_back("Power Mode Statistics - Number of Times Entered:");
  lines.push_back(fmt::format(FMT_COMPILE("INIT        : {}"), read<std::uint32_t>(r + 5)));
  lines.push_back(fmt::format(FMT_COMPILE("ACTIVE      : {}"), read<std::uint32_t>(r + 13)));
  lines.push_back(fmt::format(FMT_COMPILE("TIMEOUT     : {}"), read<std::uint32_t>(r + 21)));
  lines.push_back(fmt::format(FMT_COMPILE("READY       : {}"), read<std::uint32_t>(r + 29)));
  lines.push_back(fmt::format(FMT_COMPILE("LIGHT_SLEEP : {}"), read<std::uint32_t>(r + 37)));
  return lines;
}

Lines image(const char* r, bool decimal) {
  Lines lines;
  lines.push_back(fmt::format(FMT_COMPILE("[Frame # = {}]"), read<std::uint32_t>(r + 4)));
  lines.push_back(
      fmt::format(FMT_COMPILE("[Frame Params = 0x{:08x}]"), read<std::uint32_t>(r + 8)));
  lines.push_back(fmt::format(FMT_COMPILE("[Timestamp = {} ms]"), read<std::uint32_t>(r + 12)));
  lines.push_back(
      fmt::format(FMT_COMPILE("[TMON = {:f} degC]"), static_cast<double>(read<float>(r + 788))));
  lines.push_back(
      fmt::format(FMT_COMPILE("[TMON Params = 0x{:08x}]"), read<std::uint32_t>(r + 784)));
  lines.push_back(fmt::format(FMT_COMPILE("[Cookie = 0x{:02x}]"), read<std::uint8_t>(r + 1)));
  lines.push_back(fmt::format(FMT_COMPILE("[Flags = 0x{:04x}]"), read<std::uint16_t>(r + 2)));
  lines.push_back("");
  const char* const titles[] = {"[D-SCAN I]", "[D-SCAN Q]", "[P-SCAN I]", "[P-SCAN Q]"};
  for (int block = 0; block < 4; ++block) {
    const char* const samples = r + 16 + 192 * block;
    lines.push_back(titles[block]);
    if (decimal)
      addRows<std::int32_t>(lines, samples, 48, FMT_COMPILE("{:14} "));
    else
      addRows<std::uint32_t>(lines, samples, 48, FMT_COMPILE("{:08x} "));
    lines.push_back("");
  }
  return lines;
}

Lines adcDumpConfig(const char* r) {
  Lines lines;
  lines.push_back("--ADC Dump Configuration--");
  lines.push_back("");
  lines.push_back(
      fmt::format(FMT_COMPILE("Start Address       = 0x{:08x}"), read<std::uint32_t>(r + 1)));
  lines.push_back(fmt::format(FMT_COMPILE("Channel Enable Mask = {:04x}{:08x}"),
                              read<std::uint32_t>(r + 9),
                              read<std::uint32_t>(r + 5)));
  lines.push_back(
      fmt::format(FMT_COMPILE("Sample Count        = {}"), read<std::uint32_t>(r + 13)));
  lines.push_back(
      fmt::format(FMT_COMPILE("Stim Timer Compare  = {}"), read<std::uint32_t>(r + 17)));
  lines.push_back(fmt::format(FMT_COMPILE("Trigger Source      = {}"),
                              read<std::uint32_t>(r + 21) == 0 ? "RX_EN" : "STIM_TIMER"));
  return lines;
}

Lines adcDumpState(const char* r) {
  const auto state = read<std::uint8_t>(r + 1);
  const char* const name = state == 2   ? "CONTINUOUS"
                           : state == 1 ? "SINGLE"
                           : state == 0 ? "STANDBY"
                                        : "INVALID";
  return {fmt::format(FMT_COMPILE("ADC Dump State: {}"), name)};
}

Lines adcDumpPacket(const char* r) {
  Lines lines;
  lines.push_back(fmt::format(FMT_COMPILE("[ADC Packet #    = {}]"), read<std::uint32_t>(r + 4)));
  lines.push_back(fmt::format(FMT_COMPILE("[Magic Value     = 0x{:02x}{:02x}{:02x}]"),
                              read<std::uint8_t>(r + 1),
                              read<std::uint8_t>(r + 2),
                              read<std::uint8_t>(r + 3)));
  lines.push_back(fmt::format(FMT_COMPILE("[Payload Size    = {}]"), read<std::uint32_t>(r + 8)));
  lines.push_back(fmt::format(FMT_COMPILE("[Total Dump Size = {}]"), read<std::uint32_t>(r + 12)));
  lines.push_back("");
  lines.push_back("[Packet Payload Data]");
  addRows<std::uint32_t>(lines, r + 16, 512, FMT_COMPILE("{:08x} "));
  return lines;
}

Lines baseline(const char* r) {
  Lines lines;
  lines.push_back("Vesk Algorithms Baseline:");
  lines.push_back("");
  std::string line;
  for (int i = 0; i < 48; ++i) {
    const double value = read<float>(r + 1 + 4 * i);
    fmt::format_to(std::back_inserter(line), FMT_COMPILE("{:< 13.3f} "), value);
    if (i % 8 == 7) {
      lines.push_back(line);
      line.clear();
    }
  }
  lines.push_back("");
  return lines;
}

/// As printf shows it.
const char* shown(const char* name) { return name != nullptr ? name : "(null)"; }

Lines summary(const char* r) {
  Lines lines;
  lines.push_back("--Black Box Summary--");
  lines.push_back(fmt::format(FMT_COMPILE("Severity Level: {}"),
                              shown(severity(read<std::uint8_t>(r + 1) & 7))));
  lines.push_back(fmt::format(FMT_COMPILE("Module Count:   {}"), read<std::uint16_t>(r + 2)));
  lines.push_back("");
  for (const Flag& flag : kFlags)
    lines.push_back(fmt::format(
        FMT_COMPILE("{:>20}: {}"), flag.name, read<std::uint8_t>(r + flag.offset) >> flag.bit & 1));
  return lines;
}

Lines fullReport(const char* r) {
  Lines lines;
  lines.push_back("---Black Box Full Report---");
  lines.push_back("");
  lines.push_back(
      fmt::format(FMT_COMPILE("{:>40}: {}"), "Module Count", read<std::uint16_t>(r + 1)));
  lines.push_back("");
  for (const Module& module : kModules) {
    const char* const record = r + module.record;
    lines.push_back(fmt::format(
        FMT_COMPILE("{:>40}: 0x{:04X}"), module.moduleIDLabel, read<std::uint16_t>(record)));
    lines.push_back(fmt::format(
        FMT_COMPILE("{:>40}: {}"), module.numberOfEventsLabel, read<std::uint16_t>(record + 2)));
    const char* counter = record + 4;
    for (const char* const event : module.events) {
      lines.push_back(fmt::format(FMT_COMPILE("{:>40}: {}"), event, read<std::int32_t>(counter)));
      counter += 4;
    }
    lines.push_back("");
  }
  for (const Blob& blob : kBlobs) {
    const char* const record = r + blob.record;
    lines.push_back(fmt::format(
        FMT_COMPILE("{:>30} Module ID: 0x{:04X}"), blob.name, read<std::uint16_t>(record)));
    lines.push_back(
        fmt::format(FMT_COMPILE("{:>40}: {}"), "BLOB # Events", read<std::uint16_t>(record + 2)));
    const char* counter = record + 4;
    for (const char* const event : kBlobEvents) {
      lines.push_back(fmt::format(FMT_COMPILE("{:>40}: {}"), event, read<std::int32_t>(counter)));
      counter += 4;
    }
    lines.push_back("");
  }
  return lines;
}

std::string option(int bits, const char* name, bool printLevel) {
  const char* const gpios[] = {"", "GPIO_0 ", "GPIO_1 ", "GPIO_2 "};
  const char* const masked = (bits & 0x08) != 0 ? "MASKED " : "";
  const char* const message = (bits & 0x40) != 0 ? "MESSAGE " : "";
  const char* const gpio = gpios[bits >> 4 & 3];
  const char* const breakpoint = (bits & 0x80) != 0 ? "BREAKPOINT " : "";
  const char* const none = (bits & 0xF8) == 0 ? "(no options set)" : "";
  if (!printLevel)
    return fmt::format(
        FMT_COMPILE("{:>40}:  {}{}{}{}{}"), name, masked, message, gpio, breakpoint, none);
  return fmt::format(FMT_COMPILE("{:>40}: {} {}{}{}{}{}"),
                     name,
                     shown(severity(bits & 7)),
                     masked,
                     message,
                     gpio,
                     breakpoint,
                     none);
}

Lines configuration(const char* r) {
  Lines lines;
  for (int i = 0; i < 6; ++i)
    lines.push_back(option(read<std::uint8_t>(r + 1 + i), kGlobalNames[i], false));
  lines.push_back("");
  for (const Module& module : kModules) {
    int offset = module.options;
    for (const char* const event : module.events) {
      // The byte at 26 is not shown: the one before it is, twice.
      lines.push_back(option(read<std::uint8_t>(r + (offset == 26 ? 25 : offset)), event, true));
      ++offset;
    }
    lines.push_back("");
  }
  for (const Blob& blob : kBlobs) {
    lines.push_back(fmt::format(FMT_COMPILE("{:>40}"), blob.name));
    int offset = blob.options;
    for (const char* const event : kBlobEvents)
      lines.push_back(option(read<std::uint8_t>(r + offset++), event, true));
    lines.push_back("");
  }
  return lines;
}

Lines openShortTest(const char* r) {
  const char* const labels[] = {"\tShort TX+ ",
                                "\tShort TX- ",
                                "\tShort BOTH",
                                "\tOpen  TX+ ",
                                "\tOpen  TX- ",
                                "\tOpen  BOTH",
                                "\tWeak  O/S "};
  Lines lines;
  lines.push_back("Open/Short Test Results:");
  lines.push_back("");
  lines.push_back("\t                  40       32       24       16        8        0");
  for (int i = 0; i < 7; ++i) lines.push_back(marks(labels[i], read<std::uint64_t>(r + 1 + 8 * i)));
  return lines;
}

Lines scanData(const char* r, unsigned id, bool decimal) {
  const char* const scan = id == 0xE4 ? "D-SCAN" : "P-SCAN";
  const auto addBlock = [decimal](Lines& lines, const char* samples) {
    if (decimal)
      addRows<std::int32_t>(lines, samples, 48, FMT_COMPILE("{:14} "));
    else
      addRows<std::uint32_t>(lines, samples, 48, FMT_COMPILE("{:08x} "));
  };
  Lines lines;
  lines.push_back(fmt::format(FMT_COMPILE("Open/Short Test {} Data:"), scan));
  lines.push_back("");
  lines.push_back("                       40       32       24       16        8        0");
  lines.push_back(marks("ADC Saturation ", read<std::uint64_t>(r + 1)));
  lines.push_back("");
  lines.push_back(fmt::format(FMT_COMPILE("Brownout: {}"),
                              (read<std::uint8_t>(r + 393) & 1) != 0 ? "YES" : "NO"));
  lines.push_back("");
  lines.push_back(fmt::format(FMT_COMPILE("[{} I]"), scan));
  addBlock(lines, r + 9);
  lines.push_back("");
  lines.push_back(fmt::format(FMT_COMPILE("[{} Q]"), scan));
  addBlock(lines, r + 201);
  return lines;
}

}  // namespace

Lines fmtText(const char* report, Mode mode) {
  const auto [id, decimal] = mode;
  switch (id) {
    case 0xD0:
      return version(report);
    case 0xD2:
      return versionExtended(report);
    case 0xDF:
      return watchDog(report);
    case 0xA9:
      return powerModes(report);
    case 0x76:
      return image(report, decimal);
    case 0xDC:
      return adcDumpConfig(report);
    case 0xDE:
      return adcDumpState(report);
    case 0x77:
      return adcDumpPacket(report);
    case 0xA2:
      return baseline(report);
    case 0xE0:
      return summary(report);
    case 0xE1:
    case 0xEA:
      return fullReport(report);
    case 0xE2:
      return configuration(report);
    case 0xE3:
      return openShortTest(report);
    case 0xE4:
    case 0xE5:
      return scanData(report, id, decimal);
  }
  throw std::invalid_argument("no such report");
}

}  // namespace reference
