// PlatformDelegate: the set's settings model, as the service needs it.
#pragma once

#include <memory>

#include "i_platform_delegate.h"
#include "relaxed.h"

namespace norvale {

// Opens one accessor for each key when it is made and holds them all until it goes. The set of
// opened keys is contract: some are held although nothing reads them.
//
// Threads: operations on any, change handlers on the settings library's. The two EULA values are
// observed from the end of construction on, the others from connect() on.
class PlatformDelegate : public IPlatformDelegate {
 public:
  PlatformDelegate();
  PlatformDelegate(const PlatformDelegate&) = delete;
  PlatformDelegate& operator=(const PlatformDelegate&) = delete;

  int getAirPlayEnableState(int& state) override;
  void setAirPlayEnableState(int state) override;
  int isNetworkAvailable(bool& available) override;
  int getPowerUseCase(int& useCase) override;
  int setPowerUseCase(int useCase) override;
  int getOpenFromStandby(int& reason) override;
  int setOpenFromStandby(int reason) override;
  int getInputSourceList(std::vector<std::string>& names) override;
  int setAirPlayLifeCycle(const std::vector<std::string>& list) override;
  int getAirPlayLifeCycle(std::vector<std::string>& list) override;
  int getDppEula(int& accepted) override;
  int getEulaGeneral(int& accepted) override;
  int setScreenState(bool on) override;
  int getCurrentApp(std::string& app) override;
  void connect() override;
  void bindToClient(IAirPlayBridge* newClient) override;
  void removeClient(IAirPlayBridge* oldClient) override;
  void onNetworkAvailableChanged(const ValueObject& value) override;
  void onAppStatusChanged(const ValueObject& value) override;
  void onDppEulaChanged(const ValueObject& value) override;
  void onEulaGeneralChanged(const ValueObject& value) override;
  void onCurrentAppChanged(const ValueObject& value) override;
  bool isFactoryMode() override;
  bool airPlayIsSupported() override;
  bool airPlayIsEnabled() override;
  std::string getUiTargetMessageName() override;
  bool isHotelMode() override;
  int getBrandName(std::string& name) override;
  int getModelName(std::string& name) override;
  int getSoftwareVersion(std::string& version) override;
  int getPlatformName(std::string& name) override;
  int getDeviceSN(std::string& serial) override;

  // The market of a sales region; kUnsupportedMarket for one that is not supported.
  int checkMarket(int region);

  // The inputs. Replaces |names|, or on a set without a tuner appends to it all but the tuner's.
  int getInputNameList(std::vector<std::string>& names);

  // Takes the set out of mute with the mute key; blocks for 300 ms when it does.
  void setUnmute();

 private:
  using IntegerAccess = system::access::ValueAccessT<lomodelapi::ObserverNumericInteger>;
  using StringAccess = system::access::ValueAccessT<lomodelapi::ObserverString>;
  using VectorAccess = system::access::ValueAccessT<lomodelapi::ObserverVectorString>;
  using ActionAccess = system::access::ActionAccess;
  using Handler = void (PlatformDelegate::*)(const ValueObject& value);

  std::shared_ptr<system::access::ValueHandler> handlerFor(Handler method);
  bool decideSupport();
  bool isEulaEnabled(int dpp, int general);
  void onAirPlayAppStatus(IAirPlayBridge& bridge, const std::string& status);
  void onAirPlayDaemonStatus(IAirPlayBridge& bridge, const std::string& status);
  void onMdnsdStatus(IAirPlayBridge& bridge, const std::string& status);

  BoundPointer<IAirPlayBridge> client;
  Relaxed<int> supportDecision;       // undecided, no, yes: see the source
  Relaxed<const char*> uiTargetName;  // null until it is first asked for

  // In the order in which they are opened.
  std::shared_ptr<IntegerAccess> airPlayEnable;
  std::shared_ptr<IntegerAccess> airPlaySupport;
  std::shared_ptr<VectorAccess> airPlayStatus;
  std::shared_ptr<StringAccess> fullBrand;
  std::shared_ptr<IntegerAccess> logo;
  std::shared_ptr<IntegerAccess> networkAvailable;
  std::shared_ptr<StringAccess> appStatus;
  std::shared_ptr<IntegerAccess> openFromStandby;
  std::shared_ptr<IntegerAccess> powerUseCase;
  std::shared_ptr<VectorAccess> inputName;
  std::shared_ptr<IntegerAccess> dppEula;
  std::shared_ptr<IntegerAccess> eulaGeneral;
  std::shared_ptr<IntegerAccess> screenState;
  std::shared_ptr<StringAccess> currentApp;
  std::shared_ptr<IntegerAccess> hotelOptionChanged;
  std::shared_ptr<IntegerAccess> factoryState;
  std::shared_ptr<IntegerAccess> mainMute;
  std::shared_ptr<ActionAccess> sendKey;
  std::shared_ptr<IntegerAccess> tunerSupport;
  std::shared_ptr<IntegerAccess> audioOnly;
  std::shared_ptr<IntegerAccess> userEnabled;
  std::shared_ptr<StringAccess> productionType;
  std::shared_ptr<StringAccess> softwareVersion;
  std::shared_ptr<StringAccess> serialNumber;
  std::shared_ptr<IntegerAccess> region;
  std::shared_ptr<IntegerAccess> laserTvEnable;
};

}  // namespace norvale
