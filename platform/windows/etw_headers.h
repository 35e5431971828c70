// The system's own headers of event tracing, in the order in which they want to stand.
#pragma once

// clang-format off
#include "platform/windows/border.h"
#include <wmistr.h>
#include <evntrace.h>
#include <evntcons.h>
#include <tdh.h>
// clang-format on
