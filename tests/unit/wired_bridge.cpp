#include "wired_bridge.h"

#include <set>

namespace {

// Those of the components that log when the bridge calls them. They have tests of their own.
bool logsForAComponent(const std::string& function) {
  static const std::set<std::string> kFunctions{
      "sendGAMCommand",        "InjectKeyEvent",        "sendMessageToApm",    "airplayStarted",
      "airplayPaused",         "airplayStopped",        "getAirPlayLifeCycle", "setScreenState",
      "setAirPlayEnableState", "getPowerUseCase",       "setPowerUseCase",     "setOpenFromStandby",
      "getInputNameList",      "getUiTargetMessageName"};
  return kFunctions.count(function) != 0;
}

bool isTrace(const std::string& entry) {
  return entry.compare(0, 3, "IN ") == 0 || entry.compare(0, 4, "OUT ") == 0;
}

bool isLog(const std::string& entry) {
  return entry.compare(0, 4, "log ") == 0 || entry.compare(0, 4, "ERR ") == 0;
}

constexpr std::size_t kWord = 4;  // "log " or "ERR "

std::string functionOf(const std::string& entry) {
  return entry.substr(kWord, entry.find(": ") - kWord);
}

}  // namespace

History::Entries withoutFunctions(const History::Entries& entries) {
  History::Entries bare;
  for (const std::string& entry : entries) {
    bare.push_back(isLog(entry) ? entry.substr(0, kWord) + entry.substr(entry.find(": ") + 2)
                                : entry);
  }
  return bare;
}

History::Entries WiredBridge::happened() {
  Entries own;
  for (const std::string& entry : tv.take()) {
    if (!isTrace(entry) && !(isLog(entry) && logsForAComponent(functionOf(entry)))) {
      own.push_back(entry);
    }
  }
  return withoutFunctions(own);
}

std::string WiredBridge::flags() {
  (void)tv.take();
  (void)bridge.processCMD_AirPlayMessageFromGAM("flags?", "");
  return happened().at(1);
}

std::string WiredBridge::accountOfProcesses() {
  (void)tv.take();
  bridge.notifyAirPlaySTRSuspend();
  return happened().at(1);
}
