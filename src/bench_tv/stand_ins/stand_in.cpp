#include "stand_ins/stand_in.h"

#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <map>

#include "bus_protocol/AppManager1_proxy.h"
#include "bus_protocol/CommandBus1_proxy.h"
#include "bus_protocol/Control1_proxy.h"
#include "bus_protocol/StandIn1_adaptor.h"
#include "bus_protocol/bus_names.h"

namespace benchtv {
namespace {

using Bytes = std::vector<std::uint8_t>;
using WireRecord = std::vector<sdbus::Struct<bool, Bytes>>;

constexpr int kRetryMillis = 250;
constexpr auto kCallTimeout = std::chrono::seconds(2);
constexpr char kEventMessage[] = "notifyAppEventMessage";
constexpr char kFailedError[] = "tv.benchtv.Error.Failed";

std::string fromWire(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }
Bytes toWire(const std::string& text) { return {text.begin(), text.end()}; }

std::string fieldOf(const WireRecord& record, std::size_t position) {
  return position < record.size() ? fromWire(record[position].get<1>()) : std::string();
}

// Nothing may leave a handler: it would end the process.
template <class Function>
void logged(const Function& function) {
  try {
    function();
  } catch (const std::exception& wrong) {
    say(wrong.what());
  }
}

class SetProxy final
    : public sdbus::ProxyInterfaces<tv::benchtv::CommandBus1_proxy, tv::benchtv::AppManager1_proxy,
                                    tv::benchtv::Control1_proxy> {
 public:
  struct Handlers {
    std::function<void(const WireRecord& record)> delivered;
    std::function<void(std::uint64_t id, const std::string& operation, const Texts& texts)>
        callback;
    std::function<void(bool available)> availableChanged;
  };

  SetProxy(sdbus::IConnection& connection, Handlers setHandlers)
      : ProxyInterfaces(connection, kSetName, kSetPath), handlers(std::move(setHandlers)) {
    registerProxy();
  }
  ~SetProxy() { unregisterProxy(); }

 private:
  void onDelivered(const std::int32_t&, const bool&, const WireRecord& record) override {
    logged([&] { handlers.delivered(record); });
  }

  void onAvailableChanged(const bool& available) override {
    logged([&] { handlers.availableChanged(available); });
  }

  void onCallback(const std::uint64_t& id, const std::string&, const std::string& operation,
                  const std::vector<Bytes>& wire, const std::int32_t&) override {
    Texts texts;
    for (const Bytes& bytes : wire) {
      texts.push_back(fromWire(bytes));
    }
    logged([&] { handlers.callback(id, operation, texts); });
  }

  Handlers handlers;
};

class HandObject final : public sdbus::AdaptorInterfaces<tv::benchtv::StandIn1_adaptor> {
 public:
  HandObject(sdbus::IConnection& connection, IStandInPart& standInPart)
      : AdaptorInterfaces(connection, kStandInPath), part(standInPart) {
    registerAdaptor();
  }
  ~HandObject() { unregisterAdaptor(); }

 private:
  void Do(const std::string& verb, const std::string& argument) override {
    guarded([&] { part.act(verb, argument); });
  }

  std::string State() override {
    return guarded([&] { return jsonText(part.state()); });
  }

  template <class Function>
  static auto guarded(const Function& function) -> decltype(function()) {
    try {
      return function();
    } catch (const StandInRefusal& refused) {
      throw sdbus::Error(kRefusedError, refused.what());
    } catch (const sdbus::Error&) {
      throw;
    } catch (const std::exception& wrong) {
      throw sdbus::Error(kFailedError, wrong.what());
    }
  }

  IStandInPart& part;
};

class Program : public ISetLink {
 public:
  explicit Program(StandInOptions standInOptions, std::string busAddress)
      : options(std::move(standInOptions)), address(std::move(busAddress)) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    signals = signalfd(-1, &ends, SFD_CLOEXEC);
    signal(SIGPIPE, SIG_IGN);
  }

  void end() { ended = true; }

  void run(IStandInPart& standInPart) {
    part = &standInPart;
    while (!ended) {
      try {
        if (!set) {
          connect();
        }
        if (!joined) {
          join();
        }
        while (!ended && connection->processPendingRequest()) {
        }
      } catch (const sdbus::Error& error) {
        disconnect(error.getMessage());
      }
      if (!ended) {
        waitForWork();
      }
    }
    say("ended");
  }

  // ISetLink:
  int sendRecord(const std::string& from, const std::string& to, const std::string& cmd,
                 const std::string& para) override {
    const auto text = [](const std::string& field) {
      return sdbus::Struct<bool, Bytes>(true, toWire(field));
    };
    const WireRecord record = {text(from), text(to), sdbus::Struct<bool, Bytes>(false, Bytes()),
                               text(cmd), text(para)};
    return onSet([&] { return set->Send(connection->getUniqueName(), 0, false, record); });
  }

  int sendAppMessage(const std::string& source, const std::string& target,
                     const std::string& message) override {
    return onSet([&] { return set->SendMessage(toWire(source), toWire(target), toWire(message)); });
  }

  void callApp(const std::string& app, const std::string& operation, const Texts& texts) override {
    std::vector<Bytes> wire;
    for (const std::string& text : texts) {
      wire.push_back(toWire(text));
    }
    onSet([&] { set->CallApp(app, operation, wire, 0); });
  }

