/// All that the cases of must_not_compile.cpp include: compiled once for all of them.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "model/Number.h"
#include "model/dictionary.h"
#include "model/layout.h"
#include "model/lines.h"
#include "model/wire.h"
#include "text/format.h"
#include "text/run_time_format.h"
