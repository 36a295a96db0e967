// runToItsEnd(): runs something that may end the process, in a process of its own.
//
//   const Ending end = runToItsEnd([] {
//     InMemoryTv tv;
//     VirtualLibc time{tv.history()};
//     tv.setting("torvo.sl2.i32.system.airplay.support", 0);
//     airplay_bridge_main(0, nullptr);
//   });
//   EXPECT_EQ(end.how, Ending::kExited);
//   EXPECT_EQ(end.status, 0);
//   EXPECT_THAT(end.calls(), ElementsAre(...));
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

struct Ending {
  enum How {
    kReturned,    // the body came to its end
    kScriptOver,  // VirtualLibc ended the script
    kThrew,       // another exception left the body
    kExited,      // exit(), quick_exit() or _exit(), with |status|
    kKilled,      // by the signal |status|
  };

  How how = kReturned;
  int status = 0;

  // The text of the exception, with kThrew.
  std::string exception;

  // Whatever went to standard error: with an abort(), its reason.
  std::string errorOutput;

  // Every entry of every history from the start of the body to the process's last moment.
  std::vector<std::string> history;

  // The history without and with only log and trace lines, as InMemoryTv::takeCalls() and
  // takeLog() give it.
  std::vector<std::string> calls() const;
  std::vector<std::string> log() const;
};

// The child starts with a copy of this process, so the body may use what the test has set up; what
// it changes there is lost. Must not be called while another thread runs. A body that takes more
// than 20 s is killed. Expectations belong after it: those in the body do not count.
Ending runToItsEnd(const std::function<void()>& body);
