// InMemoryTv: the set of a test. Defines every function of the closed libraries, writes down what
// the service calls, and speaks back.
//
// Create one per test, before any component of the service; destroy it after them (a fixture's
// members in that order). A function that is called without a living InMemoryTv, or in a way that
// it does not know, ends the process naming the function. Two exceptions: without a set the level
// test wants no line, and an accessor may be destroyed, so that what outlives a test dies in peace.
//
//   class ABridge : public OneScenarioPerProcess {
//    protected:
//     InMemoryTv tv;
//     VirtualLibc time{tv.history()};
//     ...
//   };
//
// THE HISTORY has one entry a call, written when the call's result is known and before any event
// that hangs on it; callbacks into the service leave no entry of their own.
//
//   osal.initOnce 1                                   the number of arguments
//   osal.initThread
//   debug.init
//   process.getInstance                               a handle taken
//   process.startAppMembersSync biz                   or "appmanager"
//   process.release                                   that handle let go
//   base.getPidOf mdnsd -> 0
//   base.waitForInstance                              only if it had to be called at all
//   settings.open KEY                                 an accessor made; "settings.open KEY handler"
//   settings.get KEY -> 0 3                           a text in quotes, a list like ["a","b"];
//   settings.get KEY -> -5                            nothing is escaped
//   settings.set KEY 3 -> 0
//   settings.connect KEY 1000 -> 0
//   settings.close KEY
//   action.open KEY
//   action.invoke KEY ["KEY_MUTE"] -> 0
//   action.close KEY
//   gam.init AirPlayBridge -> 0
//   gam.send AirPlayBridge|am|(null)|start|mdnsd -> 0 src, ack, dest, cmd, para
//   gam.inject code=28 size=76 -> 0
//   gam.uninit
//   apm.getInstance -> there                          or "null"; only after recordGetInstance()
//   apm.registerApp AirPlayBridge -> 0
//   apm.unregisterApp AirPlayBridge -> 0
//   apm.setAppStatus AirPlayBridge 8 -> 0
//   apm.sendMessage AirPlayBridge->launcher TEXT -> 0
//   log FUNCTION: message                             a line at info level
//   ERR FUNCTION: message                             at error level
//   verbose FUNCTION: message                         at verbose level, other than a trace
//   IN FUNCTION                                       entry of a traced operation
//   OUT FUNCTION                                      its exit
//
// Log lines are checked to the letter: "[B-LOG][SECONDS] FILE:LINE:FUNCTION(): message", and
// "[TRACE -> B-LOG(IN)] FILE:LINE:FUNCTION() " (or "<-" and "OUT") at verbose level alone. One that
// differs, or that was not let through by the level test, ends the process.
//
// CALLBACKS. Each library has a queue: settings, command bus, application manager. With
// Delivery::kInline (unless told otherwise) changes(), delivers() and callApp() run the library's
// queue on the calling thread before they return; what came into a queue by the service's own calls
// (it wrote a key that it observes, sent itself a message, registered) waits there for the next of
// these or for deliverPending(). A callback never starts inside a call of the service: what an
// event of onSend() or onGetPidOf() causes is queued as well, and usually wants time.after(). With
// Delivery::kThreads each queue has a thread of its own; there changes() returns at once, and
// delivers() and callApp() wait for their callback's end.
//
// Any thread. No lock is held while the service is called.
#pragma once

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <variant>
#include <vector>

#include "callback_queue.h"
#include "csp_debug.h"
#include "gam_client.h"
#include "history.h"
#include "settings_access.h"

namespace nv::appmanager {
class AppInterface;
}

// A list of texts, as a settings value: tv.setting(kStatus, Texts{"stopping", "currentSource"}).
using Texts = std::vector<std::string>;

class InMemoryTv {
 public:
  using Value = std::variant<int, std::string, Texts>;
  using Text = std::optional<std::string>;  // none is a null pointer

  // A message of the command bus. |ack| of one that the service sends is the destination.
  struct Record {
    Text src;
    Text ack;
    Text dest;
    Text cmd;
    Text para;
  };
  enum class Way { kSync, kAsync };  // which of the two callbacks

