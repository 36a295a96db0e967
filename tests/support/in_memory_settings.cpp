// The settings model of the in-memory platform.
#include <algorithm>
#include <cerrno>
#include <utility>

#include "in_memory_platform.h"
#include "in_memory_tv.h"
#include "settings_access.h"

using norvale::system::access::ActionHandler;
using norvale::system::access::ValueHandler;
using norvale::system::access::ValueObject;

namespace {

constexpr char kSendKey[] = "torvo.sl2.system.action.send.key";

ValueObject objectOf(const InMemoryTv::Value& value) {
  return std::visit([](const auto& held) { return ValueObject(held); }, value);
}

std::string describe(const std::string& text) { return '"' + text + '"'; }

std::string describe(const Texts& texts) {
  std::string list;
  for (const std::string& text : texts) {
    list += (list.empty() ? "" : ",") + describe(text);
  }
  return "[" + list + "]";
}

std::string describe(int number) { return std::to_string(number); }

}  // namespace

std::string describe(const InMemoryTv::Value& value) {
  return std::visit([](const auto& held) { return describe(held); }, value);
}

std::map<std::string, InMemoryTv::Slot> InMemoryTv::defaultSettings() {
  const std::pair<const char*, Value> defaults[] = {
      {"torvo.sl2.i32.app.setting.airplay.enable", 0},
      {"torvo.sl2.i32.system.airplay.support", 1},
      {"torvo.sl2.vstr.app.setting.airplay.status", Texts{}},
      {"torvo.sl2.str.norfactory.fullbrand", "Norvale"},
      {"torvo.sl2.i32.norfactory.logo", 1},
      {"torvo.sl2.i32.local.network.available", 1},
      {"torvo.sl2.str.source.app.status", ""},
      {"torvo.sl2.i32.system.open.from.standby", 0},
      {"torvo.sl2.i32.system.enum.pwr.use.case", 2},
      {"torvo.sl2.vstr.source.input.name",
       Texts{"TV", "TV", "0", "1", "HDMI1", "HDMI 1", "1", "1", "HDMI2", "HDMI 2", "2", "1"}},
      {"torvo.sl2.i32.basic.settings.eula.dpp.eula", 1},
      {"torvo.sl2.i32.basic.settings.eula.dpp.general", 1},
      {"torvo.sl2.i32.system.enum.screen.state", 0},
      {"torvo.sl2.str.source.app.current", "launcher"},
      {"torvo.sl2.i32.any.hotel.option.changed", 0},
      {"torvo.sl2.i32.norfactory.state.open", 0},
      {"torvo.sl2.i32.sound.main.mute", 0},
      {"torvo.sl2.i32.channel.search.tuner.support", 1},
      {"torvo.sl2.i32.system.audio.only", 0},
      {"torvo.sl2.i32.app.setting.airplay.user.enabled", 1},
      {"torvo.sl2.str.norfactory.production.type", "NV55U8"},
      {"torvo.sl2.str.norfactory.software.version", "V0001.01.00A.N0101"},
      {"torvo.sl2.str.norfactory.materiel.serial", "SN0000000001"},
      {"torvo.sl2.i32.norfactory.region", 0},
      {"torvo.sl2.i32.system.lasertv.enable", 0},
  };
  std::map<std::string, Slot> slots;
  for (const auto& [key, value] : defaults) {
    Slot& slot = slots[key];
    slot.value = value;
    slot.kind = value.index();
  }
  return slots;
}

// ---- What a test says.

InMemoryTv::Slot& InMemoryTv::slotFor(const char* verb, const std::string& key) {
  const auto found = settings.find(key);
  if (found == settings.end()) {
    Platform::die(std::string(verb) + " for \"" + key + "\", which no set has");
  }
  return found->second;
}

void InMemoryTv::store(const char* verb, const std::string& key, const Value& value) {
  Slot& slot = slotFor(verb, key);
  if (slot.kind != value.index()) {
    Platform::die(std::string(verb) + " for \"" + key +
                  "\" with a value of another kind: " + describe(value));
  }
  slot.value = value;
}

