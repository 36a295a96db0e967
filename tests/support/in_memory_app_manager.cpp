// The application manager of the in-memory platform.
#include <cerrno>
#include <utility>

#include "app_manager_client.h"
#include "in_memory_platform.h"
#include "in_memory_tv.h"

using nv::appmanager::AppInterface;

// ---- What a test says.

void InMemoryTv::noAppManager() {
  const std::lock_guard lock(mutex);
  isAppManagerThere = false;
}

void InMemoryTv::hasAppManager() {
  const std::lock_guard lock(mutex);
  isAppManagerThere = true;
}

void InMemoryTv::recordGetInstance() {
  const std::lock_guard lock(mutex);
  isGetInstanceRecorded = true;
}

void InMemoryTv::knowsApp(const std::string& name) {
  const std::lock_guard lock(mutex);
  apps.insert(name);
}

AppInterface& InMemoryTv::app(const std::string& name) {
  const std::lock_guard lock(mutex);
  const auto found = registered.find(name);
  if (found == registered.end()) {
    Platform::die("app() for \"" + name + "\", which has not been registered");
  }
  return *found->second;
}

bool InMemoryTv::isRegistered(const std::string& name) const {
  const std::lock_guard lock(mutex);
  return registered.count(name) != 0;
}

int InMemoryTv::callApp(const std::function<int(AppInterface&)>& call, const std::string& name) {
  Platform::requireOutsideCall("callApp()");
  (void)app(name);
  const auto result = std::make_shared<std::optional<int>>();
  queueAppCall(name, call, result);
  appQueue.drain();
  const std::lock_guard lock(mutex);
  if (!*result) {
    Platform::die(
        "callApp() within a callback of the application manager, or the application has "
        "gone meanwhile: use postToApp()");
  }
  return **result;
}

void InMemoryTv::postToApp(const std::function<int(AppInterface&)>& call, const std::string& name) {
  queueAppCall(name, call, nullptr);
}

// |result| may be null.
void InMemoryTv::queueAppCall(const std::string& name,
                              const std::function<int(AppInterface&)>& call,
                              const std::shared_ptr<std::optional<int>>& result) {
  appQueue.post([this, name, call, result] {
    boost::shared_ptr<AppInterface> callbacks;  // may be the last: destroyed without the lock
    std::unique_lock lock(mutex);
    const auto found = registered.find(name);
    if (found == registered.end()) {
      return;
    }
    callbacks = found->second;
    lock.unlock();
    const int answer = call(*callbacks);
    if (result) {
      lock.lock();
      *result = answer;
    }
  });
}

void InMemoryTv::queueEventMessage(const std::string& name, const std::string& src,
                                   const std::string& message) {
  const auto call = [=](AppInterface& callbacks) {
    return callbacks.notifyAppEventMessage(src, name, message);
  };
  queueAppCall(name, call, nullptr);
}

// ---- What the service calls.

int InMemoryTv::Platform::appManagerStatus() const {
  return !tv.isGone && tv.isAppManagerThere ? 0 : -ENODEV;
}

bool InMemoryTv::Platform::hasAppManager() {
  const std::lock_guard lock(tv.mutex);
  const bool isThere = appManagerStatus() == 0;
  if (tv.isGetInstanceRecorded) {
    tv.record.add(std::string("apm.getInstance -> ") + (isThere ? "there" : "null"));
  }
  return isThere;
}

int InMemoryTv::Platform::registerApp(const std::string& name,
                                      const boost::shared_ptr<AppInterface>& callbacks) {
  if (!callbacks) {
    die("registerApp without callbacks");
  }
  const std::lock_guard lock(tv.mutex);
  const int status = appManagerStatus();
  tv.record.add("apm.registerApp " + name + " -> " + std::to_string(status));
  if (status == 0) {
    tv.registered[name] = callbacks;
    tv.queueEventMessage(name, "am", "register_ok");
  }
  return status;
}

int InMemoryTv::Platform::unregisterApp(const std::string& name) {
  boost::shared_ptr<AppInterface> released;  // destroyed without the lock
  const std::lock_guard lock(tv.mutex);
  const auto found = tv.registered.find(name);
  int status = appManagerStatus();
  if (found == tv.registered.end()) {
    status = status == 0 ? -ENOENT : status;
  } else {
    released = std::move(found->second);
    tv.registered.erase(found);
  }
  tv.record.add("apm.unregisterApp " + name + " -> " + std::to_string(status));
  return status;
}

int InMemoryTv::Platform::setAppStatus(const std::string& name, int appStatus) {
  const std::lock_guard lock(tv.mutex);
  int status = appManagerStatus();
  if (status == 0 && tv.registered.count(name) == 0) {
    status = -ENOENT;
  }
  tv.record.add("apm.setAppStatus " + name + " " + std::to_string(appStatus) + " -> " +
                std::to_string(status));
  return status;
}

int InMemoryTv::Platform::sendMessage(const std::string& source, const std::string& target,
                                      const std::string& message) {
  const std::lock_guard lock(tv.mutex);
  int status = appManagerStatus();
  const bool isRegistered = tv.registered.count(target) != 0;
  if (status == 0 && !isRegistered && tv.apps.count(target) == 0) {
    status = -ENOENT;
  }
  tv.record.add("apm.sendMessage " + source + "->" + target + " " + message + " -> " +
                std::to_string(status));
  if (status == 0 && isRegistered) {
    tv.queueEventMessage(target, source, message);
  }
  return status;
}

namespace {

class InMemoryClient final : public nv::apmclient::AppManagerClient {
 public:
  int registerApp(const std::string& name,
                  const boost::shared_ptr<AppInterface>& callbacks) override {
    return InMemoryTv::Platform(__func__).registerApp(name, callbacks);
  }
  int unregisterApp(const std::string& name) override {
    return InMemoryTv::Platform(__func__).unregisterApp(name);
  }
  int setAppStatus(const std::string& name, int status) override {
    return InMemoryTv::Platform(__func__).setAppStatus(name, status);
  }
  int sendMessage(const std::string& source, const std::string& target,
                  const std::string& message) override {
    return InMemoryTv::Platform(__func__).sendMessage(source, target, message);
  }
};

}  // namespace

nv::apmclient::AppManagerClient* nv::apmclient::AppManagerClient::getInstance() {
  static InMemoryClient client;
  InMemoryTv::Platform platform("AppManagerClient::getInstance");
  return platform.hasAppManager() ? &client : nullptr;
}
