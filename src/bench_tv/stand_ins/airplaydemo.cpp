// Stand-in for the receiver daemon: joins the command bus of the set as "AirPlayDaemon", makes its
// marker file when it is ready, and reports every command that it gets to its log.
//
// A set or a bus that has gone is looked for four times a second, and joined again.
#include <poll.h>
#include <sdbus-c++/sdbus-c++.h>
#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bus_protocol/CommandBus1_proxy.h"
#include "bus_protocol/bus_names.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using WireRecord = std::vector<sdbus::Struct<bool, Bytes>>;

constexpr char kName[] = "AirPlayDaemon";
constexpr char kReadyMarker[] = "/tmp/semaphore_ipc";
constexpr int kRetryMillis = 250;
constexpr auto kCallTimeout = std::chrono::seconds(2);

void say(const std::string& text) {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  std::fprintf(stderr, "%lld.%06ld %s\n", static_cast<long long>(now.tv_sec), now.tv_nsec / 1000,
               text.c_str());
}

std::string quoted(const WireRecord& record, std::size_t position) {
  if (position >= record.size() || !record[position].get<0>()) return "null";
  const Bytes& bytes = record[position].get<1>();
  return '"' + std::string(bytes.begin(), bytes.end()) + '"';
}

class CommandBus : public sdbus::ProxyInterfaces<tv::benchtv::CommandBus1_proxy> {
 public:
  explicit CommandBus(sdbus::IConnection& connection)
      : ProxyInterfaces(connection, benchtv::kSetName, benchtv::kSetPath) {
    registerProxy();
  }
  virtual ~CommandBus() { unregisterProxy(); }

 private:
  void onDelivered(const std::int32_t& type, const bool& synchronous,
                   const WireRecord& record) override {
    say("command " + quoted(record, 3) + ", parameter " + quoted(record, 4) + ", from " +
        quoted(record, 0) + ", type " + std::to_string(type) +
        (synchronous ? ", synchronous" : ""));
  }
};

class Daemon {
 public:
  enum class Ready { kYes, kNever };
  enum class Reading { kYes, kHangs };

  Daemon(std::string busAddress, Ready readyWhen, Reading readsHow)
      : address(std::move(busAddress)), ready(readyWhen), reading(readsHow) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    signals = signalfd(-1, &ends, SFD_CLOEXEC);
    signal(SIGPIPE, SIG_IGN);
  }

  // Until SIGTERM or SIGINT.
  void run() {
    // That of a daemon which was killed says nothing about this one.
    unlink(kReadyMarker);
    while (!ended) {
      try {
        if (!bus) connect();
        if (!joined) join();
        while (connection->processPendingRequest()) {
        }
      } catch (const sdbus::Error& error) {
        disconnect(error.getMessage());
      }
      waitForWork();
    }
    if (ready == Ready::kYes) unlink(kReadyMarker);
    say("ended");
  }

 private:
  void connect() {
    connection = sdbus::createSessionBusConnectionWithAddress(address);
    connection->setMethodCallTimeout(kCallTimeout);
    names = sdbus::createProxy(*connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    names->uponSignal("NameOwnerChanged")
        .onInterface("org.freedesktop.DBus")
        .call([this](const std::string& name, const std::string&, const std::string&) {
          if (name == benchtv::kSetName) joined = false;
        });
    names->finishRegistration();
    bus = std::make_unique<CommandBus>(*connection);
  }

  void disconnect(const std::string& reason) {
    if (reason != lastTrouble) say("no command bus: " + reason);
    lastTrouble = reason;
    joined = false;
    bus.reset();
    names.reset();
    connection.reset();
  }

  void join() {
    const int status = bus->Join(kName, connection->getUniqueName());
    if (status < 0) {
      say("join refused: " + std::to_string(status));
      return;
    }
    joined = true;
    lastTrouble.clear();
    say("joined");
    if (ready == Ready::kYes && !std::ofstream(kReadyMarker, std::ios::app))
      say(std::string("cannot make ") + kReadyMarker);
    // As one that hangs does, it does not act on SIGTERM either.
    if (reading == Reading::kHangs)
      for (;;) pause();
  }

  void waitForWork() {
    pollfd waits[] = {{signals, POLLIN, 0}, {-1, 0, 0}};
    int millis = joined ? -1 : kRetryMillis;
    try {
      if (connection) {
        const auto data = connection->getEventLoopPollData();
        waits[1] = {data.fd, data.events, 0};
        const int busMillis = data.getPollTimeout();
        if (busMillis >= 0) millis = millis < 0 ? busMillis : std::min(millis, busMillis);
      }
    } catch (const sdbus::Error& error) {
      disconnect(error.getMessage());
      millis = kRetryMillis;
    }
    poll(waits, 2, millis);
    ended = waits[0].revents != 0;
  }

  std::string address;
  Ready ready;
  Reading reading;
  int signals = -1;
  bool ended = false;
  bool joined = false;
  std::string lastTrouble;
  std::unique_ptr<sdbus::IConnection> connection;
  std::unique_ptr<sdbus::IProxy> names;
  std::unique_ptr<CommandBus> bus;
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Stand-in for the receiver daemon.");
  bool hangs = false;
  bool neverReady = false;
  app.add_flag("--hang", hangs, "join the command bus and then read nothing more");
  app.add_flag("--never-ready", neverReady, "never make the marker file");
  CLI11_PARSE(app, argc, argv);

  const char* address = std::getenv(benchtv::kBusAddressVariable);
  if (!address) {
    std::fprintf(stderr, "airplaydemo: no bus address in %s\n", benchtv::kBusAddressVariable);
    return 1;
  }
  try {
    Daemon(address, neverReady ? Daemon::Ready::kNever : Daemon::Ready::kYes,
           hangs ? Daemon::Reading::kHangs : Daemon::Reading::kYes)
        .run();
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "airplaydemo: %s\n", error.what());
    return 1;
  }
}