  explicit InMemoryTv(Delivery way = Delivery::kInline);
  ~InMemoryTv();
  InMemoryTv(const InMemoryTv&) = delete;
  InMemoryTv& operator=(const InMemoryTv&) = delete;

  // ---- What the service did. Each take hands over what is new of its kind and leaves the rest.

  History& history() { return record; }
  History::Entries take() { return record.take(); }

  // All but log and trace lines; only log lines; only trace lines.
  History::Entries takeCalls();
  History::Entries takeLog();
  History::Entries takeTrace();

  // For example takeOnly({"gam.send", "sleep"}) or takeWithout({"access", "IN", "OUT"}).
  History::Entries takeOnly(const std::vector<std::string_view>& kinds);
  History::Entries takeWithout(const std::vector<std::string_view>& kinds);

  // The log and trace lines to the letter, prefix and all.
  History::Entries takeRawLog();

  // Lets lines of |level| and the more urgent ones through; all, unless told.
  void logLevel(cspDebugLevel least);

  // ---- Settings. All keys exist; see in_memory_settings.cpp for their values: a supported product
  // with brand ID 1 in region 0, powered on, network there, both EULAs accepted.

  // Puts a value there as if it always had been: no handler hears of it. Kind and key must be ones
  // that the set knows.
  void setting(const std::string& key, const Value& value);
  Value setting(const std::string& key);

  // The product has no such key: -ENOENT, as for a key that no product has.
  void leaveOut(const std::string& key);

  // The set writes a value, and the handlers that are connected hear of it.
  void changes(const std::string& key, const Value& value);

  // Until works(), the operation fails with |status|.
  void failRead(const std::string& key, int status);
  void failWrite(const std::string& key, int status);
  void failConnect(const std::string& key, int status);
  void works(const std::string& key);

  // invoke() answers |status| and reports nothing more.
  void failInvoke(int status);
  // What the handler hears after an invoke(): 0 onActionResult(), else onActionFailed(status); and
  // of what is no key, onActionFailed(-EINVAL). It hears it by the next changes() or
  // deliverPending().
  void actionEnds(int status);

  // ---- Command bus.

  // Calls the callback of the joined client with a message addressed to it, after all that is
  // queued, and gives its result. Not inside a call of the service; there, post() it.
  int delivers(int type, const Record& message, Way way = Way::kAsync);
  // The same with a null pointer for a message.
  int deliversNothing(int type, Way way = Way::kAsync);
  // An asynchronous command of type 0 from "AirPlayDaemon" to "AirPlayBridge", as the bus delivers
  // it: with the addressee in dest as well as in ack.
  int daemonSays(const std::string& cmd, const std::string& para);
  // Queues a message and does not wait for its callback.
  void post(int type, const Record& message, Way way = Way::kAsync);

  // What the calls answer: 0 unless told. A negative init does not join; a second one of a client
  // that has joined gets -EALREADY. |nth| counts sends from
  // now on, from 1; without it every send gets the result.
  void gamInitResult(int result);
  void gamSendResult(int result);
  void gamSendResult(int nth, int result);
  void gamInjectResult(int result);

  // Who is on the bus: "am" and "AirPlayDaemon" unless told. A send to another gets -ENOENT, one
  // before GAM_ClientInit() -ENOTCONN.
  void joins(const std::string& name);
  void leaves(const std::string& name);

  // From now on |event| follows each send of that command to |dest| (the record's ack, unless its
  // dest is there), on the sender's thread, inside the service's call.
  void onSend(const std::string& dest, const std::string& cmd, const std::string& para,
              std::function<void()> event);

  // ---- Application manager.

  void noAppManager();
  void hasAppManager();
  void recordGetInstance();

  // Who is registered beside the service: "launcher" unless told. A message to another gets
  // -ENOENT.
  void knowsApp(const std::string& name);

