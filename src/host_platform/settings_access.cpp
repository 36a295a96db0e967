// The settings model, as the set's D-Bus interface Settings1.
#include "settings_access.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <exception>
#include <list>
#include <mutex>
#include <stdexcept>
#include <tuple>
#include <utility>
#include <variant>

#include "bus_bytes.h"
#include "bus_link.h"
#include "bus_protocol/bus_names.h"
#include "callback_thread.h"
#include "host_log.h"

namespace {

using host_platform::BusLink;
using host_platform::Bytes;
using host_platform::CallbackThread;
using host_platform::hostLog;
using host_platform::kCallTimeout;
using norvale::system::access::ActionHandler;
using norvale::system::access::ValueHandler;
using norvale::system::access::ValueObject;
using std::chrono::milliseconds;

using Texts = std::vector<Bytes>;

constexpr char kInterface[] = "tv.benchtv.Settings1";

// A value as it travels. Not sdbus::Variant, and hence not the generated proxy: a variant of
// sdbus-c++ leans on a connection that is one of its statics, gone at the end of the process before
// our threads are.
struct WireValue {
  std::variant<std::monostate, int, std::string, std::vector<std::string>> held;  // none: unknown
};

// What is unknown is never sent.
void write(sdbus::Message& message, std::monostate /*none*/) {
  throw sdbus::Error("org.freedesktop.DBus.Error.InvalidArgs", message.getMemberName());
}

void write(sdbus::Message& message, int value) {
  message.openVariant("i") << std::int32_t{value};
  message.closeVariant();
}

void write(sdbus::Message& message, const std::string& value) {
  message.openVariant("ay") << host_platform::toBytes(value);
  message.closeVariant();
}

void write(sdbus::Message& message, const std::vector<std::string>& value) {
  Texts texts;
  for (const std::string& text : value) {
    texts.push_back(host_platform::toBytes(text));
  }
  message.openVariant("aay") << texts;
  message.closeVariant();
}

sdbus::Message& operator<<(sdbus::Message& message, const WireValue& value) {
  std::visit([&](const auto& held) { write(message, held); }, value.held);
  return message;
}

template <class Type>
Type readAs(sdbus::Message& message, const char* type) {
  Type value{};
  message.enterVariant(type) >> value;
  message.exitVariant();
  return value;
}

sdbus::Message& operator>>(sdbus::Message& message, WireValue& value) {
  std::string variant;
  std::string type;
  message.peekType(variant, type);
  if (type == "i") {
    value.held = int{readAs<std::int32_t>(message, "i")};
  } else if (type == "ay") {
    value.held = host_platform::toText(readAs<Bytes>(message, "ay"));
  } else if (type == "aay") {
    std::vector<std::string> list;
    for (const Bytes& text : readAs<Texts>(message, "aay")) {
      list.push_back(host_platform::toText(text));
    }
    value.held = std::move(list);
  } else {
    value.held = std::monostate();
  }
  return message;
}

ValueObject toValueObject(const WireValue& value) {
  if (const int* integer = std::get_if<int>(&value.held)) {
    return ValueObject(*integer);
  }
  if (const auto* text = std::get_if<std::string>(&value.held)) {
    return ValueObject(*text);
  }
  if (const auto* texts = std::get_if<std::vector<std::string>>(&value.held)) {
    return ValueObject(*texts);
  }
  throw std::runtime_error("it is of a kind that there is not");
}

// A connected accessor, as the model's thread knows it.
struct Observation {
  std::string key;
  std::shared_ptr<ValueHandler> handler;  // null: nobody to call
};

// An opened action.
struct Action {
  std::string key;
  std::shared_ptr<ActionHandler> handler;  // null: nobody to call
};

class Settings final : public host_platform::LinkUser {
 public:
  Settings() { link.start(); }