void InMemoryTv::setting(const std::string& key, const Value& value) {
  const std::lock_guard lock(mutex);
  store("setting()", key, value);
}

InMemoryTv::Value InMemoryTv::setting(const std::string& key) {
  const std::lock_guard lock(mutex);
  const Slot& slot = slotFor("setting()", key);
  if (!slot.value) {
    Platform::die("setting() for \"" + key + "\", which this set leaves out");
  }
  return *slot.value;
}

void InMemoryTv::leaveOut(const std::string& key) {
  const std::lock_guard lock(mutex);
  slotFor("leaveOut()", key).value.reset();
}

void InMemoryTv::changes(const std::string& key, const Value& value) {
  {
    const std::lock_guard lock(mutex);
    store("changes()", key, value);
    notify(key, value);
  }
  if (delivery == Delivery::kInline && !Platform::isInCall()) {
    settingsQueue.drain();
  }
}

void InMemoryTv::failRead(const std::string& key, int status) {
  const std::lock_guard lock(mutex);
  slotFor("failRead()", key).readFault = status;
}

void InMemoryTv::failWrite(const std::string& key, int status) {
  const std::lock_guard lock(mutex);
  slotFor("failWrite()", key).writeFault = status;
}

void InMemoryTv::failConnect(const std::string& key, int status) {
  const std::lock_guard lock(mutex);
  slotFor("failConnect()", key).connectFault = status;
}

void InMemoryTv::works(const std::string& key) {
  const std::lock_guard lock(mutex);
  Slot& slot = slotFor("works()", key);
  slot.readFault = 0;
  slot.writeFault = 0;
  slot.connectFault = 0;
}

void InMemoryTv::failInvoke(int status) {
  const std::lock_guard lock(mutex);
  invokeResult = status;
}

void InMemoryTv::actionEnds(int status) {
  const std::lock_guard lock(mutex);
  actionOutcome = status;
}

// Called with the mutex held, so that handlers hear of writes in their order.
void InMemoryTv::notify(const std::string& key, const Value& value) {
  for (const std::shared_ptr<Observer>& observer : observers) {
    if (observer->key == key && observer->isConnected && observer->handler) {
      settingsQueue.post(
          [this, observer, object = objectOf(value)] { callHandler(observer, object); });
    }
  }
}

void InMemoryTv::callHandler(const std::shared_ptr<Observer>& observer, const ValueObject& value) {
  // Ends the call also when the handler throws, as on the test's own thread it may.
  struct Turn {
    InMemoryTv& tv;
    Observer& observer;
    Turn(InMemoryTv& set, Observer& called) : tv(set), observer(called) {
      observer.runner = std::this_thread::get_id();
    }
    ~Turn() {
      const std::lock_guard lock(tv.mutex);
      observer.runner = std::thread::id();
      tv.handlerEnded.notify_all();
    }
  };
  std::unique_lock lock(mutex);
  if (observer->accessor == nullptr) {
    return;
  }
  const std::shared_ptr<ValueHandler> handler = observer->handler;
  const Turn turn(*this, *observer);
  lock.unlock();
  handler->onValueChanged(value);
}

// ---- What the service calls.

void InMemoryTv::Platform::openAccessor(const std::string& key, const void* accessor,
                                        std::shared_ptr<ValueHandler> handler) {
  const std::lock_guard lock(tv.mutex);
  tv.record.add("settings.open " + key + (handler ? " handler" : ""));
  auto observer = std::make_shared<Observer>();
  observer->key = key;
  observer->handler = std::move(handler);
  observer->accessor = accessor;
  tv.observers.push_back(std::move(observer));
}

