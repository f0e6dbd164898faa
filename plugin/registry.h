/// Every decoder with its name. The report tables name decoders; here a name becomes a call.
#pragma once

#include <span>
#include <string_view>

#include "plugin/HIDReportVeskPlugin.h"

namespace vesk {

struct Decoder {
  DecoderInfo info;
  Result (HIDReportVeskPlugin::*decode)();
};

/// The decoder of that name; null if there is none.
const Decoder* findDecoder(std::string_view name);

}  // namespace vesk
