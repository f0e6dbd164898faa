// Objects as a document of a general JSON library.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "bench/references/catalogue.h"
#include "bench/references/version1.h"

namespace reference {

namespace {

template <class T>
nlohmann::json array(const char* values, int count) {
  nlohmann::json elements = nlohmann::json::array();
  for (int i = 0; i < count; ++i) elements.push_back(read<T>(values + 4 * i));
  return elements;
}

nlohmann::json versionExtended(const char* r) {
  const char* const keys[] = {"PROJECT", "SDK", "TOOLCHAIN", "QOREX", "VENDOR", "ALGS"};
  std::istringstream text(r + 1);
  nlohmann::json object = nlohmann::json::object();
  for (const char* const key : keys) {
    std::string line;
    std::getline(text, line);
    object[key] = line;
  }
  return object;
}

nlohmann::json watchDog(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["Count"] = read<unsigned int>(r + 1);
  object["Timestamp"] = read<long long>(r + 5);
  object["Wallclock"] = static_cast<double>(static_cast<float>(read<std::uint64_t>(r + 5)) * 1e-6f);
  object["Register"] = read<unsigned int>(r + 13);
  object["Wake"] = read<unsigned int>(r + 17);
  object["Idle"] = read<unsigned int>(r + 21);
  return object;
}

nlohmann::json powerModes(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["INIT time ms"] = read<unsigned int>(r + 1);
  object["INIT times entered"] = read<unsigned int>(r + 5);
  object["ACTIVE time ms"] = read<unsigned int>(r + 9);
  object["ACTIVE times entered"] = read<unsigned int>(r + 13);
  object["TIMEOUT time ms"] = read<unsigned int>(r + 17);
  object["TIMEOUT times entered"] = read<unsigned int>(r + 21);
  object["READY time ms"] = read<unsigned int>(r + 25);
  object["READY times entered"] = read<unsigned int>(r + 29);
  object["LIGHT_SLEEP time ms"] = read<unsigned int>(r + 33);
  object["LIGHT_SLEEP times entered"] = read<unsigned int>(r + 37);
  return object;
}

nlohmann::json image(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["COOKIE"] = read<unsigned char>(r + 1);
  object["FLAGS"] = read<unsigned short>(r + 2);
  object["FRAME_NUMBER"] = read<unsigned int>(r + 4);
  object["FRAME_PARAMS"] = read<unsigned int>(r + 8);
  object["TIMESTAMP_MS"] = read<unsigned int>(r + 12);
  object["D_SCAN_I"] = array<int>(r + 16, 48);
  object["D_SCAN_Q"] = array<int>(r + 208, 48);
  object["P_SCAN_I"] = array<int>(r + 400, 48);
  object["P_SCAN_Q"] = array<int>(r + 592, 48);
  object["TMON_PARAMS"] = read<unsigned int>(r + 784);
  object["TMON_DEG_C"] = read<float>(r + 788);
  return object;
}

nlohmann::json adcDumpConfig(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["START_ADDRESS"] = read<unsigned int>(r + 1);
  object["CHANNEL_ENABLE_MASK"] = read<unsigned long long>(r + 5);
  object["SAMPLE_COUNT"] = read<unsigned int>(r + 13);
  object["STIM_TIMER_COMPARE"] = read<unsigned int>(r + 17);
  object["TRIGGER_SOURCE"] = read<unsigned int>(r + 21) == 0 ? "RX_EN" : "STIM_TIMER";
  return object;
}

std::string adcDumpState(const char* r) {
  const auto state = read<unsigned char>(r + 1);
  return state == 2 ? "CONTINUOUS" : state == 1 ? "SINGLE" : state == 0 ? "STANDBY" : "INVALID";
}

nlohmann::json adcDumpPacket(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["PACKET_ID"] = read<unsigned int>(r + 4);
  object["MAGIC_VALUE"] = read<unsigned char>(r + 1) << 2 | read<unsigned char>(r + 2) << 1 |
                          read<unsigned char>(r + 3);
  object["PAYLOAD_SIZE"] = read<unsigned int>(r + 8);
  object["TOTAL_DUMP_SIZE"] = read<unsigned int>(r + 12);
  object["PAYLOAD_DATA"] = array<unsigned int>(r + 16, 512);
  return object;
}

nlohmann::json baseline(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["BASELINE"] = array<float>(r + 1, 48);
  return object;
}

nlohmann::json summary(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["SEVERITY_LEVEL"] = read<unsigned char>(r + 1);
  object["MODULE_COUNT"] = read<unsigned short>(r + 2);
  for (const Flag& flag : kFlags)
    object[flag.name] =
        static_cast<unsigned char>(read<unsigned char>(r + flag.offset) >> flag.bit & 1);
  return object;
}

nlohmann::json fullReport(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["MODULE_COUNT"] = read<unsigned short>(r + 1);
  for (const Module& module : kModules) {
    const char* const record = r + module.record;
    object[module.moduleIDKey] = read<unsigned short>(record);
    if (module.record != 951)  // PMGR
      object[module.numberOfEventsKey] = read<unsigned short>(record + 2);
    const char* counter = record + 4;
    for (const char* const event : module.events) {
      object[event] = read<unsigned int>(counter);
      counter += 4;
    }
  }
  for (const Blob& blob : kBlobs) {
    const char* const record = r + blob.record;
    const std::string name = blob.name;
    object[name + "_MODULE_ID"] = read<unsigned short>(record);
    object[name + "_NUM_EVENTS"] = read<unsigned short>(record + 2);
    const char* counter = record + 4;
    for (const char* const event : kBlobEventKeys) {
      object[name + event] = read<unsigned int>(counter);
      counter += 4;
    }
  }
  return object;
}

nlohmann::json openShortTest(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["SHORT_TX_POS"] = read<unsigned long long>(r + 1);
  object["SHORT_TX_NEG"] = read<unsigned long long>(r + 9);
  object["SHORT_BOTH"] = read<unsigned long long>(r + 17);
  object["OPEN_TX_POS"] = read<unsigned long long>(r + 25);
  object["OPEN_TX_NEG"] = read<unsigned long long>(r + 33);
  object["OPEN_BOTH"] = read<unsigned long long>(r + 41);
  object["WEAK_OS"] = read<unsigned long long>(r + 49);
  return object;
}

nlohmann::json scanData(const char* r) {
  nlohmann::json object = nlohmann::json::object();
  object["SATURATION_DATA"] = read<unsigned long long>(r + 1);
  object["BROWNOUT"] = static_cast<unsigned char>(read<unsigned char>(r + 393) & 1);
  object["SCAN_DATA_I"] = array<unsigned int>(r + 9, 48);
  object["SCAN_DATA_Q"] = array<unsigned int>(r + 201, 48);
  return object;
}

}  // namespace

nlohmann::json dom(const char* report, Mode mode) {
  switch (mode.id) {
    case 0xD0:
      return report + 1;
    case 0xD2:
      return versionExtended(report);
    case 0xDF:
      return watchDog(report);
    case 0xA9:
      return powerModes(report);
    case 0x76:
      return image(report);
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
    case 0xE3:
      return openShortTest(report);
    case 0xE4:
    case 0xE5:
      return scanData(report);
  }
  throw std::invalid_argument("no such object");
}

}  // namespace reference
