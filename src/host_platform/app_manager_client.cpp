// The client of the application manager, as the set's D-Bus interface AppManager1.
#include "app_manager_client.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "bus_bytes.h"
#include "bus_link.h"
#include "bus_protocol/AppManager1_proxy.h"
#include "bus_protocol/bus_names.h"
#include "callback_thread.h"
#include "gam_client.h"
#include "host_log.h"

namespace {

using host_platform::BusLink;
using host_platform::Bytes;
using host_platform::CallbackThread;
using host_platform::hostLog;
using host_platform::isBusText;
using host_platform::kCallTimeout;
using nv::appmanager::AppInterface;

using Callbacks = boost::shared_ptr<AppInterface>;
using Texts = std::vector<std::string>;

// How a callback by name becomes a call.
struct Operation {
  const char* name;
  std::size_t texts;  // how many it takes
  int (*call)(AppInterface& app, const Texts& texts, int reason);
};

template <int (AppInterface::*kOperation)(const std::string&, const std::string&)>
int callWithTexts(AppInterface& app, const Texts& texts, int /*reason*/) {
  return (app.*kOperation)(texts[0], texts[1]);
}

template <int (AppInterface::*kOperation)(const std::string&, int)>
int callWithReason(AppInterface& app, const Texts& texts, int reason) {
  return (app.*kOperation)(texts[0], reason);
}

template <int (AppInterface::*kOperation)()>
int callPlain(AppInterface& app, const Texts& /*texts*/, int /*reason*/) {
  return (app.*kOperation)();
}

int callEventMessage(AppInterface& app, const Texts& texts, int /*reason*/) {
  return app.notifyAppEventMessage(texts[0], texts[1], texts[2]);
}

int callKeyEvent(AppInterface& app, const Texts& texts, int /*reason*/) {
  GAM_KeyEvent key;
  if (texts[0].size() != sizeof key) {
    hostLog().warn("application manager: a key event of {} bytes instead of {} is dropped",
                   texts[0].size(), sizeof key);
    return -EINVAL;
  }
  std::memcpy(&key, texts[0].data(), sizeof key);
  return app.onKeyEvent(key);
}

int callReservedText(AppInterface& app, const Texts& /*texts*/, int /*reason*/) {
  (void)app.reservedText();
  return 0;
}

constexpr Operation kOperations[] = {
    {"onRunning", 2, &callWithTexts<&AppInterface::onRunning>},
    {"onDestroy", 2, &callWithTexts<&AppInterface::onDestroy>},
    {"onSuspend", 2, &callWithTexts<&AppInterface::onSuspend>},
    {"reserved1", 0, &callPlain<&AppInterface::reserved1>},
    {"reserved2", 0, &callPlain<&AppInterface::reserved2>},
    {"reserved3", 0, &callPlain<&AppInterface::reserved3>},
    {"onSTRSuspending", 1, &callWithReason<&AppInterface::onSTRSuspending>},
    {"onSTRSuspend", 1, &callWithReason<&AppInterface::onSTRSuspend>},
    {"onSTRResume", 1, &callWithReason<&AppInterface::onSTRResume>},
    {"onSTRResuming", 1, &callWithReason<&AppInterface::onSTRResuming>},
    {"reserved4", 0, &callPlain<&AppInterface::reserved4>},
    {"reserved5", 0, &callPlain<&AppInterface::reserved5>},
    {"reserved6", 0, &callPlain<&AppInterface::reserved6>},
    {"reserved7", 0, &callPlain<&AppInterface::reserved7>},
    {"reserved8", 0, &callPlain<&AppInterface::reserved8>},
    {"notifyAppEventMessage", 3, &callEventMessage},
    {"onKeyEvent", 1, &callKeyEvent},
    {"reservedText", 0, &callReservedText},
    {"reserved9", 0, &callPlain<&AppInterface::reserved9>},
    {"reserved10", 0, &callPlain<&AppInterface::reserved10>},
    {"reserved11", 0, &callPlain<&AppInterface::reserved11>},
};

// One registered application.
struct Registration {
  std::mutex mutex;
  Callbacks callbacks;  // a later registration of the name replaces them
};

class Client final : public nv::apmclient::AppManagerClient, public host_platform::LinkUser {
 public:
  Client() { link.start(); }

