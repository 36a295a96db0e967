// The host platform's own log lines, beside those of the service.
#pragma once

#include <spdlog/logger.h>

namespace host_platform {

// Never null, any thread, valid for the life of the process. Begin a line with the library's name:
// "settings: ...". Trace is the level that shows with the service's verbose one.
spdlog::logger& hostLog();

}  // namespace host_platform