  int read(const std::string& key, WireValue& value);
  int write(const std::string& key, const WireValue& value);
  int observe(const std::shared_ptr<Observation>& observation, milliseconds timeout);
  void forget(const std::shared_ptr<Observation>& observation);
  int invoke(const std::shared_ptr<Action>& action, const Texts& texts);
  void forget(const std::shared_ptr<Action>& action);

  void awaitFirstAttempt() { link.awaitFirstAttempt(); }
  void changed(const std::string& key, const WireValue& wire);
  void actionDone(const std::string& key, int status);

  // LinkUser:
  std::unique_ptr<host_platform::SetProxy> makeCaller(sdbus::IConnection& connection) override;
  std::unique_ptr<host_platform::SetProxy> makeListener(sdbus::IConnection& connection) override;
  bool restore() override;
  void setLost() override;

 private:
  using ActionList = std::list<std::shared_ptr<Action>>;

  int callObserve(const std::string& key, milliseconds timeout);
  void postOutcome(const std::shared_ptr<Action>& action, int status);

  std::mutex mutex;
  std::vector<std::shared_ptr<Observation>> observations;
  ActionList invoked;  // outcome still to come, in the order in which the set got them

  BusLink& link = *new BusLink(*this, "settings", "reads and writes fail");
  CallbackThread& callbackThread = *new CallbackThread("settings callb.");
};

class SettingsProxy final : public host_platform::SetProxy {
 public:
  explicit SettingsProxy(sdbus::IConnection& connection)
      : proxy(sdbus::createProxy(connection, benchtv::kSetName, benchtv::kSetPath)) {}
  ~SettingsProxy() override { proxy->unregister(); }

  void listen(Settings& settings);

  int read(const std::string& key, WireValue& value) { return call("Read", std::tie(key), value); }
  int write(const std::string& key, const WireValue& value) {
    return call("Write", std::tie(key, value));
  }
  int observe(const std::string& key, const std::string& client) {
    return call("Observe", std::tie(key, client));
  }
  int invoke(const std::string& key, const std::string& client, const Texts& texts) {
    return call("Invoke", std::tie(key, client, texts));
  }

 private:
  // The set answers its status, then |results|.
  template <class... Arguments, class... Results>
  int call(const std::string& method, const std::tuple<Arguments...>& arguments,
           Results&... results) {
    std::int32_t status = 0;
    std::apply(
        [&](const auto&... argument) {
          proxy->callMethod(method)
              .onInterface(kInterface)
              .withArguments(argument...)
              .storeResultsTo(status, results...);
        },
        arguments);
    return status;
  }

  const std::unique_ptr<sdbus::IProxy> proxy;
};

void SettingsProxy::listen(Settings& settings) {
  proxy->uponSignal("Changed")
      .onInterface(kInterface)
      .call([&settings](const std::string& key, const WireValue& value) {
        try {
          settings.changed(key, value);
        } catch (const std::exception& error) {
          hostLog().warn("settings: a change of {} is lost: {}", key, error.what());
        }
      });
  proxy->uponSignal("ActionDone")
      .onInterface(kInterface)
      .call([&settings](const std::string& key, const std::int32_t& status) {
        try {
          settings.actionDone(key, status);
        } catch (const std::exception& error) {
          hostLog().warn("settings: the outcome of {} is lost: {}", key, error.what());
        }
      });
  proxy->finishRegistration();
}

Settings& settings() {
  static Settings& settings = *new Settings;
  settings.awaitFirstAttempt();
  return settings;
}

std::unique_ptr<host_platform::SetProxy> Settings::makeCaller(sdbus::IConnection& connection) {
  return std::make_unique<SettingsProxy>(connection);
}

std::unique_ptr<host_platform::SetProxy> Settings::makeListener(sdbus::IConnection& connection) {
  auto proxy = std::make_unique<SettingsProxy>(connection);
  proxy->listen(*this);
  return proxy;
}

bool Settings::restore() {
  std::vector<std::shared_ptr<Observation>> all;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    all = observations;
  }
  return std::all_of(all.begin(), all.end(), [this](const auto& observation) {
    return callObserve(observation->key, kCallTimeout) == 0;
  });
}

