/// What the file of a decoder includes: the class, the list of reports, and all that lines and
/// dictionaries are made with.
#pragma once

#include "model/dictionary.h"
#include "model/layout.h"
#include "model/lines.h"
#include "plugin/HIDReportVeskPlugin.h"
#include "plugin/report_list.h"
