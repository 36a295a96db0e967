// The process framework: the proxies are the other libraries here, so a start is a call and a line.
#include "process_framework.h"

#include "host_log.h"

namespace {

class HostProcess final : public frame::Process {
 public:
  void startAppMembersSync(Factory factory) override {
    const bool isBiz = factory == &CreateBizProxy;
    (void)factory();
    host_platform::hostLog().trace("process framework: the {} proxy is up",
                                   isBiz ? "business layer's" : "application manager's");
  }
};

}  // namespace

namespace frame {

std::shared_ptr<Process> Process::getInstance() {
  static const auto& process = *new std::shared_ptr<Process>(std::make_shared<HostProcess>());
  return process;
}

}  // namespace frame

void** CreateBizProxy() {
  static void* proxy = nullptr;
  return &proxy;
}

void** CreateAppManagerProxy() {
  static void* proxy = nullptr;
  return &proxy;
}
