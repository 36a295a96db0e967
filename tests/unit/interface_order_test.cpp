// The order of the operations in the interfaces: a set's libraries and variants of the components
// call by position.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <type_traits>
#include <vector>

#include "app_manager_client.h"
#include "i_airplay_bridge.h"
#include "i_apm_bridge.h"
#include "i_gam_bridge.h"
#include "i_platform_delegate.h"
#include "settings_access.h"
#include "system_apm_getter.h"

namespace {

using norvale::IAirPlayBridge;
using norvale::IApmBridge;
using norvale::IGamBridge;
using norvale::IPlatformDelegate;
using norvale::SystemAPMGetter;
using norvale::system::access::ActionHandler;
using norvale::system::access::ValueHandler;
using nv::appmanager::AppInterface;

// The two entries of a virtual destructor stand first.
constexpr int kFirst = 2;

// Which entry of the table of virtual functions |operation| is, from 0. To the C++ ABI of all our
// compilers a pointer to a virtual member function begins with its offset in the table, on some
// machines with the lowest bit set.
template <class Operation>
int entryOf(Operation operation) {
  static_assert(std::is_member_function_pointer_v<Operation>);
  std::ptrdiff_t offset = 0;
  std::memcpy(&offset, &operation, sizeof offset);
  return static_cast<int>(offset / static_cast<std::ptrdiff_t>(sizeof(void*)));
}

template <class... Operation>
std::vector<int> entriesOf(Operation... operations) {
  return {entryOf(operations)...};
}

std::vector<int> inOrderFrom(int first, std::size_t count) {
  std::vector<int> entries(count);
  std::iota(entries.begin(), entries.end(), first);
  return entries;
}

// Adds one operation to |Interface|: its entry is the number of entries before it.
template <class Interface>
struct OneMore : Interface {
  virtual void oneMore() = 0;

