// IPlatformDelegate: the service's only door to the set's settings model.
#pragma once

#include <string>
#include <vector>

#include "settings_access.h"

namespace norvale {

class IAirPlayBridge;

// Results: the settings library's status, 0 = success, unless stated. A read that fails leaves its
// out argument as it was, unless stated. Any thread. The on...() operations are the library's
// notifications and arrive on its thread. The order of the operations is part of the interface.
class IPlatformDelegate {
 public:
  using ValueObject = system::access::ValueObject;

  virtual ~IPlatformDelegate() = default;

  // The viewer's switch and its meaning for the set: 0 not available, 2 off, 3 on. Reading always
  // writes |state|, -1 on failure; writing ignores the status on purpose.
  virtual int getAirPlayEnableState(int& state) = 0;
  virtual void setAirPlayEnableState(int state) = 0;

  // Always writes |available|, false on failure.
  virtual int isNetworkAvailable(bool& available) = 0;

  // Power: use case 0 is standby.
  virtual int getPowerUseCase(int& useCase) = 0;
  virtual int setPowerUseCase(int useCase) = 0;
  virtual int getOpenFromStandby(int& reason) = 0;
  virtual int setOpenFromStandby(int reason) = 0;

  // The inputs, four strings each, the name first; without the tuner where the set has none.
  virtual int getInputSourceList(std::vector<std::string>& names) = 0;

  // State and origin, words of life_cycle.h.
  virtual int setAirPlayLifeCycle(const std::vector<std::string>& list) = 0;
  virtual int getAirPlayLifeCycle(std::vector<std::string>& list) = 0;

  // 1 = accepted.
  virtual int getDppEula(int& accepted) = 0;
  virtual int getEulaGeneral(int& accepted) = 0;

  // Turns the picture on, or off with the sound left on.
  virtual int setScreenState(bool on) = 0;

  virtual int getCurrentApp(std::string& app) = 0;

  // Starts observing. Failures are logged; nothing is retried.
  virtual void connect() = 0;

  // |client| must outlive the delegate.
  virtual void bindToClient(IAirPlayBridge* client) = 0;
  virtual void removeClient(IAirPlayBridge* client) = 0;

  virtual void onNetworkAvailableChanged(const ValueObject& value) = 0;
  virtual void onAppStatusChanged(const ValueObject& value) = 0;
  virtual void onDppEulaChanged(const ValueObject& value) = 0;
  virtual void onEulaGeneralChanged(const ValueObject& value) = 0;
  virtual void onCurrentAppChanged(const ValueObject& value) = 0;

  // Policy: factory mode; may this product offer AirPlay; is AirPlay on offer now.
  virtual bool isFactoryMode() = 0;
  virtual bool airPlayIsSupported() = 0;
  virtual bool airPlayIsEnabled() = 0;

  // The application to which messages for the UI go.
  virtual std::string getUiTargetMessageName() = 0;

  virtual bool isHotelMode() = 0;

  // Identity of the product.
  virtual int getBrandName(std::string& name) = 0;
  virtual int getModelName(std::string& name) = 0;
  virtual int getSoftwareVersion(std::string& version) = 0;
  virtual int getPlatformName(std::string& name) = 0;
  virtual int getDeviceSN(std::string& serial) = 0;
};

}  // namespace norvale
