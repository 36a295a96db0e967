#include "log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

#include "seconds.h"

namespace norvale::log {

namespace {

constexpr std::size_t kLineSize = 4096;

enum class Step { kIn, kOut };

void writeTrace(const Site& site, Step step) {
  Slot slot;
  if (!isWanted(CSP_DEBUG_VERBOSE, slot)) {
    return;
  }
  char line[kLineSize];
  const char* file = blog_base_name(site.file);
  if (step == Step::kIn) {
    (void)std::snprintf(line, sizeof line, "[TRACE -> %s(IN)] %s:%d:%s() ", kModule, file,
                        site.line, site.function);
  } else {
    (void)std::snprintf(line, sizeof line, "[TRACE <- %s(OUT)] %s:%d:%s() ", kModule, file,
                        site.line, site.function);
  }
  cspDebugOutput0(slot.frame, slot.chunk, line);
}

}  // namespace

void write(const Slot& slot, const Site& site, const char* format, ...) {
  char line[kLineSize];
  const int prefix =
      std::snprintf(line, sizeof line, "[%s][%f] %s:%d:%s(): ", kModule, secondsOf(CLOCK_REALTIME),
                    blog_base_name(site.file), site.line, site.function);
  const std::size_t used = std::min(static_cast<std::size_t>(std::max(prefix, 0)), sizeof line - 1);

  va_list arguments;
  va_start(arguments, format);
  (void)std::vsnprintf(line + used, sizeof line - used, format, arguments);
  va_end(arguments);

  cspDebugOutput0(slot.frame, slot.chunk, line);
}

int Allowance::take() {
  // The look before the step keeps the counter from ever running over.
  if (taken.load(std::memory_order_relaxed) >= limit) {
    return 0;
  }
  const int call = taken.fetch_add(1, std::memory_order_relaxed) + 1;
  return call <= limit ? call : 0;
}

Trace::Trace(const Site& where) : site(where) { writeTrace(site, Step::kIn); }

Trace::~Trace() { writeTrace(site, Step::kOut); }

}  // namespace norvale::log
