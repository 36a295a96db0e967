#include "control/processes.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace benchtv {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::ThrowsMessage;

std::vector<pid_t> pids(const std::vector<ProcessInfo>& processes) {
  std::vector<pid_t> all;
  for (const ProcessInfo& process : processes) all.push_back(process.pid);
  return all;
}

ProcessInfo process(pid_t pid, pid_t parent) {
  ProcessInfo info;
  info.pid = pid;
  info.parent = parent;
  return info;
}

TEST(ProcessStatus, IsReadFromItsLines) {
  const auto info = parseProcessStatus(
      "Name:\tairplay demo\nUmask:\t0077\nState:\tS (sleeping)\nTgid:\t4711\nPid:\t4711\n"
      "PPid:\t4700\nNStgid:\t4711\t17\nNSpid:\t4711\t17\n");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->name, "airplay demo");
  EXPECT_EQ(info->state, 'S');
  EXPECT_EQ(info->pid, 4711);
  EXPECT_EQ(info->insidePid, 17);
  EXPECT_EQ(info->parent, 4700);
  EXPECT_TRUE(info->runs());
}

TEST(ProcessStatus, OfAProcessWithoutANamespaceOfItsOwnHasOnePid) {
  const auto info = parseProcessStatus("Name:\tmdnsd\nPid:\t42\nPPid:\t1\nNSpid:\t42\n");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->insidePid, 42);
}

TEST(ProcessStatus, OfTheDeadDoesNotRun) {
  EXPECT_FALSE(parseProcessStatus("Name:\tmdnsd\nState:\tZ (zombie)\nPid:\t42\n")->runs());
  EXPECT_FALSE(parseProcessStatus("Name:\tmdnsd\nState:\tX (dead)\nPid:\t42\n")->runs());
}

TEST(ProcessStatus, IsNothingWhereThereIsNone) {
  EXPECT_FALSE(parseProcessStatus(""));
  EXPECT_FALSE(parseProcessStatus("Name:\tmdnsd\nPid:\tnonsense\n"));
}

TEST(ProcessTree, HoldsTheRootAndItsDescendantsInOrderOfPids) {
  const std::vector<ProcessInfo> all{process(1, 0),  process(30, 20), process(20, 10),
                                     process(10, 1), process(11, 1),  process(5, 10)};
  EXPECT_THAT(pids(treeBelow(all, 10)), ElementsAre(5, 10, 20, 30));
}

TEST(ProcessTree, IsEmptyWithoutItsRoot) {
  EXPECT_THAT(treeBelow({process(1, 0), process(2, 1)}, 3), IsEmpty());
}

TEST(ProcessTree, SurvivesACircle) {
  EXPECT_THAT(pids(treeBelow({process(2, 3), process(3, 2), process(4, 1)}, 4)), ElementsAre(4));
}

TEST(ProcessTree, ShowsAChildThatRunsAndOneThatIsDead) {
  const pid_t child = fork();
  if (child == 0) {
    pause();
    _exit(0);
  }
  EXPECT_THAT(processTree(getpid()), Contains(Field(&ProcessInfo::pid, child)));

  kill(child, SIGKILL);
  siginfo_t ended{};
  waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
  const auto tree = processTree(child);
  ASSERT_EQ(tree.size(), 1U);
  EXPECT_FALSE(tree.front().runs());

  waitpid(child, nullptr, 0);
  EXPECT_THAT(processTree(getpid()), Not(Contains(Field(&ProcessInfo::pid, child))));
}

TEST(SignalNumber, IsReadFromNamesAndNumbers) {
  EXPECT_EQ(signalNumber("KILL"), SIGKILL);
  EXPECT_EQ(signalNumber("SIGTERM"), SIGTERM);
  EXPECT_EQ(signalNumber("stop"), SIGSTOP);
  EXPECT_EQ(signalNumber("9"), SIGKILL);
}

TEST(SignalNumber, IsRefusedWithAnExample) {
  for (const char* text : {"", "0", "-9", "999", "SIG", "KILLALL"})
    EXPECT_THAT([&] { signalNumber(text); },
                ThrowsMessage<std::runtime_error>(HasSubstr("is no signal: write for instance")))
        << text;
}

}  // namespace
}  // namespace benchtv