  void setSetting(const std::string& key, const Value& value) override {
    onSet([&] { set->SetSetting(key, jsonText(toJson(value))); });
  }

  void note(const std::string& kind, const std::string& op,
            const std::vector<std::pair<std::string, Json::Value>>& fields) override {
    std::map<std::string, std::string> texts = {{"op", jsonText(op)}};
    for (const auto& [name, value] : fields) {
      texts[name] = jsonText(value);
    }
    onSet([&] { set->Note(kind, texts); });
  }

 private:
  template <class Call>
  auto onSet(const Call& call) -> decltype(call()) {
    if (!set) {
      throw std::runtime_error("the set is not on the bus");
    }
    try {
      return call();
    } catch (const sdbus::Error& error) {
      if (error.getName() == kRefusedError) {
        throw StandInRefusal(error.getMessage());
      }
      throw std::runtime_error("the set does not answer: " + error.getMessage());
    }
  }

  void connect() {
    connection = sdbus::createSessionBusConnectionWithAddress(address);
    connection->setMethodCallTimeout(kCallTimeout);
    names = sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    names->uponSignal("NameOwnerChanged")
        .onInterface("org.freedesktop.DBus")
        .call([this](const std::string& name, const std::string&, const std::string&) {
          if (name == kSetName) {
            joined = false;
          }
        });
    names->finishRegistration();
    SetProxy::Handlers handlers;
    handlers.delivered = [this](const WireRecord& record) { command(record); };
    handlers.callback = [this](std::uint64_t id, const std::string& operation, const Texts& texts) {
      callback(id, operation, texts);
    };
    handlers.availableChanged = [this](bool available) {
      if (available && !registered) {
        registerApp();
      }
    };
    set = std::make_unique<SetProxy>(*connection, std::move(handlers));
    hand = std::make_unique<HandObject>(*connection, *part);
    connection->requestName(kStandInPrefix + options.process);
  }

  void disconnect(const std::string& reason) {
    if (reason != lastTrouble) {
      say("no set: " + reason);
    }
    lastTrouble = reason;
    joined = false;
    hand.reset();
    set.reset();
    names.reset();
    connection.reset();
  }

  void join() {
    registered = false;
    const std::string self = connection->getUniqueName();
    if (!options.busName.empty()) {
      const int status = set->Join(options.busName, self);
      if (status < 0) {
        say("join refused: " + std::to_string(status));
        return;
      }
    }
    if (!options.app.empty() && set->Attach(self)) {
      registerApp();
    }
    joined = true;
    lastTrouble.clear();
    say("joined");
    logged([this] { part->onJoined(); });
  }

  void registerApp() {
    const int status = set->Register(options.app, connection->getUniqueName());
    registered = status == 0;
    say("registered as " + options.app + ": " + std::to_string(status));
  }

  void command(const WireRecord& record) {
    say("command \"" + fieldOf(record, 3) + "\", parameter \"" + fieldOf(record, 4) +
        "\", from \"" + fieldOf(record, 0) + "\"");
    part->onCommand(fieldOf(record, 3), fieldOf(record, 4));
  }

  void callback(std::uint64_t id, const std::string& operation, const Texts& texts) {
    if (operation == kEventMessage && texts.size() == 3) {
      logged([&] { part->onAppMessage(texts[0], texts[2]); });
    }
    set->Answer(id, 0);
  }

  void waitForWork() {
    pollfd waits[] = {{signals, POLLIN, 0}, {-1, 0, 0}};
    int millis = joined ? -1 : kRetryMillis;
    try {
      if (connection) {
        const auto data = connection->getEventLoopPollData();
        waits[1] = {data.fd, data.events, 0};
        const int busMillis = data.getPollTimeout();
        if (busMillis >= 0) {
          millis = millis < 0 ? busMillis : std::min(millis, busMillis);
        }
      }
    } catch (const sdbus::Error& error) {
      disconnect(error.getMessage());
      millis = kRetryMillis;
    }
    poll(waits, 2, millis);
    if (waits[0].revents != 0) {
      ended = true;
    }
  }

  StandInOptions options;
  std::string address;
  IStandInPart* part = nullptr;  // not owned
  int signals = -1;
  bool ended = false;
  bool joined = false;
  bool registered = false;
  std::string lastTrouble;
  std::unique_ptr<sdbus::IConnection> connection;
  std::unique_ptr<sdbus::IProxy> names;
  std::unique_ptr<SetProxy> set;
  std::unique_ptr<HandObject> hand;
};

}  // namespace

void say(const std::string& text) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  std::fprintf(stderr, "%lld.%06ld %s\n", static_cast<long long>(now.tv_sec), now.tv_nsec / 1000,
               text.c_str());
}

int runStandIn(
    const StandInOptions& options,
    const std::function<std::unique_ptr<IStandInPart>(ISetLink& set, std::function<void()> end)>&
        makePart) {
  const char* address = std::getenv(kBusAddressVariable);
  if (!address) {
    std::fprintf(stderr, "%s: no bus address in %s\n", options.process.c_str(),
                 kBusAddressVariable);
    return 1;
  }
  try {
    Program program(options, address);
    const auto part = makePart(program, [&program] { program.end(); });
    program.run(*part);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", options.process.c_str(), error.what());
    return 1;
  }
}

}  // namespace benchtv
