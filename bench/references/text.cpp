// Text the ordinary way: a string for each line, a call of snprintf for each value.

#include <cstdint>
#include <stdexcept>

#include "bench/references/catalogue.h"
#include "bench/references/shared.h"
#include "bench/references/version1.h"

namespace reference {

namespace {

/// Bits 47 to 0 as marks, built from the last one to the first.
std::string marks(const char* label, std::uint64_t mask) {
  std::string row;
  for (int i = 1; i <= 48; ++i) {
    row.insert(0, (mask & 1) != 0 ? "X" : ".");
    if (i % 8 == 0) row.insert(0, " ");
    mask >>= 1;
  }
  return printed("%s %s", label, row.c_str());
}

Lines version(const char* r) { return {r + 1}; }

Lines versionExtended(const char* r) {
  Lines lines;
  const std::string text = r + 1;
  std::size_t begin = 0;
  for (std::size_t end; (end = text.find('\n', begin)) != std::string::npos; begin = end + 1)
    lines.push_back(text.substr(begin, end - begin));
  lines.push_back(text.substr(begin));
  return lines;
}

Lines watchDog(const char* r) {
  const double seconds = static_cast<float>(read<std::uint64_t>(r + 5)) * 1e-6f;
  Lines lines;
  lines.push_back("Watchdog Data:");
  lines.push_back(printed("    Feed Count:%u", read<std::uint32_t>(r + 1)));
  lines.push_back(printed("Feed Timestamp:0x%016llX", read<unsigned long long>(r + 5)));
  lines.push_back(printed("Feed Wallclock:%15.3f", seconds));
  lines.push_back(printed("      Register:0x%08X", read<std::uint32_t>(r + 13)));
  lines.push_back(printed("          Wake:%u", read<std::uint32_t>(r + 17)));
  lines.push_back(printed("         Sleep:%u", read<std::uint32_t>(r + 21)));
  return lines;
}

Lines powerModes(const char* r) {
  Lines lines;
  lines.push_back("Power Mode Statistics - Total Time:");
  lines.push_back(printed("INIT        : %12u ms", read<std::uint32_t>(r + 1)));
  lines.push_back(printed("ACTIVE      : %12u ms", read<std::uint32_t>(r + 9)));
  lines.push_back(printed("TIMEOUT     : %12u ms", read<std::uint32_t>(r + 17)));
  lines.push_back(printed("READY       : %12u ms", read<std::uint32_t>(r + 25)));
  lines.push_back(printed("LIGHT_SLEEP : %12u ms", read<std::uint32_t>(r + 33)));
  lines.push_back("");
  lines.push_back("Power Mode Statistics - Number of Times Entered:");
  lines.push_back(printed("INIT        : %u", read<std::uint32_t>(r + 5)));
  lines.push_back(printed("ACTIVE      : %u", read<std::uint32_t>(r + 13)));
  lines.push_back(printed("TIMEOUT     : %u", read<std::uint32_t>(r + 21)));
  lines.push_back(printed("READY       : %u", read<std::uint32_t>(r + 29)));
  lines.push_back(printed("LIGHT_SLEEP : %u", read<std::uint32_t>(r + 37)));
  return lines;
}

Lines image(const char* r, bool decimal) {
  const char* const format = decimal ? "%14d " : "%08x ";
  Lines lines;
  lines.push_back(printed("[Frame # = %u]", read<std::uint32_t>(r + 4)));
  lines.push_back(printed("[Frame Params = 0x%08x]", read<std::uint32_t>(r + 8)));
  lines.push_back(printed("[Timestamp = %u ms]", read<std::uint32_t>(r + 12)));
  lines.push_back(printed("[TMON = %f degC]", static_cast<double>(read<float>(r + 788))));
  lines.push_back(printed("[TMON Params = 0x%08x]", read<std::uint32_t>(r + 784)));
  lines.push_back(printed("[Cookie = 0x%02x]", read<std::uint8_t>(r + 1)));
  lines.push_back(printed("[Flags = 0x%04x]", read<std::uint16_t>(r + 2)));
  lines.push_back("");
  const char* const titles[] = {"[D-SCAN I]", "[D-SCAN Q]", "[P-SCAN I]", "[P-SCAN Q]"};
  for (int block = 0; block < 4; ++block) {
    lines.push_back(titles[block]);
    addRows<std::int32_t>(lines, r + 16 + 192 * block, 48, format);
    lines.push_back("");
  }
  return lines;
}

Lines adcDumpConfig(const char* r) {
  Lines lines;
  lines.push_back("--ADC Dump Configuration--");
  lines.push_back("");
  lines.push_back(printed("Start Address       = 0x%08x", read<std::uint32_t>(r + 1)));
  lines.push_back(printed(
      "Channel Enable Mask = %04x%08x", read<std::uint32_t>(r + 9), read<std::uint32_t>(r + 5)));
  lines.push_back(printed("Sample Count        = %u", read<std::uint32_t>(r + 13)));
  lines.push_back(printed("Stim Timer Compare  = %u", read<std::uint32_t>(r + 17)));
  lines.push_back(printed("Trigger Source      = %s",
                          read<std::uint32_t>(r + 21) == 0 ? "RX_EN" : "STIM_TIMER"));
  return lines;
}

Lines adcDumpState(const char* r) {
  const auto state = read<std::uint8_t>(r + 1);
  const char* const name = state == 2   ? "CONTINUOUS"
                           : state == 1 ? "SINGLE"
                           : state == 0 ? "STANDBY"
                                        : "INVALID";
  return {printed("ADC Dump State: %s", name)};
}

Lines adcDumpPacket(const char* r) {
  Lines lines;
  lines.push_back(printed("[ADC Packet #    = %u]", read<std::uint32_t>(r + 4)));
  lines.push_back(printed("[Magic Value     = 0x%02x%02x%02x]",
                          read<std::uint8_t>(r + 1),
                          read<std::uint8_t>(r + 2),
                          read<std::uint8_t>(r + 3)));
  lines.push_back(printed("[Payload Size    = %u]", read<std::uint32_t>(r + 8)));
  lines.push_back(printed("[Total Dump Size = %u]", read<std::uint32_t>(r + 12)));
  lines.push_back("");
  lines.push_back("[Packet Payload Data]");
  addRows<std::uint32_t>(lines, r + 16, 512, "%08x ");
  return lines;
}

Lines baseline(const char* r) {
  Lines lines;
  lines.push_back("Vesk Algorithms Baseline:");
  lines.push_back("");
  addRows<float>(lines, r + 1, 48, "% -13.3f ");
  lines.push_back("");
  return lines;
}

Lines summary(const char* r) {
  Lines lines;
  lines.push_back("--Black Box Summary--");
  lines.push_back(printed("Severity Level: %s", severity(read<std::uint8_t>(r + 1) & 7)));
  lines.push_back(printed("Module Count:   %i", read<std::uint16_t>(r + 2)));
  lines.push_back("");
  for (const Flag& flag : kFlags)
    lines.push_back(
        printed("%20s: %i", flag.name, read<std::uint8_t>(r + flag.offset) >> flag.bit & 1));
  return lines;
}

Lines fullReport(const char* r) {
  Lines lines;
  lines.push_back("---Black Box Full Report---");
  lines.push_back("");
  lines.push_back(printed("%40s: %i", "Module Count", read<std::uint16_t>(r + 1)));
  lines.push_back("");
  for (const Module& module : kModules) {
    const char* const record = r + module.record;
    lines.push_back(printed("%40s: 0x%04X", module.moduleIDLabel, read<std::uint16_t>(record)));
    lines.push_back(
        printed("%40s: %i", module.numberOfEventsLabel, read<std::uint16_t>(record + 2)));
    const char* counter = record + 4;
    for (const char* const event : module.events) {
      lines.push_back(printed("%40s: %i", event, read<std::int32_t>(counter)));
      counter += 4;
    }
    lines.push_back("");
  }
  for (const Blob& blob : kBlobs) {
    const char* const record = r + blob.record;
    lines.push_back(printed("%30s Module ID: 0x%04X", blob.name, read<std::uint16_t>(record)));
    lines.push_back(printed("%40s: %i", "BLOB # Events", read<std::uint16_t>(record + 2)));
    const char* counter = record + 4;
    for (const char* const event : kBlobEvents) {
      lines.push_back(printed("%40s: %i", event, read<std::int32_t>(counter)));
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
    return printed("%40s:  %s%s%s%s%s", name, masked, message, gpio, breakpoint, none);
  return printed(
      "%40s: %s %s%s%s%s%s", name, severity(bits & 7), masked, message, gpio, breakpoint, none);
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
    lines.push_back(printed("%40s", blob.name));
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
  const char* const format = decimal ? "%14d " : "%08x ";
  Lines lines;
  lines.push_back(printed("Open/Short Test %s Data:", scan));
  lines.push_back("");
  lines.push_back("                       40       32       24       16        8        0");
  lines.push_back(marks("ADC Saturation ", read<std::uint64_t>(r + 1)));
  lines.push_back("");
  lines.push_back(printed("Brownout: %s", (read<std::uint8_t>(r + 393) & 1) != 0 ? "YES" : "NO"));
  lines.push_back("");
  lines.push_back(printed("[%s I]", scan));
  addRows<std::uint32_t>(lines, r + 9, 48, format);
  lines.push_back("");
  lines.push_back(printed("[%s Q]", scan));
  addRows<std::uint32_t>(lines, r + 201, 48, format);
  return lines;
}

}  // namespace

Lines text(const char* report, Mode mode) {
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