 protected:
  ~OneMore() = default;
};

template <class Interface>
int entriesIn() {
  return entryOf(&OneMore<Interface>::oneMore);
}

TEST(TheOrderOfOperations, OfTheBridge) {
  EXPECT_EQ(
      entriesOf(
          &IAirPlayBridge::start, &IAirPlayBridge::run, &IAirPlayBridge::isNetworkAvailable,
          &IAirPlayBridge::getEulaStatus, &IAirPlayBridge::updateAirPlayRunningState,
          &IAirPlayBridge::setAirPlayLifeCycle, &IAirPlayBridge::processCMD_AirPlayMessageFromGAM,
          &IAirPlayBridge::processCMD_AirPlay_StartFromInput,
          &IAirPlayBridge::processCMD_AirPlay_StartFromSetting,
          &IAirPlayBridge::processCMD_AirPlay_StartFromHomeKitSetting,
          &IAirPlayBridge::processCMD_AirPlay_StartFromDaemon,
          &IAirPlayBridge::processCMD_AirPlay_StopFromUI, &IAirPlayBridge::processCMD_AirPlay_Stop,
          &IAirPlayBridge::processCMD_AirPlay_KeyCode,
          &IAirPlayBridge::processCMD_AirPlay_StartTimeout, &IAirPlayBridge::notifyAirPlayStarted,
          &IAirPlayBridge::notifyAirPlayStopped, &IAirPlayBridge::notifyAirPlayPaused,
          &IAirPlayBridge::notifyAirPlaySTRSuspend, &IAirPlayBridge::notifyAirPlaySTRResume,
          &IAirPlayBridge::setAirPlayDaemonStatus, &IAirPlayBridge::setMdnsdStatus,
          &IAirPlayBridge::setAirPlayAppStatus, &IAirPlayBridge::setAirPlayEnableToDaemon,
          &IAirPlayBridge::eulaChanged, &IAirPlayBridge::isPauseReportEnabled,
          &IAirPlayBridge::getUiTargetMessageName, &IAirPlayBridge::networkAvailableChanged),
      inOrderFrom(kFirst, 28));
  EXPECT_EQ(entriesIn<IAirPlayBridge>(), 30);
}

TEST(TheOrderOfOperations, OfTheLinkToTheApplicationManager) {
  EXPECT_EQ(entriesOf(&IApmBridge::connect, &IApmBridge::getAppName, &IApmBridge::bindToClient,
                      &IApmBridge::removeClient, &IApmBridge::sendMessageToApm,
                      &IApmBridge::airplayStarted, &IApmBridge::airplayStopped,
                      &IApmBridge::airplayPaused, &IApmBridge::onRunning, &IApmBridge::onSuspend,
                      &IApmBridge::onDestroy, &IApmBridge::onSTRSuspend, &IApmBridge::onSTRResume,
                      &IApmBridge::onKeyEvent),
            inOrderFrom(kFirst, 14));
  EXPECT_EQ(entriesIn<IApmBridge>(), 16);
}

TEST(TheOrderOfOperations, OfTheLinkToTheCommandBus) {
  EXPECT_EQ(entriesOf(&IGamBridge::connect, &IGamBridge::bindToClient, &IGamBridge::unbindClient,
                      &IGamBridge::UIStartAirPlayFromInput, &IGamBridge::UIStartAirPlayFromSetting,
                      &IGamBridge::UIStartAirPlayFromHomeKitSetting, &IGamBridge::stopAirPlay,
                      &IGamBridge::lowMemoryStopAirPlay, &IGamBridge::startAirPlayByParam,
                      &IGamBridge::sendAirPlaybackground, &IGamBridge::stopAirPlayByParam,
                      &IGamBridge::bringAirPlayForeground, &IGamBridge::InjectKeyEvent,
                      &IGamBridge::startAirPlayDaemon, &IGamBridge::resetAirPlayDaemon,
                      &IGamBridge::startMdnsd, &IGamBridge::suspendAirPlayDaemon,
                      &IGamBridge::wakeUpAirPlayDaemon, &IGamBridge::setAirPlayEnable),
            inOrderFrom(kFirst, 19));
  EXPECT_EQ(entriesIn<IGamBridge>(), 21);
}

TEST(TheOrderOfOperations, OfTheDoorToTheSettings) {
  EXPECT_EQ(
      entriesOf(&IPlatformDelegate::getAirPlayEnableState,
                &IPlatformDelegate::setAirPlayEnableState, &IPlatformDelegate::isNetworkAvailable,
                &IPlatformDelegate::getPowerUseCase, &IPlatformDelegate::setPowerUseCase,
                &IPlatformDelegate::getOpenFromStandby, &IPlatformDelegate::setOpenFromStandby,
                &IPlatformDelegate::getInputSourceList, &IPlatformDelegate::setAirPlayLifeCycle,
                &IPlatformDelegate::getAirPlayLifeCycle, &IPlatformDelegate::getDppEula,
                &IPlatformDelegate::getEulaGeneral, &IPlatformDelegate::setScreenState,
                &IPlatformDelegate::getCurrentApp, &IPlatformDelegate::connect,
                &IPlatformDelegate::bindToClient, &IPlatformDelegate::removeClient,
                &IPlatformDelegate::onNetworkAvailableChanged,
                &IPlatformDelegate::onAppStatusChanged, &IPlatformDelegate::onDppEulaChanged,
                &IPlatformDelegate::onEulaGeneralChanged, &IPlatformDelegate::onCurrentAppChanged,
                &IPlatformDelegate::isFactoryMode, &IPlatformDelegate::airPlayIsSupported,
                &IPlatformDelegate::airPlayIsEnabled, &IPlatformDelegate::getUiTargetMessageName,
                &IPlatformDelegate::isHotelMode, &IPlatformDelegate::getBrandName,
                &IPlatformDelegate::getModelName, &IPlatformDelegate::getSoftwareVersion,
                &IPlatformDelegate::getPlatformName, &IPlatformDelegate::getDeviceSN),
      inOrderFrom(kFirst, 32));
  EXPECT_EQ(entriesIn<IPlatformDelegate>(), 34);
}

// The application manager's table has 23 entries. Those between the named ones answer 0.
TEST(TheOrderOfOperations, OfTheApplicationManagersCallbacks) {
  EXPECT_EQ(entriesOf(&AppInterface::onRunning, &AppInterface::onDestroy, &AppInterface::onSuspend),
            (std::vector{2, 3, 4}));
  EXPECT_EQ(entriesOf(&AppInterface::onSTRSuspending, &AppInterface::onSTRSuspend,
                      &AppInterface::onSTRResume, &AppInterface::onSTRResuming),
            (std::vector{8, 9, 10, 11}));
  EXPECT_EQ(entriesOf(&AppInterface::notifyAppEventMessage, &AppInterface::onKeyEvent,
                      &AppInterface::reservedText),
            (std::vector{17, 18, 19}));
  EXPECT_EQ(entriesIn<AppInterface>(), 23);
}

TEST(TheOrderOfOperations, OfTheGetterOfTheApplicationManagersClient) {
  EXPECT_EQ(entriesOf(&SystemAPMGetter::getAppManagerClient), (std::vector{0}));
  EXPECT_EQ(entriesIn<SystemAPMGetter>(), 1);
  EXPECT_FALSE(std::has_virtual_destructor_v<SystemAPMGetter>);
}

TEST(TheOrderOfOperations, OfTheHandlersOfASettingAndAnAction) {
  EXPECT_EQ(entriesOf(&ValueHandler::onValueChanged), (std::vector{2}));
  EXPECT_EQ(entriesOf(&ActionHandler::onActionResult, &ActionHandler::onActionFailed),
            (std::vector{2, 3}));
  EXPECT_EQ(entriesIn<ActionHandler>(), 4);
}

}  // namespace
