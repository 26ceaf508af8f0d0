#include "common/traffic_counters.h"

namespace {
tagTrafficCounters g_OwnCounters;
}  // namespace

tagTrafficCounters* g_pTrafficCounters = &g_OwnCounters;