void InMemoryTv::Platform::closeAccessor(const std::string& key, const void* accessor) {
  std::unique_lock lock(tv.mutex);
  const auto found =
      std::find_if(tv.observers.begin(), tv.observers.end(),
                   [&](const auto& observer) { return observer->accessor == accessor; });
  if (found == tv.observers.end()) {
    return;  // opened on a set that is no more
  }
  const std::shared_ptr<Observer> observer = *found;
  tv.observers.erase(found);
  observer->accessor = nullptr;
  tv.record.add("settings.close " + key);
  tv.handlerEnded.wait(lock, [&] {
    return observer->runner == std::thread::id() || observer->runner == std::this_thread::get_id();
  });
}

std::pair<int, std::optional<InMemoryTv::Value>> InMemoryTv::Platform::read(const std::string& key,
                                                                            std::size_t kind) {
  const std::lock_guard lock(tv.mutex);
  const auto found = tv.settings.find(key);
  int status = 0;
  if (tv.isGone) {
    status = -ENODEV;
  } else if (found == tv.settings.end() || !found->second.value) {
    status = -ENOENT;
  } else if (found->second.readFault != 0) {
    status = found->second.readFault;
  } else if (found->second.kind != kind) {
    status = -EINVAL;
  }
  if (status != 0) {
    tv.record.add("settings.get " + key + " -> " + std::to_string(status));
    return {status, std::nullopt};
  }
  tv.record.add("settings.get " + key + " -> 0 " + describe(*found->second.value));
  return {0, found->second.value};
}

int InMemoryTv::Platform::write(const std::string& key, const Value& value) {
  const std::lock_guard lock(tv.mutex);
  const auto found = tv.settings.find(key);
  int status = 0;
  if (tv.isGone) {
    status = -ENODEV;
  } else if (found == tv.settings.end() || !found->second.value) {
    status = -ENOENT;
  } else if (found->second.writeFault != 0) {
    status = found->second.writeFault;
  } else if (found->second.kind != value.index()) {
    status = -EINVAL;
  }
  tv.record.add("settings.set " + key + " " + describe(value) + " -> " + std::to_string(status));
  if (status == 0) {
    found->second.value = value;
    tv.notify(key, value);
  }
  return status;
}

int InMemoryTv::Platform::connect(const std::string& key, const void* accessor, int timeoutMs) {
  const std::lock_guard lock(tv.mutex);
  const auto observer = std::find_if(tv.observers.begin(), tv.observers.end(),
                                     [&](const auto& each) { return each->accessor == accessor; });
  if (observer == tv.observers.end()) {
    die("connect() of \"" + key + "\", which was opened on another set");
  }
  const auto found = tv.settings.find(key);
  int status = 0;
  if ((*observer)->isConnected) {
    status = 0;
  } else if (tv.isGone) {
    status = -ENODEV;
  } else if (found == tv.settings.end() || !found->second.value) {
    status = -ENOENT;
  } else if (found->second.connectFault != 0) {
    status = found->second.connectFault;
  }
  if (status == 0) {
    (*observer)->isConnected = true;
  }
  tv.record.add("settings.connect " + key + " " + std::to_string(timeoutMs) + " -> " +
                std::to_string(status));
  return status;
}

int InMemoryTv::Platform::invoke(const std::string& key, const Texts& texts,
                                 std::shared_ptr<ActionHandler> handler) {
  const std::lock_guard lock(tv.mutex);
  const int status = tv.isGone ? -ENODEV : key != kSendKey ? -ENOENT : tv.invokeResult;
  const bool isKey = texts.size() == 1 && texts.front().rfind("KEY_", 0) == 0;
  const int outcome = tv.actionOutcome == 0 && !isKey ? -EINVAL : tv.actionOutcome;
  tv.record.add("action.invoke " + key + " " + describe(Value(texts)) + " -> " +
                std::to_string(status));
  if (status == 0 && handler) {
    tv.settingsQueue.post([handler = std::move(handler), outcome] {
      if (outcome == 0) {
        handler->onActionResult(ValueObject(0));
      } else {
        handler->onActionFailed(outcome);
      }
    });
  }
  return status;
}

