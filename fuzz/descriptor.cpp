// Report descriptors: any bytes are read, what they declare stays bounded, and what stands before a
// damage is what would be declared without the rest.

#include "host/live/Descriptor.h"

#include "fuzz/Given.h"
#include "text/numbers.h"

namespace vesk::fuzz {
namespace {

using host::DeclaredReports;
using host::ReportType;

void demandSame(const DeclaredReports& one, const DeclaredReports& other) {
  demand(one.usesIds() == other.usesIds(), "IDs are used, or they are not");
  for (const ReportType type : {ReportType::Input, ReportType::Output, ReportType::Feature}) {
    for (std::uint32_t id = 0; id < host::kReportIds; ++id) {
      demand(one.declares(type, id) == other.declares(type, id), "the same reports are declared");
      demand(one.bits(type, id) == other.bits(type, id), "they are as long");
    }
  }
}

void check(std::span<const std::uint8_t> bytes) {
  const DeclaredReports declared = host::parseDescriptor(bytes);
  for (const ReportType type : {ReportType::Input, ReportType::Output, ReportType::Feature}) {
    for (std::uint32_t id = 0; id < host::kReportIds; ++id) {
      demand(declared.bits(type, id) <= DeclaredReports::kMostBits, "a length is bounded");
      demand(declared.bits(type, id) == 0 || declared.declares(type, id),
             "what has a length is declared");
    }
  }
  if (!declared.damage()) return;
  const std::string_view damage = *declared.damage();
  const auto at = parseNumber<std::size_t>(damage.substr(damage.rfind(' ') + 1));
  demand(at && *at < bytes.size(), "a damage is somewhere");
  const DeclaredReports before = host::parseDescriptor(bytes.first(*at));
  demand(!before.damage(), "the first damage is told");
  demandSame(before, declared);
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vesk::fuzz::check({data, size});
  return 0;
}
