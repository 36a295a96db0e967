#include "bus_link.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <system_error>
#include <thread>
#include <utility>

#include "bus_protocol/bus_names.h"
#include "host_log.h"

namespace host_platform {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kRetryPause{250};

constexpr char kBusName[] = "org.freedesktop.DBus";
constexpr char kBusPath[] = "/org/freedesktop/DBus";

// Throws when nobody listens at |address|. sdbus-c++ leaks a connection that can't be opened, and a
// bus that is gone is asked for four times a second.
void probe(const std::string& address) {
  constexpr char kPrefix[] = "unix:path=";
  if (address.rfind(kPrefix, 0) != 0) {
    return;
  }
  const std::string path = address.substr(sizeof kPrefix - 1);
  sockaddr_un name{};
  name.sun_family = AF_UNIX;
  // Options, alternatives and escapes are left to the real attempt.
  if (path.find_first_of(",;%") != std::string::npos || path.size() >= sizeof name.sun_path) {
    return;
  }
  path.copy(name.sun_path, path.size());
  const int probeFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probeFd < 0) {
    return;
  }
  const int result = connect(probeFd, reinterpret_cast<const sockaddr*>(&name), sizeof name);
  const int error = errno;
  ::close(probeFd);
  if (result != 0) {
    throw std::system_error(error, std::generic_category());
  }
}

std::unique_ptr<sdbus::IConnection> connectTo(const std::string& address) {
  probe(address);
  auto connection = sdbus::createSessionBusConnectionWithAddress(address);
  connection->setMethodCallTimeout(kCallTimeout);
  return connection;
}

// The bus name of the set, empty when it isn't there.
std::string askForSet(sdbus::IConnection& connection) {
  const auto bus = sdbus::createProxy(connection, kBusName, kBusPath);
  std::string owner;
  try {
    bus->callMethod("GetNameOwner")
        .onInterface(kBusName)
        .withArguments(std::string(benchtv::kSetName))
        .storeResultsTo(owner);
  } catch (const sdbus::Error& error) {
    if (error.getName() != "org.freedesktop.DBus.Error.NameHasNoOwner") {
      throw;
    }
  }
  return owner;
}

}  // namespace

BusLink::BusLink(LinkUser& linkUser, std::string linkName, std::string linkConsequence)
    : user(linkUser), name(std::move(linkName)), consequence(std::move(linkConsequence)) {}

void BusLink::start() {
  const char* variable = std::getenv(benchtv::kBusAddressVariable);
  if (!variable || !*variable) {
    hostLog().warn("{}: {} is not set, so there is no set to talk to: {}", name,
                   benchtv::kBusAddressVariable, consequence);
    firstAttemptEnded();
    return;
  }
  address = variable;
  firstDeadline = Clock::now() + kCallTimeout;
  wakeFd = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
  std::thread thread([this] { run(); });
  pthread_setname_np(thread.native_handle(), name.substr(0, 15).c_str());
  thread.detach();
}

void BusLink::awaitFirstAttempt() {
  if (attempted.load(std::memory_order_acquire)) {
    return;
  }
  std::unique_lock<std::mutex> lock(mutex);
  (void)firstAttempt.wait_until(lock, firstDeadline, [this] { return attempted.load(); });
}

void BusLink::firstAttemptEnded() {
  if (attempted.load(std::memory_order_relaxed)) {
    return;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex);
    attempted.store(true, std::memory_order_release);
  }
  firstAttempt.notify_all();
}

void BusLink::restoreAgain() { restored = false; }

void BusLink::run() {
  for (;;) {
    Listener listener;
    try {
      open(listener);
      serve(listener);
    } catch (const std::exception& error) {
      close();
      report(State::kNoBus, error.what());
    }
    firstAttemptEnded();
    std::this_thread::sleep_for(kRetryPause);
  }
}

void BusLink::open(Listener& listener) {
  listener.connection = connectTo(address);
  listener.proxy = user.makeListener(*listener.connection);
  // Watch first, then ask: what changes in between is heard of.
  listener.ownerWatch = listener.connection->addMatch(
      std::string("type='signal',sender='") + kBusName + "',interface='" + kBusName +
          "',member='NameOwnerChanged',arg0='" + benchtv::kSetName + "'",
      [this](sdbus::Message& message) {
        try {
          std::string changed, before, owner;
          message >> changed >> before >> owner;
          ownerChanged(owner);
        } catch (const std::exception& error) {
          hostLog().warn("{}: unreadable notice of the bus: {}", name, error.what());
        }
      });
  openCaller(listener.connection->getUniqueName());
  ownerChanged(askForSet(*listener.connection));
  if (setOwner.empty()) {
    report(State::kNoSet);
  }
}

void BusLink::openCaller(const std::string& client) {
  auto opened = std::make_shared<Caller>();
  opened->connection = connectTo(address);
  opened->proxy = user.makeCaller(*opened->connection);
  opened->client = client;
  const std::lock_guard<std::mutex> lock(mutex);
  caller = std::move(opened);
}

void BusLink::serve(Listener& listener) {
  for (;;) {
    restoreWhenDue();
    firstAttemptEnded();
    if (listener.connection->processPendingRequest()) {
      continue;
    }
    waitForWork(*listener.connection);
    std::unique_lock<std::mutex> lock(mutex);
    if (caller) {
      continue;
    }
    lock.unlock();
    openCaller(listener.connection->getUniqueName());
  }
}

