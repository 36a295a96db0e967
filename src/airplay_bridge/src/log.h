// Log call sites.
//
//   BLOG_INFO("PID of mdnsd: %d", pid);            progress
//   BLOG_ERROR("No GAM");                          a missing component, a failure
//   BLOG_INFO_FIRST(10, "MDNSD is already ...");   only the first ten times at this place
//   BLOG_TRACE();                                  first statement of a traced operation
//
// A site whose level is off costs the library's level test; its arguments are not evaluated. The
// compiler checks every format. Text from outside is an argument, never a format. A line may be cut
// at 4 KB. Any thread.
#pragma once

#include <atomic>

#include "csp_debug.h"

namespace norvale::log {

// The module tag under which the logging library knows the service.
inline constexpr char kModule[] = "B-LOG";

// Where a call site stands; one constant record each.
struct Site {
  const char* file;
  const char* function;
  int line;
};

// What the library wants back with a line that it let through.
struct Slot {
  void* frame = nullptr;
  void* chunk = nullptr;
};

inline bool isWanted(int level, Slot& slot) {
  return cspDebugCheckLevelGetFrameAndChunk(kModule, level, &slot.frame, &slot.chunk) != 0;
}

// Renders and hands over one line: the common prefix, then the message.
[[gnu::format(printf, 3, 4)]] void write(const Slot& slot, const Site& site, const char* format,
                                         ...);

// How often a rate-limited site may still speak. Counts calls, whether or not the level lets their
// lines through.
class Allowance {
 public:
  constexpr explicit Allowance(int times) : limit(times) {}

  // The number of this call, from 1, or 0 when the allowance is used up.
  int take();

 private:
  const int limit;
  std::atomic<int> taken{0};
};

// Logs its construction and its destruction as entry and exit of an operation.
class Trace {
 public:
  explicit Trace(const Site& where);
  ~Trace();
  Trace(const Trace&) = delete;
  Trace& operator=(const Trace&) = delete;

 private:
  const Site& site;
};

}  // namespace norvale::log

#define BLOG_AT(level, ...)                                                          \
  do {                                                                               \
    ::norvale::log::Slot blogSlot;                                                   \
    if (::norvale::log::isWanted(level, blogSlot)) {                                 \
      static constexpr ::norvale::log::Site kBlogSite{__FILE__, __func__, __LINE__}; \
      ::norvale::log::write(blogSlot, kBlogSite, __VA_ARGS__);                       \
    }                                                                                \
  } while (false)

#define BLOG_FIRST_AT(level, times, ...)                                              \
  do {                                                                                \
    static ::norvale::log::Allowance blogAllowance{times};                            \
    const int blogCall = blogAllowance.take();                                        \
    if (blogCall > 0) {                                                               \
      BLOG_AT(level, __VA_ARGS__);                                                    \
    }                                                                                 \
    if (blogCall == (times)) {                                                        \
      BLOG_AT(level, "This log is Limit to  %d times, ignore further logs. ", times); \
    }                                                                                 \
  } while (false)

#define BLOG_INFO(...) BLOG_AT(CSP_DEBUG_INFO, __VA_ARGS__)
#define BLOG_ERROR(...) BLOG_AT(CSP_DEBUG_ERROR, __VA_ARGS__)
#define BLOG_INFO_FIRST(times, ...) BLOG_FIRST_AT(CSP_DEBUG_INFO, times, __VA_ARGS__)
#define BLOG_ERROR_FIRST(times, ...) BLOG_FIRST_AT(CSP_DEBUG_ERROR, times, __VA_ARGS__)

#define BLOG_TRACE()                                                                  \
  static constexpr ::norvale::log::Site kBlogTraceSite{__FILE__, __func__, __LINE__}; \
  const ::norvale::log::Trace blogTrace(kBlogTraceSite)