  // The callback object that the service registered, to be called on the test's own thread; there
  // must be one.
  nv::appmanager::AppInterface& app(const std::string& name = "AirPlayBridge");
  bool isRegistered(const std::string& name = "AirPlayBridge") const;

  // Runs |call| on the callback object after all that is queued (register_ok, say), on the
  // library's thread, and gives its result. Not inside a call of the service.
  int callApp(const std::function<int(nv::appmanager::AppInterface&)>& call,
              const std::string& name = "AirPlayBridge");
  // Queues the same and does not wait for it.
  void postToApp(const std::function<int(nv::appmanager::AppInterface&)>& call,
                 const std::string& name = "AirPlayBridge");

  // ---- Processes.

  // From now on a process |name| runs with the id |pid|; with 0 none does.
  void runs(const std::string& name, int pid);
  // From now on |event| precedes each look-up of |name|, on the caller's thread: it may call
  // runs(), or let time pass.
  void onGetPidOf(const std::string& name, std::function<void()> event);

  // ---- The whole set.

  // Every queued callback, of all libraries, until no queue holds any. Within a callback, those of
  // the other libraries.
  void deliverPending();

  // The set is gone: settings calls and sends fail with -ENODEV, and there is no application
  // manager. When it is back, what was joined, registered and connected is so again.
  void dies();
  void comesBack();

  // The platform's side, for the functions alone.
  class Platform;

 private:
  struct Slot {
    std::optional<Value> value;  // none: left out
    std::size_t kind = 0;        // index into Value
    int readFault = 0;
    int writeFault = 0;
    int connectFault = 0;
  };
  struct Observer {
    std::string key;
    std::shared_ptr<norvale::system::access::ValueHandler> handler;  // null: has none
    const void* accessor = nullptr;                                  // null: destroyed
    bool isConnected = false;
    std::thread::id runner;  // on which the handler is being called; none: it is not
  };
  struct Reaction {
    std::string dest;
    std::string cmd;
    std::string para;
    std::function<void()> event;
  };

  static std::map<std::string, Slot> defaultSettings();
  Slot& slotFor(const char* verb, const std::string& key);
  void store(const char* verb, const std::string& key, const Value& value);
  void notify(const std::string& key, const Value& value);
  void callHandler(const std::shared_ptr<Observer>& observer,
                   const norvale::system::access::ValueObject& value);
  void queueMessage(int type, const std::optional<Record>& message, Way way,
                    const std::shared_ptr<std::optional<int>>& result);
  int deliverAndWait(const char* verb, int type, const std::optional<Record>& message, Way way);
  void queueAppCall(const std::string& name,
                    const std::function<int(nv::appmanager::AppInterface&)>& call,
                    const std::shared_ptr<std::optional<int>>& result);
  void queueEventMessage(const std::string& name, const std::string& src,
                         const std::string& message);

  const Delivery delivery;
  History record;
  mutable std::mutex mutex;
  bool isGone = false;

  std::atomic<int> level{CSP_DEBUG_VERBOSE};
  History::Entries rawLog;

  std::map<std::string, Slot> settings;
  std::vector<std::shared_ptr<Observer>> observers;
  std::condition_variable handlerEnded;
  int invokeResult = 0;
  int actionOutcome = 0;

  std::string clientName;  // empty: not joined
  GAM_Callbacks clientCallbacks{};
  int initResult = 0;
  int sendResult = 0;
  int sends = 0;
  std::map<int, int> sendResults;
  int injectResult = 0;
  std::set<std::string> onTheBus{"am", "AirPlayDaemon"};
  std::vector<Reaction> reactions;

  bool isAppManagerThere = true;
  bool isGetInstanceRecorded = false;
  std::set<std::string> apps{"launcher"};
  std::map<std::string, boost::shared_ptr<nv::appmanager::AppInterface>> registered;

  std::map<std::string, int> processes;
  std::multimap<std::string, std::function<void()>> lookUps;

  // Last, so that their threads end before what they touch.
  CallbackQueue settingsQueue;
  CallbackQueue busQueue;
  CallbackQueue appQueue;
};
