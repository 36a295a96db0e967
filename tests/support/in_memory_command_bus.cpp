// The command bus of the in-memory platform.
#include <cerrno>
#include <cstring>
#include <utility>

#include "in_memory_platform.h"
#include "in_memory_tv.h"

namespace {

const char* pointerTo(const InMemoryTv::Text& text) { return text ? text->c_str() : nullptr; }

InMemoryTv::Text textOf(const char* pointer) {
  return pointer == nullptr ? std::nullopt : InMemoryTv::Text(pointer);
}

std::string describe(const InMemoryTv::Text& text) { return text ? *text : "(null)"; }

}  // namespace

// ---- What a test says.

int InMemoryTv::delivers(int type, const Record& message, Way way) {
  return deliverAndWait("delivers()", type, message, way);
}

int InMemoryTv::deliversNothing(int type, Way way) {
  return deliverAndWait("deliversNothing()", type, std::nullopt, way);
}

int InMemoryTv::daemonSays(const std::string& cmd, const std::string& para) {
  const Record message{"AirPlayDaemon", "AirPlayBridge", "AirPlayBridge", cmd, para};
  return deliverAndWait("daemonSays()", 0, message, Way::kAsync);
}

void InMemoryTv::post(int type, const Record& message, Way way) {
  const std::lock_guard lock(mutex);
  queueMessage(type, message, way, nullptr);
}

int InMemoryTv::deliverAndWait(const char* verb, int type, const std::optional<Record>& message,
                               Way way) {
  Platform::requireOutsideCall(verb);
  const auto result = std::make_shared<std::optional<int>>();
  {
    const std::lock_guard lock(mutex);
    if (clientName.empty()) {
      Platform::die(std::string(verb) + " while nobody has joined by GAM_ClientInit");
    }
    queueMessage(type, message, way, result);
  }
  busQueue.drain();
  const std::lock_guard lock(mutex);
  if (!*result) {
    Platform::die(std::string(verb) +
                  " within a callback of the command bus, or the client has left: use post()");
  }
  return **result;
}

// Called with the mutex held. |result| may be null.
void InMemoryTv::queueMessage(int type, const std::optional<Record>& message, Way way,
                              const std::shared_ptr<std::optional<int>>& result) {
  busQueue.post([this, type, message, way, result] {
    std::unique_lock lock(mutex);
    if (clientName.empty()) {
      return;
    }
    const GAM_Callback callback =
        way == Way::kSync ? clientCallbacks.onSync : clientCallbacks.onAsync;
    lock.unlock();

    int answer = 0;
    if (message) {
      const GAM_Message pointers{pointerTo(message->src), pointerTo(message->ack),
                                 pointerTo(message->dest), pointerTo(message->cmd),
                                 pointerTo(message->para)};
      answer = callback(type, &pointers);
    } else {
      answer = callback(type, nullptr);
    }

    lock.lock();
    if (result) {
      *result = answer;
    }
  });
}

void InMemoryTv::gamInitResult(int result) {
  const std::lock_guard lock(mutex);
  initResult = result;
}

void InMemoryTv::gamSendResult(int result) {
  const std::lock_guard lock(mutex);
  sendResult = result;
}

void InMemoryTv::gamSendResult(int nth, int result) {
  const std::lock_guard lock(mutex);
  sendResults[sends + nth] = result;
}

void InMemoryTv::gamInjectResult(int result) {
  const std::lock_guard lock(mutex);
  injectResult = result;
}

void InMemoryTv::joins(const std::string& name) {
  const std::lock_guard lock(mutex);
  onTheBus.insert(name);
}

void InMemoryTv::leaves(const std::string& name) {
  const std::lock_guard lock(mutex);
  onTheBus.erase(name);
}

void InMemoryTv::onSend(const std::string& dest, const std::string& cmd, const std::string& para,
                        std::function<void()> event) {
  const std::lock_guard lock(mutex);
  reactions.push_back({dest, cmd, para, std::move(event)});
}

