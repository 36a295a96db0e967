#include "in_memory_tv.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "csp_debug.h"
#include "csp_osal.h"
#include "in_memory_platform.h"
#include "norvale_base.h"
#include "process_framework.h"

namespace {

std::atomic<InMemoryTv*> living{nullptr};
thread_local int callsUnderWay = 0;

InMemoryTv& theSet(const char* function) {
  InMemoryTv* tv = living;
  if (tv == nullptr) {
    InMemoryTv::Platform::die(std::string(function) + " was called while there is no set");
  }
  return *tv;
}

}  // namespace

InMemoryTv::Platform::Platform(const char* function) : tv(theSet(function)) { ++callsUnderWay; }

InMemoryTv::Platform::~Platform() { --callsUnderWay; }

bool InMemoryTv::Platform::isThere() { return living != nullptr; }

bool InMemoryTv::Platform::isInCall() { return callsUnderWay > 0; }

void InMemoryTv::Platform::die(const std::string& complaint) {
  std::fprintf(stderr, "InMemoryTv: %s\n", complaint.c_str());
  std::abort();
}

void InMemoryTv::Platform::requireOutsideCall(const char* verb) {
  if (isInCall()) {
    die(std::string(verb) + " inside a call of the service, where no callback may start");
  }
}

void InMemoryTv::dies() {
  const std::lock_guard lock(mutex);
  isGone = true;
}

void InMemoryTv::comesBack() {
  const std::lock_guard lock(mutex);
  isGone = false;
}

void InMemoryTv::deliverPending() {
  Platform::requireOutsideCall("deliverPending()");
  // A callback of one library may fill the queue of another.
  while (settingsQueue.hasWork() || busQueue.hasWork() || appQueue.hasWork()) {
    settingsQueue.drain();
    busQueue.drain();
    appQueue.drain();
  }
}

// ---- The history.

History::Entries InMemoryTv::takeCalls() {
  return takeWithout({"log", "ERR", "verbose", "IN", "OUT"});
}

History::Entries InMemoryTv::takeLog() { return takeOnly({"log", "ERR", "verbose"}); }

History::Entries InMemoryTv::takeTrace() { return takeOnly({"IN", "OUT"}); }

History::Entries InMemoryTv::takeOnly(const std::vector<std::string_view>& kinds) {
  return record.takeOnly(kinds);
}

History::Entries InMemoryTv::takeWithout(const std::vector<std::string_view>& kinds) {
  return record.takeWithout(kinds);
}

History::Entries InMemoryTv::takeRawLog() {
  const std::lock_guard lock(mutex);
  return std::exchange(rawLog, {});
}

// ---- Logging.

void InMemoryTv::logLevel(cspDebugLevel least) { level = least; }

namespace {

constexpr const char* kModule = "B-LOG";

// What the level test hands out: its address says which level let the line through.
char frames[CSP_DEBUG_VERBOSE + 1];

// Reads a log line from its start, piece by piece; one that is not as it must be ends the process.
class LineReader {
 public:
  explicit LineReader(const std::string& text) : line(text), rest(text) {}

  bool skip(std::string_view word) {
    if (rest.substr(0, word.size()) != word) {
      return false;
    }
    rest.remove_prefix(word.size());
    return true;
  }

  void require(std::string_view word) {
    if (!skip(word)) {
      complain("lacks \"" + std::string(word) + "\"");
    }
  }

  // What stands before the next |word|, which is skipped as well.
  std::string_view upTo(std::string_view word) {
    const std::size_t end = rest.find(word);
    if (end == std::string_view::npos) {
      complain("lacks \"" + std::string(word) + "\"");
    }
    const std::string_view found = rest.substr(0, end);
    rest.remove_prefix(end + word.size());
    return found;
  }

  // "%f".
  void requireSeconds() {
    (void)skip("-");
    if (requireDigits() == 0) {
      complain("has no seconds");
    }
    require(".");
    if (requireDigits() != 6) {
      complain("has not six decimals of seconds");
    }
  }

  // "FILE:LINE:FUNCTION|end|"; gives the function.
  std::string place(std::string_view end) {
    const std::string_view file = upTo(":");
    if (file.empty() || file.find_first_of("/ ") != std::string_view::npos) {
      complain("has no file name");
    }
    if (requireDigits() == 0) {
      complain("has no line number");
    }
    require(":");
    const std::string_view function = upTo(end);
    if (function.empty()) {
      complain("has no function");
    }
    return std::string(function);
  }

  std::string_view remaining() const { return rest; }

  [[noreturn]] void complain(const std::string& what) const {
    InMemoryTv::Platform::die("the log line \"" + line + "\" " + what);
  }

 private:
  std::size_t requireDigits() {
    const std::size_t end = std::min(rest.find_first_not_of("0123456789"), rest.size());
    rest.remove_prefix(end);
    return end;
  }

  const std::string& line;
  std::string_view rest;
};

const char* wordFor(int level) {
  switch (level) {
    case CSP_DEBUG_ERROR:
      return "ERR";
    case CSP_DEBUG_INFO:
      return "log";
    default:
      return "verbose";
  }
}

std::string entryFor(int level, const std::string& line) {
  LineReader reader(line);
  const bool isEntry = reader.skip("[TRACE -> B-LOG(IN)] ");
  if (isEntry || reader.skip("[TRACE <- B-LOG(OUT)] ")) {
    if (level != CSP_DEBUG_VERBOSE) {
      reader.complain("is a trace line at another level than verbose");
    }
    const std::string function = reader.place("() ");
    if (!reader.remaining().empty()) {
      reader.complain("is a trace line with a message");
    }
    return (isEntry ? "IN " : "OUT ") + function;
  }
  reader.require("[B-LOG][");
  reader.requireSeconds();
  reader.require("] ");
  const std::string function = reader.place("(): ");
  return std::string(wordFor(level)) + " " + function + ": " + std::string(reader.remaining());
}

}  // namespace