void BusLink::restoreWhenDue() {
  if (setOwner.empty() || restored || Clock::now() < nextRestore) {
    return;
  }
  restored = true;  // user.restore() may call for another one
  if (user.restore()) {
    restoreFailed = false;
    report(State::kThere);
    return;
  }
  restored = false;
  nextRestore = Clock::now() + kRetryPause;
  if (!restoreFailed) {
    hostLog().warn("{}: the set is there but does not take us back, trying on: {}", name,
                   consequence);
  }
  restoreFailed = true;
}

void BusLink::waitForWork(sdbus::IConnection& connection) {
  const auto bus = connection.getEventLoopPollData();
  int timeout = bus.getPollTimeout();
  if (!setOwner.empty() && !restored) {
    const int retry = static_cast<int>(kRetryPause.count());
    timeout = timeout < 0 ? retry : std::min(timeout, retry);
  }
  pollfd sources[] = {{bus.fd, bus.events, 0}, {wakeFd, POLLIN, 0}};
  (void)poll(sources, 2, timeout);
  std::uint64_t count = 0;
  if (sources[1].revents != 0) {
    (void)!read(wakeFd, &count, sizeof count);
  }
}

void BusLink::ownerChanged(const std::string& owner) {
  if (owner == setOwner) {
    return;
  }
  if (!setOwner.empty()) {
    user.setLost();
  }
  setOwner = owner;
  restored = false;
  restoreFailed = false;
  nextRestore = {};
  if (owner.empty()) {
    report(State::kNoSet);
  }
}

void BusLink::close() {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    caller = nullptr;
  }
  if (!setOwner.empty()) {
    user.setLost();
  }
  setOwner.clear();
  restored = false;
}

void BusLink::report(State next, const std::string& reason) {
  if (next == state) {
    return;
  }
  const State before = std::exchange(state, next);
  switch (next) {
    case State::kUnknown:
      break;
    case State::kNoBus:
      hostLog().warn("{}: no bus at {}: {} until it is back ({})", name, address, consequence,
                     reason);
      break;
    case State::kNoSet:
      hostLog().warn("{}: no set at {}: {} until it is back", name, address, consequence);
      break;
    case State::kThere:
      if (before != State::kUnknown) {
        hostLog().info("{}: the set is there", name);
      }
      break;
  }
}

int BusLink::callSet(milliseconds timeout, const Exchange& exchange) {
  const auto deadline = Clock::now() + timeout;
  std::shared_ptr<Caller> mine;
  {
    std::unique_lock<std::mutex> lock(mutex);
    if (!turnEnded.wait_until(lock, deadline, [this] { return !calling; })) {
      return -ETIMEDOUT;
    }
    if (!caller) {
      return -ENODEV;
    }
    mine = caller;
    calling = true;
  }
  const int status = exchangeWith(*mine, deadline, exchange);
  {
    const std::lock_guard<std::mutex> lock(mutex);
    calling = false;
  }
  turnEnded.notify_one();
  return status;
}

int BusLink::exchangeWith(Caller& mine, Clock::time_point deadline, const Exchange& exchange) {
  int status = -EIO;
  try {
    // Answers that came after their caller had given up stay in the connection until thrown away.
    while (mine.hasLateAnswers) {
      mine.hasLateAnswers = mine.connection->processPendingRequest();
    }
    const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
    mine.connection->setMethodCallTimeout(std::max(left, milliseconds(1)));
    status = exchange(*mine.proxy, mine.client);
    reportSilence(false);
  } catch (const sdbus::Error& error) {
    status = statusOf(error);
    if (status == -ETIMEDOUT) {
      mine.hasLateAnswers = true;
      reportSilence(true);
    } else if (status == -ECONNRESET) {
      status = -ENODEV;
      replaceCaller(mine);
    }
  } catch (const std::exception& error) {
    hostLog().warn("{}: a call failed: {}", name, error.what());
  }
  return status;
}

int BusLink::statusOf(const sdbus::Error& error) {
  struct Row {
    const char* error;
    int status;
  };
  constexpr char kOwnTrouble[] = "System.Error.";  // what the connection itself came across
  static constexpr Row kRows[] = {
      {"org.freedesktop.DBus.Error.ServiceUnknown", -ENODEV},
      {"org.freedesktop.DBus.Error.NameHasNoOwner", -ENODEV},
      {"org.freedesktop.DBus.Error.NoReply", -ENODEV},  // the set died over the call
      {"org.freedesktop.DBus.Error.Timeout", -ETIMEDOUT},
      {"org.freedesktop.DBus.Error.InvalidArgs", -EINVAL},
      {"org.freedesktop.DBus.Error.Disconnected", -ECONNRESET},
  };
  for (const Row& row : kRows) {
    if (error.getName() == row.error) {
      return row.status;
    }
  }
  if (error.getName().rfind(kOwnTrouble, 0) == 0) {
    return -ECONNRESET;
  }
  hostLog().warn("{}: the set refused a call: {}", name, error.what());
  return -EIO;
}

// The listening thread opens another; when the bus is gone it finds that out by itself.
void BusLink::replaceCaller(const Caller& broken) {
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (caller.get() != &broken) {
      return;
    }
    caller = nullptr;
  }
  const std::uint64_t one = 1;
  (void)!write(wakeFd, &one, sizeof one);
}

void BusLink::reportSilence(bool isSilent) {
  if (isSilent == silent) {
    return;
  }
  silent = isSilent;
  if (silent) {
    hostLog().warn("{}: the set does not answer: {} until it does", name, consequence);
  } else {
    hostLog().info("{}: the set answers again", name);
  }
}

}  // namespace host_platform