void Settings::setLost() {
  const std::lock_guard<std::mutex> lock(mutex);
  for (const auto& action : invoked) {
    postOutcome(action, -ENODEV);
  }
  invoked.clear();
}

int Settings::read(const std::string& key, WireValue& value) {
  return link.call<SettingsProxy>(
      kCallTimeout,
      [&](SettingsProxy& set, const std::string& /*client*/) { return set.read(key, value); });
}

int Settings::write(const std::string& key, const WireValue& value) {
  return link.call<SettingsProxy>(
      kCallTimeout,
      [&](SettingsProxy& set, const std::string& /*client*/) { return set.write(key, value); });
}

int Settings::callObserve(const std::string& key, milliseconds timeout) {
  return link.call<SettingsProxy>(timeout, [&](SettingsProxy& set, const std::string& client) {
    return set.observe(key, client);
  });
}

int Settings::observe(const std::shared_ptr<Observation>& observation, milliseconds timeout) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (std::count(observations.begin(), observations.end(), observation) > 0) {
      return 0;
    }
    observations.push_back(observation);  // first: a change may be here before the answer
  }
  const int status = callObserve(observation->key, timeout);
  if (status != 0) {
    forget(observation);
  }
  return status;
}

void Settings::forget(const std::shared_ptr<Observation>& observation) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto found = std::find(observations.begin(), observations.end(), observation);
    if (found == observations.end()) {
      return;
    }
    observations.erase(found);
  }
  callbackThread.cancel(observation.get());
}

void Settings::changed(const std::string& key, const WireValue& wire) {
  const ValueObject value = toValueObject(wire);
  const std::lock_guard<std::mutex> lock(mutex);  // against forget(): nothing is posted after it
  for (const auto& observation : observations) {
    if (observation->key == key && observation->handler) {
      callbackThread.post(observation.get(), [handler = observation->handler, value] {
        handler->onValueChanged(value);
      });
    }
  }
}

int Settings::invoke(const std::shared_ptr<Action>& action, const Texts& texts) {
  bool isSent = false;
  const int status =
      link.call<SettingsProxy>(kCallTimeout, [&](SettingsProxy& set, const std::string& client) {
        {
          // Within the turn: the set gets the invocations in the order of the list.
          const std::lock_guard<std::mutex> lock(mutex);
          invoked.push_back(action);
        }
        isSent = true;
        return set.invoke(action->key, client, texts);
      });
  if (status == 0 || !isSent) {
    return status;
  }
  const std::lock_guard<std::mutex> lock(mutex);
  const auto last = std::find(invoked.rbegin(), invoked.rend(), action);
  if (last == invoked.rend()) {
    return 0;  // taken on after all: the outcome has come meanwhile
  }
  invoked.erase(std::next(last).base());
  return status;
}

void Settings::forget(const std::shared_ptr<Action>& action) {
  {
    // The entries stay: the set still reports the outcomes, in order.
    const std::lock_guard<std::mutex> lock(mutex);
    action->handler = nullptr;
  }
  callbackThread.cancel(action.get());
}

void Settings::actionDone(const std::string& key, int status) {
  const std::lock_guard<std::mutex> lock(mutex);
  const auto found = std::find_if(invoked.begin(), invoked.end(),
                                  [&](const auto& action) { return action->key == key; });
  if (found == invoked.end()) {
    return;
  }
  postOutcome(*found, status);
  invoked.erase(found);
}

void Settings::postOutcome(const std::shared_ptr<Action>& action, int status) {
  if (!action->handler) {
    return;
  }
  callbackThread.post(action.get(), [handler = action->handler, status] {
    if (status == 0) {
      handler->onActionResult(ValueObject(0));
    } else {
      handler->onActionFailed(status);
    }
  });
}

}  // namespace