void InMemoryTv::Platform::writeLine(int lineLevel, const std::string& line) {
  const std::string entry = entryFor(lineLevel, line);
  const std::lock_guard lock(tv.mutex);
  tv.rawLog.push_back(line);
  tv.record.add(entry);
}

extern "C" {

void cspDebugInit() { InMemoryTv::Platform(__func__).note("debug.init"); }

int cspDebugCheckLevelGetFrameAndChunk(const char* module, int level, void** frame, void** chunk) {
  if (!InMemoryTv::Platform::isThere()) {
    return 0;
  }
  const InMemoryTv::Platform platform(__func__);
  if (std::strcmp(module, kModule) != 0) {
    InMemoryTv::Platform::die(std::string(__func__) + " for the module \"" + module + "\"");
  }
  if (level < CSP_DEBUG_ERROR || level > CSP_DEBUG_VERBOSE) {
    InMemoryTv::Platform::die(std::string(__func__) + " for the level " + std::to_string(level));
  }
  if (!platform.isWanted(level)) {
    return 0;
  }
  *frame = &frames[level];
  *chunk = &frames[0];
  return 1;
}

void cspDebugOutput0(void* frame, void* chunk, const char* text) {
  InMemoryTv::Platform platform(__func__);
  for (int level = CSP_DEBUG_ERROR; level <= CSP_DEBUG_VERBOSE; ++level) {
    if (frame == &frames[level] && chunk == &frames[0]) {
      platform.writeLine(level, text);
      return;
    }
  }
  InMemoryTv::Platform::die(std::string(__func__) + " without the level test's leave");
}

const char* blog_base_name(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

// ---- OS layer.

int cspOsalInitOnce(int argc, char** /*argv*/) {
  InMemoryTv::Platform(__func__).note("osal.initOnce " + std::to_string(argc));
  return 0;
}

int cspOsalInitThread() {
  InMemoryTv::Platform(__func__).note("osal.initThread");
  return 0;
}

}  // extern "C"

// ---- Process framework.

namespace {

class InMemoryProcess final : public frame::Process {
 public:
  void startAppMembersSync(Factory factory) override {
    InMemoryTv::Platform platform("startAppMembersSync");
    if (factory == &CreateBizProxy) {
      platform.note("process.startAppMembersSync biz");
    } else if (factory == &CreateAppManagerProxy) {
      platform.note("process.startAppMembersSync appmanager");
    } else {
      InMemoryTv::Platform::die("startAppMembersSync with a factory that it does not know");
    }
  }
};

}  // namespace

std::shared_ptr<frame::Process> frame::Process::getInstance() {
  InMemoryTv::Platform("frame::Process::getInstance").note("process.getInstance");
  return {new InMemoryProcess, [](Process* handle) {
            InMemoryTv::Platform("the release of a process handle").note("process.release");
            delete handle;
          }};
}

void** CreateBizProxy() { InMemoryTv::Platform::die("CreateBizProxy is the framework's to call"); }

void** CreateAppManagerProxy() {
  InMemoryTv::Platform::die("CreateAppManagerProxy is the framework's to call");
}

// ---- Base utilities.

void InMemoryTv::runs(const std::string& name, int pid) {
  const std::lock_guard lock(mutex);
  processes[name] = pid;
}

void InMemoryTv::onGetPidOf(const std::string& name, std::function<void()> event) {
  const std::lock_guard lock(mutex);
  lookUps.emplace(name, std::move(event));
}

int InMemoryTv::Platform::pidOf(const std::string& name) {
  std::unique_lock lock(tv.mutex);
  std::vector<std::function<void()>> events;
  const auto [first, last] = tv.lookUps.equal_range(name);
  for (auto it = first; it != last; ++it) {
    events.push_back(it->second);
  }
  lock.unlock();
  for (const auto& event : events) {
    event();
  }
  lock.lock();
  const auto found = tv.processes.find(name);
  const int pid = found == tv.processes.end() ? 0 : found->second;
  tv.record.add("base.getPidOf " + name + " -> " + std::to_string(pid));
  return pid;
}

int norvale::base::utils::processUtils_GetPidOf(const std::string& name) {
  return InMemoryTv::Platform(__func__).pidOf(name);
}

std::intptr_t norvale::base::internal::WaitForInstance(const std::atomic<std::intptr_t>* instance) {
  constexpr std::intptr_t kBeingMade = 1;
  if (InMemoryTv::Platform::isThere()) {
    InMemoryTv::Platform(__func__).note("base.waitForInstance");
  }
  std::intptr_t address = 0;
  while ((address = instance->load(std::memory_order_acquire)) == kBeingMade) {
    std::this_thread::yield();
  }
  return address;
}

// ---- Life.

namespace {

void claim(InMemoryTv* tv) {
  InMemoryTv* none = nullptr;
  if (!living.compare_exchange_strong(none, tv)) {
    InMemoryTv::Platform::die("there is already one; a test has one");
  }
}

}  // namespace

InMemoryTv::InMemoryTv(Delivery way)
    : delivery(way),
      settings(defaultSettings()),
      settingsQueue(delivery, "settings"),
      busQueue(delivery, "command bus"),
      appQueue(delivery, "application manager") {
  claim(this);
}

InMemoryTv::~InMemoryTv() { living = nullptr; }