namespace norvale::system::access {

ValueObject::ValueObject(int value) : held(value) {}
ValueObject::ValueObject(std::string value) : held(std::move(value)) {}
ValueObject::ValueObject(std::vector<std::string> value) : held(std::move(value)) {}

int ValueObject::toInt() const {
  const int* number = std::get_if<int>(&held);
  return number == nullptr ? 0 : *number;
}

std::string ValueObject::toString() const {
  if (const int* number = std::get_if<int>(&held)) {
    return std::to_string(*number);
  }
  const std::string* text = std::get_if<std::string>(&held);
  return text == nullptr ? std::string() : *text;
}

template <class Observer>
class ValueAccessT<Observer>::Implementation {
 public:
  Implementation(std::string name, const std::shared_ptr<ValueHandler>& handler)
      : key(std::move(name)) {
    InMemoryTv::Platform("ValueAccessT").openAccessor(key, this, handler);
  }
  ~Implementation() {
    if (InMemoryTv::Platform::isThere()) {
      InMemoryTv::Platform("~ValueAccessT").closeAccessor(key, this);
    }
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  const std::string key;
};

template <class Observer>
ValueAccessT<Observer>::ValueAccessT(const std::string& key)
    : implementation(std::make_unique<Implementation>(key, nullptr)) {}

template <class Observer>
ValueAccessT<Observer>::ValueAccessT(const std::string& key,
                                     const std::shared_ptr<ValueHandler>& handler)
    : implementation(std::make_unique<Implementation>(key, handler)) {}

template <class Observer>
ValueAccessT<Observer>::~ValueAccessT() = default;

template <class Observer>
int ValueAccessT<Observer>::get(ValueType& value) {
  const std::size_t kind = InMemoryTv::Value(ValueType()).index();
  auto [status, read] = InMemoryTv::Platform("ValueAccessT::get").read(implementation->key, kind);
  if (read) {
    value = std::get<ValueType>(*std::move(read));
  }
  return status;
}

template <class Observer>
int ValueAccessT<Observer>::set(const ValueType& value) {
  return InMemoryTv::Platform("ValueAccessT::set").write(implementation->key, value);
}

template <class Observer>
int ValueAccessT<Observer>::connect(int timeoutMs) {
  return InMemoryTv::Platform("ValueAccessT::connect")
      .connect(implementation->key, implementation.get(), timeoutMs);
}

template class ValueAccessT<lomodelapi::ObserverNumericInteger>;
template class ValueAccessT<lomodelapi::ObserverString>;
template class ValueAccessT<lomodelapi::ObserverVectorString>;

class ActionAccess::Implementation {
 public:
  Implementation(std::string name, std::shared_ptr<ActionHandler> observer)
      : key(std::move(name)), handler(std::move(observer)) {
    InMemoryTv::Platform("ActionAccess").note("action.open " + key);
  }
  ~Implementation() {
    if (InMemoryTv::Platform::isThere()) {
      InMemoryTv::Platform("~ActionAccess").note("action.close " + key);
    }
  }
  Implementation(const Implementation&) = delete;
  Implementation& operator=(const Implementation&) = delete;

  const std::string key;
  const std::shared_ptr<ActionHandler> handler;
};

ActionAccess::ActionAccess(const std::string& key, const std::shared_ptr<ActionHandler>& handler)
    : implementation(std::make_unique<Implementation>(key, handler)) {}

ActionAccess::~ActionAccess() = default;

int ActionAccess::invoke(const std::vector<ActionArgument>& arguments, int& result) {
  InMemoryTv::Platform platform("ActionAccess::invoke");
  Texts texts;
  for (const ActionArgument& argument : arguments) {
    if (argument.type != ActionArgument::Type::kText) {
      InMemoryTv::Platform::die("ActionAccess::invoke with an argument that is no text");
    }
    texts.push_back(argument.text);
  }
  const int status = platform.invoke(implementation->key, texts, implementation->handler);
  if (status == 0) {
    result = 0;
  }
  return status;
}

}  // namespace norvale::system::access
