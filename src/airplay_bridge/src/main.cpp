// The service's start-up: prepares the process, waits for the set, wires the components and gives
// the main thread to the bridge.

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "airplay_bridge.h"
#include "apm_bridge.h"
#include "app_manager_client.h"
#include "csp_debug.h"
#include "csp_osal.h"
#include "gam_bridge_mtk.h"
#include "log.h"
#include "platform_delegate.h"
#include "process_framework.h"
#include "seconds.h"
#include "system_apm_getter.h"

namespace norvale {

namespace {

// For the platform's libraries; the service never reads it.
constexpr char kUdpHostVariable[] = "LMQR2_UDPHOST";
constexpr char kUdpHost[] = "127.0.0.1:12321";

// The business layer makes this file when it is up.
constexpr char kBizReadyMarker[] = "/var/run/BIZREADY2";
constexpr useconds_t kBizPollMicros = 500'000;
constexpr double kBizDeadlineSeconds = 30.0;  // of uptime

// Until then the set is busy booting.
constexpr double kSettledSeconds = 10.0;  // of uptime

class SystemAPMGetterImpl final : public SystemAPMGetter {
 public:
  nv::apmclient::AppManagerClient* getAppManagerClient() override {
    return nv::apmclient::AppManagerClient::getInstance();
  }
};

int cspliceMain(int /*argc*/, char** /*argv*/) {
  (void)setenv(kUdpHostVariable, kUdpHost, 0);
  cspDebugInit();
  BLOG_INFO("TVS API is enabled : FALSE");

  const double uptime = monotonicSeconds();
  if (uptime < kSettledSeconds) {
    // A clock that cannot be read, which gives -1, makes for the longest delay.
    const auto delay = static_cast<std::uint32_t>((kSettledSeconds - uptime) * 1000 * 1000);
    BLOG_INFO("Give up CPU for  %u microseconds. ", delay);
    usleep(delay);
  }

  // The uptime is deliberately the one from before the delay.
  if (uptime < kBizDeadlineSeconds) {
    for (;;) {
      if (access(kBizReadyMarker, F_OK) == 0) {
        BLOG_INFO("Biz is ready.");
        break;
      }
      usleep(kBizPollMicros);
      BLOG_INFO("Wait For Biz");
      if (monotonicSeconds() >= kBizDeadlineSeconds) {
        break;
      }
    }
  }

  frame::Process::getInstance()->startAppMembersSync(CreateBizProxy);
  frame::Process::getInstance()->startAppMembersSync(CreateAppManagerProxy);

  // These live for the whole process, which only ends by being killed or by quick_exit().
  AirPlayBridge* const bridge = AirPlayBridge::getInstance();
  auto* const platform = new PlatformDelegate;
  auto getter = std::make_shared<SystemAPMGetterImpl>();
  auto* const apm = new APMBridge(getter);
  getter.reset();
  IGamBridge* const gam = createGAMBridge();

  bridge->init(apm, gam, platform);
  if (bridge->start() != 0) {
    BLOG_ERROR("Airplay is failed to start. ");
    // Deliberately 0: a set that may not offer AirPlay is no failure.
    std::quick_exit(0);
  }
  bridge->run();
  return 0;
}

}  // namespace

}  // namespace norvale

int main(int argc, char** argv) {
  (void)cspOsalInitOnce(argc, argv);
  (void)cspOsalInitThread();
  return norvale::cspliceMain(argc, argv);
}
