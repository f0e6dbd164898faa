/// All that the cases of must_not_compile.cpp include: compiled once for all of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "plugin/LineList.h"
#include "plugin/Number.h"
#include "plugin/ReportObject.h"
#include "plugin/format.h"
#include "plugin/wire.h"