// ---- What the service calls.

int InMemoryTv::Platform::init(const GAM_Callbacks* callbacks, const char* name) {
  const std::lock_guard lock(tv.mutex);
  if (callbacks == nullptr || callbacks->onSync == nullptr || callbacks->onAsync == nullptr ||
      name == nullptr || *name == '\0') {
    die("GAM_ClientInit without both callbacks and a name");
  }
  const int result = tv.isGone ? -ENODEV : !tv.clientName.empty() ? -EALREADY : tv.initResult;
  tv.record.add("gam.init " + std::string(name) + " -> " + std::to_string(result));
  if (result >= 0) {
    tv.clientCallbacks = *callbacks;
    tv.clientName = name;
  }
  return result;
}

int InMemoryTv::Platform::send(const GAM_Message* message) {
  if (message == nullptr) {
    die("GAM_SendCmd without a message");
  }
  Record sent{textOf(message->src), textOf(message->ack), textOf(message->dest),
              textOf(message->cmd), textOf(message->para)};
  const Text addressee = sent.dest ? sent.dest : sent.ack;

  std::unique_lock lock(tv.mutex);
  const auto own = tv.sendResults.find(++tv.sends);
  int result = own == tv.sendResults.end() ? tv.sendResult : own->second;
  if (tv.clientName.empty()) {
    result = -ENOTCONN;
  } else if (tv.isGone) {
    result = -ENODEV;
  } else if (result >= 0 &&
             (!addressee || (*addressee != tv.clientName && tv.onTheBus.count(*addressee) == 0))) {
    result = -ENOENT;
  }
  tv.record.add("gam.send " + describe(sent.src) + "|" + describe(sent.ack) + "|" +
                describe(sent.dest) + "|" + describe(sent.cmd) + "|" + describe(sent.para) +
                " -> " + std::to_string(result));

  std::vector<std::function<void()>> events;
  for (const Reaction& reaction : tv.reactions) {
    if (addressee == reaction.dest && sent.cmd == reaction.cmd && sent.para == reaction.para) {
      events.push_back(reaction.event);
    }
  }
  if (result >= 0 && *addressee == tv.clientName) {
    sent.dest = addressee;
    tv.queueMessage(0, sent, Way::kAsync, nullptr);
  }
  lock.unlock();
  for (const auto& event : events) {
    event();
  }
  return result;
}

int InMemoryTv::Platform::inject(const GAM_KeyEvent* event, int size) {
  if (event == nullptr) {
    die("GAM_InjectInputEvent without an event");
  }
  const std::lock_guard lock(tv.mutex);
  int result = tv.injectResult;
  if (size != static_cast<int>(sizeof *event)) {
    result = -EINVAL;
  } else if (tv.clientName.empty()) {
    result = -ENOTCONN;
  } else if (tv.isGone) {
    result = -ENODEV;
  }
  tv.record.add("gam.inject code=" + std::to_string(event->code) + " size=" + std::to_string(size) +
                " -> " + std::to_string(result));
  return result;
}

int InMemoryTv::Platform::uninit() {
  {
    const std::lock_guard lock(tv.mutex);
    tv.record.add("gam.uninit");
    if (tv.clientName.empty()) {
      return -ENOTCONN;
    }
    tv.clientName.clear();
  }
  tv.busQueue.waitForCurrent();
  return 0;
}

extern "C" {

int GAM_ClientInit(const GAM_Callbacks* callbacks, const char* name) {
  return InMemoryTv::Platform(__func__).init(callbacks, name);
}

int GAM_SendCmd(const GAM_Message* message) { return InMemoryTv::Platform(__func__).send(message); }

int GAM_InjectInputEvent(const GAM_KeyEvent* event, int size) {
  return InMemoryTv::Platform(__func__).inject(event, size);
}

int GAM_ClientUninit() { return InMemoryTv::Platform(__func__).uninit(); }

}  // extern "C"
