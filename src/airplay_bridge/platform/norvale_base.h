// The set's base utilities, as the service calls them: a closed library.
//
// Declarations only; see csp_osal.h for who defines them.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

namespace norvale::base {

namespace utils {

// The process id of a running process whose name is exactly |name|, 0 when there is none. A process
// that is dead but not yet reaped does not run. Searches the whole set, about a millisecond; any
// thread.
int processUtils_GetPidOf(const std::string& name);

}  // namespace utils

namespace internal {

// Waits until another thread has finished the object that |instance| stands for, and returns its
// address. |instance| holds 0 (none), 1 (being made) or the address; the caller has seen 1. What
// the maker wrote before it published the address is visible on return. Any thread; blocks.
std::intptr_t WaitForInstance(const std::atomic<std::intptr_t>* instance);

}  // namespace internal

}  // namespace norvale::base
