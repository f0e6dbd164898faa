/// All that the cases of must_not_compile.cpp include: compiled once for all of them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "model/LineList.h"
#include "model/Number.h"
#include "model/ReportObject.h"
#include "model/wire.h"
#include "text/format.h"
