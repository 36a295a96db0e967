// What the service may count on of the small libraries: base utilities, logging, OS layer, process
// framework; and of all libraries together.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "csp_debug.h"
#include "csp_osal.h"
#include "gam_client.h"
#include "norvale_base.h"
#include "process_framework.h"
#include "set_under_test.h"
#include "settings_access.h"
#include "waiting.h"

namespace contract {
namespace {

using norvale::base::internal::WaitForInstance;
using norvale::base::utils::processUtils_GetPidOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// ---- Processes.

TEST(AProcess, IsFoundByItsExactNameWhileItRuns) {
  SetUnderTest& set = theSet();
  const std::string number = std::to_string(getpid());  // another run may be under way
  const std::string name = "proc" + number;
  EXPECT_EQ(processUtils_GetPidOf(name), 0);

  const pid_t pid = set.startProcess(name);
  EXPECT_EQ(processUtils_GetPidOf(name), pid);
  EXPECT_EQ(processUtils_GetPidOf("proc"), 0);
  EXPECT_EQ(processUtils_GetPidOf(name + "s"), 0);
  EXPECT_EQ(processUtils_GetPidOf("PROC" + number), 0);

  set.killProcess(name);
  EXPECT_EQ(processUtils_GetPidOf(name), 0) << "a zombie does not run";
  set.reapProcess(name);
  EXPECT_EQ(processUtils_GetPidOf(name), 0);
}

TEST(AProcess, IsNeverFoundWithoutAName) { EXPECT_EQ(processUtils_GetPidOf(""), 0); }

// ---- The making of a singleton.

TEST(WaitingForAnInstance, EndsAtOnceWhereThereIsOne) {
  const std::atomic<std::intptr_t> instance{4096};
  EXPECT_EQ(WaitForInstance(&instance), 4096);
}

TEST(WaitingForAnInstance, ReleasesEveryWaiterWhoThenSeesWhatTheMakerWrote) {
  std::atomic<std::intptr_t> instance{1};
  std::string made;
  Seen<std::string> seen;
  std::vector<std::thread> waiters;
  waiters.reserve(4);
  for (int i = 0; i < 4; ++i) {
    waiters.emplace_back([&] {
      const auto* text = reinterpret_cast<std::string*>(WaitForInstance(&instance));
      seen.add(*text);
    });
  }
  EXPECT_THAT(seen.all(), IsEmpty());
  made = "made";
  instance.store(reinterpret_cast<std::intptr_t>(&made), std::memory_order_release);
  for (std::thread& waiter : waiters) {
    waiter.join();
  }
  EXPECT_THAT(seen.all(), ElementsAre("made", "made", "made", "made"));
}

// ---- Logging.

int isWanted(int level) {
  void* frame = nullptr;
  void* chunk = nullptr;
  return cspDebugCheckLevelGetFrameAndChunk("B-LOG", level, &frame, &chunk);
}

void writeAtEveryLevel() {
  for (const int level : {CSP_DEBUG_ERROR, CSP_DEBUG_INFO, CSP_DEBUG_VERBOSE}) {
    void* frame = nullptr;
    void* chunk = nullptr;
    if (cspDebugCheckLevelGetFrameAndChunk("B-LOG", level, &frame, &chunk) != 0) {
      const std::string line =
          "[B-LOG][1.000000] a.cpp:1:f(): %d%s level " + std::to_string(level) + " \xff";
      cspDebugOutput0(frame, chunk, line.c_str());
    }
  }
}

std::vector<int> levelsOf(const std::vector<LogLine>& lines) {
  std::vector<int> levels;
  levels.reserve(lines.size());
  for (const LogLine& line : lines) {
    levels.push_back(line.level);
  }
  return levels;
}

TEST(Logging, LetsItsLevelAndTheMoreUrgentOnesThrough) {
  SetUnderTest& set = theSet();
  EXPECT_THAT(levelsOf(set.linesDuring(CSP_DEBUG_ERROR, writeAtEveryLevel)),
              ElementsAre(CSP_DEBUG_ERROR));
  EXPECT_THAT(levelsOf(set.linesDuring(CSP_DEBUG_INFO, writeAtEveryLevel)),
              ElementsAre(CSP_DEBUG_ERROR, CSP_DEBUG_INFO));
  EXPECT_THAT(levelsOf(set.linesDuring(CSP_DEBUG_VERBOSE, writeAtEveryLevel)),
              ElementsAre(CSP_DEBUG_ERROR, CSP_DEBUG_INFO, CSP_DEBUG_VERBOSE));
}

TEST(Logging, AnswersTheLevelTestLevelByLevel) {
  SetUnderTest& set = theSet();
  (void)set.linesDuring(CSP_DEBUG_INFO, [] {
    EXPECT_NE(isWanted(CSP_DEBUG_ERROR), 0);
    EXPECT_NE(isWanted(CSP_DEBUG_INFO), 0);
    EXPECT_EQ(isWanted(CSP_DEBUG_VERBOSE), 0);
  });
}

TEST(Logging, WritesALineToTheLetter) {
  const std::vector<LogLine> lines = theSet().linesDuring(CSP_DEBUG_ERROR, writeAtEveryLevel);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0].text, "[B-LOG][1.000000] a.cpp:1:f(): %d%s level 1 \xff");
}