namespace norvale::system::access {

ValueObject::ValueObject(int value) : held(value) {}

ValueObject::ValueObject(std::string value) : held(std::move(value)) {}

ValueObject::ValueObject(std::vector<std::string> value) : held(std::move(value)) {}

int ValueObject::toInt() const {
  const int* integer = std::get_if<int>(&held);
  return integer ? *integer : 0;
}

std::string ValueObject::toString() const {
  if (const int* integer = std::get_if<int>(&held)) {
    return std::to_string(*integer);
  }
  const std::string* text = std::get_if<std::string>(&held);
  return text ? *text : std::string();
}

template <class Observer>
class ValueAccessT<Observer>::Implementation {
 public:
  Implementation(const std::string& key, const std::shared_ptr<ValueHandler>& handler)
      : isUsable(host_platform::isBusText(key)),
        observation(std::make_shared<Observation>(Observation{key, handler})) {}

  ~Implementation() {
    if (isObserved) {
      settings().forget(observation);
    }
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  const bool isUsable;
  const std::shared_ptr<Observation> observation;
  std::atomic<bool> isObserved{false};
};

template <class Observer>
ValueAccessT<Observer>::ValueAccessT(const std::string& key) : ValueAccessT(key, nullptr) {}

template <class Observer>
ValueAccessT<Observer>::ValueAccessT(const std::string& key,
                                     const std::shared_ptr<ValueHandler>& handler)
    : implementation(std::make_unique<Implementation>(key, handler)) {}

template <class Observer>
ValueAccessT<Observer>::~ValueAccessT() = default;

template <class Observer>
int ValueAccessT<Observer>::get(ValueType& value) {
  if (!implementation->isUsable) {
    return -EINVAL;
  }
  WireValue wire;
  const int status = settings().read(implementation->observation->key, wire);
  if (status != 0) {
    return status;
  }
  auto* held = std::get_if<ValueType>(&wire.held);
  if (!held) {
    return -EINVAL;
  }
  value = std::move(*held);
  return 0;
}

template <class Observer>
int ValueAccessT<Observer>::set(const ValueType& value) {
  if (!implementation->isUsable) {
    return -EINVAL;
  }
  return settings().write(implementation->observation->key, WireValue{value});
}

template <class Observer>
int ValueAccessT<Observer>::connect(int timeoutMs) {
  if (!implementation->isUsable) {
    return -EINVAL;
  }
  implementation->isObserved = true;
  return settings().observe(implementation->observation, milliseconds(timeoutMs));
}

template class ValueAccessT<lomodelapi::ObserverNumericInteger>;
template class ValueAccessT<lomodelapi::ObserverString>;
template class ValueAccessT<lomodelapi::ObserverVectorString>;

class ActionAccess::Implementation {
 public:
  Implementation(const std::string& key, const std::shared_ptr<ActionHandler>& handler)
      : isUsable(host_platform::isBusText(key)),
        action(std::make_shared<Action>(Action{key, handler})) {}

  ~Implementation() {
    if (isInvoked) {
      settings().forget(action);
    }
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  const bool isUsable;
  const std::shared_ptr<Action> action;
  std::atomic<bool> isInvoked{false};
};

ActionAccess::ActionAccess(const std::string& key, const std::shared_ptr<ActionHandler>& handler)
    : implementation(std::make_unique<Implementation>(key, handler)) {}

ActionAccess::~ActionAccess() = default;

int ActionAccess::invoke(const std::vector<ActionArgument>& arguments, int& result) {
  if (!implementation->isUsable) {
    return -EINVAL;
  }
  implementation->isInvoked = true;
  Texts texts;
  for (const ActionArgument& argument : arguments) {
    texts.push_back(host_platform::toBytes(argument.text));
  }
  const int status = settings().invoke(implementation->action, texts);
  if (status == 0) {
    result = 0;
  }
  return status;
}

}  // namespace norvale::system::access
