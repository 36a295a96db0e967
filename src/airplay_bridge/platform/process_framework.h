// The set's process framework, as the service calls it: a closed library.
//
// Declarations only; see csp_osal.h for who defines them.
#pragma once

#include <memory>

namespace frame {

// The framework's view of the running process. Main thread only.
class Process {
 public:
  using Factory = void** (*)();

  virtual ~Process() = default;

  // A handle on the process, never null; the service takes a fresh one for each use and releases it
  // at once.
  static std::shared_ptr<Process> getInstance();

  // Starts the hosted proxy that |factory| makes, and returns when it is up. Reports no failure.
  virtual void startAppMembersSync(Factory factory) = 0;
};

}  // namespace frame

// Factories of the two proxies that the service hosts: the business layer's, then the application
// manager's. Called by the framework alone; what they return is the framework's.
void** CreateBizProxy();
void** CreateAppManagerProxy();