TEST(Logging, KeepsLinesOfManyThreadsApart) {
  const auto lines = theSet().linesDuring(CSP_DEBUG_ERROR, [] {
    inThreads(4, [](int) {
      for (int round = 0; round < 50; ++round) {
        writeAtEveryLevel();
      }
    });
  });
  EXPECT_EQ(lines.size(), 200u);
  for (const LogLine& line : lines) {
    EXPECT_EQ(line.text, "[B-LOG][1.000000] a.cpp:1:f(): %d%s level 1 \xff");
  }
}

TEST(Logging, TakesTheLastComponentOfAPath) {
  EXPECT_STREQ(blog_base_name("/a/b/main.cpp"), "main.cpp");
  EXPECT_STREQ(blog_base_name("main.cpp"), "main.cpp");
  EXPECT_STREQ(blog_base_name("a/"), "");
  EXPECT_STREQ(blog_base_name(""), "");
}

// ---- The process.

TEST(StartUp, PreparesTheProcessAndItsProxies) {
  char name[] = "airplay_bridge";
  char* arguments[] = {name, nullptr};
  EXPECT_EQ(cspOsalInitOnce(1, arguments), 0);
  EXPECT_EQ(cspOsalInitThread(), 0);
  const std::shared_ptr<frame::Process> process = frame::Process::getInstance();
  ASSERT_NE(process, nullptr);
  process->startAppMembersSync(CreateBizProxy);
  process->startAppMembersSync(CreateAppManagerProxy);
}

// ---- All libraries together.

class Holder : public norvale::system::access::ValueHandler {
 public:
  explicit Holder(std::function<void()> gate) : pass(std::move(gate)) {}
  void onValueChanged(const norvale::system::access::ValueObject&) override { pass(); }

 private:
  const std::function<void()> pass;
};

Seen<std::string> arrived;

int arrive(int, const GAM_Message* message) {
  arrived.add(message->cmd);
  return 0;
}

TEST(TheLibraries, DoNotWaitForOneAnothersCallbacks) {
  constexpr char kKey[] = "torvo.sl2.i32.system.open.from.standby";
  SetUnderTest& set = theSet();
  Gate gate;
  norvale::system::access::ValueAccessT<lomodelapi::ObserverNumericInteger> value(
      kKey, std::make_shared<Holder>(gate.passage()));
  ASSERT_EQ(value.connect(1000), 0);
  const GAM_Callbacks callbacks{arrive, arrive};
  ASSERT_EQ(GAM_ClientInit(&callbacks, "AirPlayBridge"), 0);

  set.change(kKey, 1);
  EXPECT_TRUE(gate.waitForSomeone());
  set.send(0, {"AirPlayDaemon", "AirPlayBridge", "AirPlayBridge", "meanwhile", ""}, Way::kAsync);
  EXPECT_THAT(arrived.waitFor(1), Contains("meanwhile"));

  gate.open();
  GAM_ClientUninit();
}

}  // namespace
}  // namespace contract
