// VirtualLibc: the C library's sleep, clocks, file test and environment, under a script.
//
// Link virtual_libc and create one VirtualLibc per test. From then on usleep() returns at once,
// having moved the clock and run every event that fell due, in order, on the caller's thread. No
// test ever really waits, and no test needs a second thread to say "meanwhile". Without a living
// VirtualLibc the real functions run.
//
//   InMemoryTv tv;
//   VirtualLibc time{tv.history()};
//   time.at(1200ms, [&] { tv.changes(kAppStatus, R"({"appId":"mdnsd","appStatus":"started"})"); });
//
// What has an effect goes into the history, one entry a call; reading a clock does not:
//
//   sleep 500000                                    microseconds
//   access /tmp/semaphore_ipc -> there              or "missing"; F_OK alone is known
//   setenv LMQR2_UDPHOST=127.0.0.1:12321 keep       or "replace": what is done with an older value
//
// Any thread, but time has one owner: with two threads asleep at once each moves the clock.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <ctime>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

class History;

// Leaves usleep() when the script is over; see VirtualLibc::endAt().
struct ScriptOver {};

class VirtualLibc {
 public:
  using Time = std::chrono::microseconds;

  // |recorder|, not owned, may be null: then nothing is recorded.
  explicit VirtualLibc(History* recorder = nullptr);
  explicit VirtualLibc(History& recorder) : VirtualLibc(&recorder) {}
  ~VirtualLibc();
  VirtualLibc(const VirtualLibc&) = delete;
  VirtualLibc& operator=(const VirtualLibc&) = delete;

  // The monotonic clock, which a test starts at 0 unless it says startAt().
  Time now() const;

  // The set has been up for |uptime| when the test begins. Before anything else.
  void startAt(Time uptime);

  // The realtime clock says |sinceEpoch| when the test begins, 1704067200 s unless told, and from
  // then on moves with the monotonic one.
  void startRealtimeAt(Time sinceEpoch);

  // Time passes without a sleep, as in a call that takes long. Runs no event.
  void pass(Time duration);

  // From now on every reading of a clock takes |duration| (0 unless told): it says the time, then
  // the clock has moved. So "time used" can be other than zero.
  void readingAClockTakes(Time duration);

  // Runs |event| within the usleep() that reaches |when|; one that is in the past, within the next.
  // Events of one time run in the order in which they were given. An event may itself sleep, and
  // may ask for further events.
  void at(Time when, std::function<void()> event);
  void after(Time delay, std::function<void()> event);

  // Ends an endless loop: what happens up to and at |when| still happens; the usleep() that would
  // go beyond throws ScriptOver, at |when|.
  void endAt(Time when);

  // Files for access(). No other exists.
  void createFile(const std::string& path);
  void removeFile(const std::string& path);

  // CLOCK_MONOTONIC or CLOCK_REALTIME: clock_gettime() fails with EINVAL.
  void breakClock(clockid_t clock);
  void fixClock(clockid_t clock);

  // The environment as setenv() left it: empty at first, and never the process's own.
  void presetEnvironment(const std::string& name, const std::string& value);
  std::optional<std::string> environment(const std::string& name) const;

  // What the wrapped functions do; a test calls none of it.
  void sleep(Time duration);
  std::optional<Time> read(clockid_t clock);
  bool fileExists(const std::string& path);
  void setEnvironment(const std::string& name, const std::string& value, bool replace);

 private:
  void record(const std::string& entry);

  History* const history;  // not owned
  mutable std::mutex mutex;
  Time current{0};
  Time realtimeAhead{std::chrono::seconds{1704067200}};
  Time readingTakes{0};
  std::optional<Time> end;
  std::multimap<Time, std::function<void()>> events;
  std::set<std::string> files;
  std::set<clockid_t> brokenClocks;
  std::map<std::string, std::string> variables;
};
