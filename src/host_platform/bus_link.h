// BusLink: one library's way to the set, its two connections to the private bus.
//
// The listening connection is read by a thread of the link's own, which may queue but never wait
// for the service. The calling connection has no thread: a call goes out and its answer is read on
// the caller's thread, so a call never waits behind a callback. The thread opens both, sees set and
// bus go and come, and tries four times a second to get back what is gone.
#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace host_platform {

// How long a call waits for the set, unless the service says otherwise.
constexpr std::chrono::milliseconds kCallTimeout{1000};

// The set, seen through one connection. A library derives its own from a generated proxy; its
// signal handlers run on the link's thread, and let no exception out.
class SetProxy {
 public:
  virtual ~SetProxy() = default;
};

// The library whose link it is. All operations run on the link's thread.
class LinkUser {
 public:
  // For calls; subscribes to nothing.
  virtual std::unique_ptr<SetProxy> makeCaller(sdbus::IConnection& connection) = 0;

  // Has its signal handlers registered.
  virtual std::unique_ptr<SetProxy> makeListener(sdbus::IConnection& connection) = 0;

  // The set is there, for the first time or again: joins, registers, observes what the service has
  // asked for. False: it didn't work, try again.
  virtual bool restore() = 0;

  // The set is gone, and with it whatever it knew of us.
  virtual void setLost() = 0;

 protected:
  ~LinkUser() = default;
};

class BusLink {
 public:
  // |name| begins the link's log lines, |consequence| says in them what doesn't work meanwhile, as
  // in "reads and writes fail". The link lives as long as the process, and so must |user|.
  BusLink(LinkUser& user, std::string name, std::string consequence);
  ~BusLink() = delete;
  BusLink(const BusLink&) = delete;
  BusLink& operator=(const BusLink&) = delete;

  // Starts the thread. Once, when |user| is complete.
  void start();

  // Returns when it is known whether the set is there, but at most kCallTimeout after start().
  // Cheap from then on.
  void awaitFirstAttempt();

  // Calls the set: |exchange| gets the library's proxy and the bus name of the listening
  // connection, calls one operation, and returns its status, which becomes the result. Else a
  // negated errno: -ENODEV no bus or no set, -ETIMEDOUT no answer within |timeout|, -EINVAL an
  // argument that D-Bus can't carry, -EIO what the set should not have said. Any thread; concurrent
  // calls take turns.
  template <class Proxy, class Exchange>
  int call(std::chrono::milliseconds timeout, const Exchange& exchange) {
    return callSet(timeout, [&exchange](SetProxy& proxy, const std::string& client) {
      return exchange(static_cast<Proxy&>(proxy), client);
    });
  }

  // Has LinkUser::restore() run once more. The link's thread only.
  void restoreAgain();

 private:
  using Clock = std::chrono::steady_clock;
  using Exchange = std::function<int(SetProxy&, const std::string&)>;

  // The calling connection. Members are destroyed from the last to the first.
  struct Caller {
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<SetProxy> proxy;
    std::string client;  // the listening connection's bus name
    bool hasLateAnswers = false;
  };

  // The listening connection; only its thread has it.
  struct Listener {
    std::unique_ptr<sdbus::IConnection> connection;
    std::unique_ptr<SetProxy> proxy;
    sdbus::Slot ownerWatch;
  };

  enum class State { kUnknown, kNoBus, kNoSet, kThere };

  [[noreturn]] void run();
  void open(Listener& listener);
  void openCaller(const std::string& client);
  [[noreturn]] void serve(Listener& listener);
  void restoreWhenDue();
  void waitForWork(sdbus::IConnection& connection);
  void ownerChanged(const std::string& owner);
  void close();
  void firstAttemptEnded();
  void report(State next, const std::string& reason = {});

  int callSet(std::chrono::milliseconds timeout, const Exchange& exchange);
  int exchangeWith(Caller& mine, Clock::time_point deadline, const Exchange& exchange);
  int statusOf(const sdbus::Error& error);
  void replaceCaller(const Caller& broken);
  void reportSilence(bool isSilent);

  LinkUser& user;
  const std::string name;
  const std::string consequence;
  std::string address;
  int wakeFd = -1;  // a caller found its connection broken

  // The link's thread's own.
  State state = State::kUnknown;
  std::string setOwner;  // bus name of the set, empty when it isn't there
  bool restored = false;
  bool restoreFailed = false;
  Clock::time_point nextRestore{};

  std::mutex mutex;  // for what follows
  std::condition_variable turnEnded;
  std::condition_variable firstAttempt;
  bool calling = false;            // somebody has the turn
  std::shared_ptr<Caller> caller;  // null: no bus
  Clock::time_point firstDeadline{};
  std::atomic<bool> attempted{false};

  bool silent = false;  // belongs to whoever has the turn
};

}  // namespace host_platform