  // AppManagerClient:
  int registerApp(const std::string& name, const Callbacks& callbacks) override;
  int unregisterApp(const std::string& name) override;
  int setAppStatus(const std::string& name, int status) override;
  int sendMessage(const std::string& source, const std::string& target,
                  const std::string& message) override;

  void awaitFirstAttempt() { link.awaitFirstAttempt(); }
  bool isAvailable() const { return available.load(std::memory_order_relaxed); }
  void availableChanged(bool isAvailable);
  void called(std::uint64_t id, const std::string& app, const std::string& operation,
              const std::vector<Bytes>& texts, int reason);

  // LinkUser:
  std::unique_ptr<host_platform::SetProxy> makeCaller(sdbus::IConnection& connection) override;
  std::unique_ptr<host_platform::SetProxy> makeListener(sdbus::IConnection& connection) override;
  bool restore() override;
  void setLost() override { available = false; }

 private:
  std::shared_ptr<Registration> find(const std::string& name);
  int callRegister(const std::string& name);
  void answer(std::uint64_t id, int result);

  std::atomic<bool> available{false};
  bool registrationsDue = false;  // the link's thread only

  std::mutex mutex;
  std::map<std::string, std::shared_ptr<Registration>> registrations;

  BusLink& link = *new BusLink(*this, "application manager", "there is none");
  CallbackThread& callbackThread = *new CallbackThread("apm callback");
};

class AppManagerProxy final : public host_platform::SetProxy,
                              public sdbus::ProxyInterfaces<tv::benchtv::AppManager1_proxy> {
 public:
  AppManagerProxy(sdbus::IConnection& connection, Client& owner)
      : ProxyInterfaces(connection, benchtv::kSetName, benchtv::kSetPath), client(owner) {}
  ~AppManagerProxy() override { unregisterProxy(); }

 private:
  void onAvailableChanged(const bool& available) override { client.availableChanged(available); }

  void onCallback(const std::uint64_t& id, const std::string& app, const std::string& operation,
                  const std::vector<Bytes>& texts, const std::int32_t& reason) override {
    try {
      client.called(id, app, operation, texts, reason);
    } catch (const std::exception& error) {
      hostLog().warn("application manager: a call of {} is lost: {}", operation, error.what());
    }
  }

  Client& client;
};

std::unique_ptr<host_platform::SetProxy> Client::makeCaller(sdbus::IConnection& connection) {
  return std::make_unique<AppManagerProxy>(connection, *this);
}

std::unique_ptr<host_platform::SetProxy> Client::makeListener(sdbus::IConnection& connection) {
  auto proxy = std::make_unique<AppManagerProxy>(connection, *this);
  proxy->registerProxy();
  return proxy;
}

bool Client::restore() {
  bool isThere = false;
  const int status = link.call<AppManagerProxy>(
      kCallTimeout, [&](AppManagerProxy& set, const std::string& client) {
        isThere = set.Attach(client);
        return 0;
      });
  if (status != 0) {
    return false;
  }
  available = isThere;
  registrationsDue = !isThere;  // then as soon as it is
  if (!isThere) {
    return true;
  }

  std::vector<std::string> names;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    for (const auto& registration : registrations) {
      names.push_back(registration.first);
    }
  }
  return std::all_of(names.begin(), names.end(),
                     [this](const std::string& name) { return callRegister(name) == 0; });
}

void Client::availableChanged(bool isAvailable) {
  available = isAvailable;
  if (isAvailable && registrationsDue) {
    link.restoreAgain();
  }
}

int Client::callRegister(const std::string& name) {
  return link.call<AppManagerProxy>(
      kCallTimeout,
      [&](AppManagerProxy& set, const std::string& client) { return set.Register(name, client); });
}

int Client::registerApp(const std::string& name, const Callbacks& callbacks) {
  if (!callbacks || !isBusText(name)) {
    return -EINVAL;
  }
  Callbacks before;
  std::shared_ptr<Registration> mine;
  {
    // First: "register_ok" may be here before the answer.
    const std::lock_guard<std::mutex> lock(mutex);
    auto& entry = registrations[name];
    if (!entry) {
      entry = std::make_shared<Registration>();
    }
    mine = entry;
    const std::lock_guard<std::mutex> entryLock(mine->mutex);
    before = std::exchange(mine->callbacks, callbacks);
  }
  const int status = callRegister(name);
  if (status == 0) {
    return 0;
  }
  if (before) {
    const std::lock_guard<std::mutex> lock(mine->mutex);
    mine->callbacks = before;
  } else {
    {
      const std::lock_guard<std::mutex> lock(mutex);
      registrations.erase(name);
    }
    callbackThread.cancel(mine.get());
  }
  return status;
}

int Client::unregisterApp(const std::string& name) {
  std::shared_ptr<Registration> mine;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = registrations.find(name);
    if (found == registrations.end()) {
      return -ENOENT;
    }
    mine = std::move(found->second);
    registrations.erase(found);
  }
  const int status = link.call<AppManagerProxy>(
      kCallTimeout,
      [&](AppManagerProxy& set, const std::string& /*client*/) { return set.Unregister(name); });
  callbackThread.cancel(mine.get());
  return status;
}

int Client::setAppStatus(const std::string& name, int status) {
  if (!isBusText(name)) {
    return -EINVAL;
  }
  return link.call<AppManagerProxy>(kCallTimeout,
                                    [&](AppManagerProxy& set, const std::string& /*client*/) {
                                      return set.SetAppStatus(name, status);
                                    });
}

int Client::sendMessage(const std::string& source, const std::string& target,
                        const std::string& message) {
  return link.call<AppManagerProxy>(
      kCallTimeout, [&](AppManagerProxy& set, const std::string& /*client*/) {
        return set.SendMessage(host_platform::toBytes(source), host_platform::toBytes(target),
                               host_platform::toBytes(message));
      });
}

std::shared_ptr<Registration> Client::find(const std::string& name) {
  const auto found = registrations.find(name);
  return found == registrations.end() ? nullptr : found->second;
}

void Client::called(std::uint64_t id, const std::string& app, const std::string& operation,
                    const std::vector<Bytes>& texts, int reason) {
  const auto* row = std::find_if(std::begin(kOperations), std::end(kOperations),
                                 [&](const Operation& each) { return operation == each.name; });
  const std::lock_guard<std::mutex> lock(mutex);  // against unregisterApp(): no post after it
  const auto registration = find(app);
  int refusal = 0;
  if (!registration) {
    refusal = -ENOENT;
  } else if (row == std::end(kOperations)) {
    refusal = -ENOSYS;
  } else if (texts.size() != row->texts) {
    refusal = -EINVAL;
  }
  if (refusal != 0) {
    hostLog().warn("application manager: {} of {} with {} texts is refused: {}", operation, app,
                   texts.size(), std::strerror(-refusal));
    callbackThread.post(this, [this, id, refusal] { answer(id, refusal); });
    return;
  }
  Texts arguments;
  for (const Bytes& text : texts) {
    arguments.push_back(host_platform::toText(text));
  }
  callbackThread.post(registration.get(),
                      [this, id, row, registration, arguments = std::move(arguments), reason] {
                        Callbacks callbacks;
                        {
                          const std::lock_guard<std::mutex> entryLock(registration->mutex);
                          callbacks = registration->callbacks;
                        }
                        answer(id, row->call(*callbacks, arguments, reason));
                      });
}

void Client::answer(std::uint64_t id, int result) {
  (void)link.call<AppManagerProxy>(kCallTimeout,
                                   [&](AppManagerProxy& set, const std::string& /*client*/) {
                                     set.Answer(id, result);
                                     return 0;
                                   });
}

}  // namespace

namespace nv::apmclient {

AppManagerClient* AppManagerClient::getInstance() {
  static Client& client = *new Client;
  client.awaitFirstAttempt();
  return client.isAvailable() ? &client : nullptr;
}

}  // namespace nv::apmclient
