// Keeper: starts bus, set and service, collects the dead, and ends the tree as one.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "control/file_descriptor.h"
#include "control/keeper/child_program.h"
#include "control/keeper/message_bus.h"
#include "control/keeper/note_writer.h"
#include "control/run_folder.h"

namespace benchtv {

// One thread, but for the one of NoteWriter. It restarts nothing by itself. It cannot be destroyed:
// the process ends by _Exit.
//
// Commands on keeper.sock, one a line, each answered by one line:
//
//   start ROLE   "ok" once the program is executed
//   stop ROLE    "ok" once it has ended, by force if it takes its time
//   state ROLE   "ok running PID", "ok ended STATUS" (exit status or -signal), "ok not started"
//   down         "ok" once nothing below the keeper is left, then the keeper ends; "error: ..."
//                instead when bus or set had ended by themselves and the journal does not say so
class Keeper {
 public:
  struct Options {
    RunFolder run{""};
    BusKind bus = BusKind::kDaemon;
    std::vector<std::string> setCommand;
    std::vector<std::string> serviceCommand;  // empty: no service
    bool privateRun = false;                  // /run is this bench TV's own
  };

  explicit Keeper(Options options);

  // Returns when the bench TV is down. Throws std::exception when it cannot come up.
  void run();

 private:
  struct Client {
    FileDescriptor socket;
    std::string unread;
  };

  void start(ChildProgram& program);
  void startService();
  void stop(ChildProgram& program);
  void reap();
  void noteEnd(const ChildProgram& program, pid_t pid, bool wanted);
  void waitForEnd(const ChildProgram& program, int milliseconds);

  void acceptClient();
  void serve(Client& client);
  std::string answer(const std::string& command);
  std::string takeDown();
  void killAll();

  ChildProgram& programOf(const std::string& role);

  Options options;
  FileDescriptor signals;
  FileDescriptor setReachable;
  FileDescriptor listener;
  FileDescriptor systemLog;
  std::map<int, Client> clients;
  ChildProgram bus;
  ChildProgram set;
  ChildProgram service;
  const ChildProgram* stopping = nullptr;
  std::string unreported;  // how bus or set ended by themselves, until the journal has it
  std::optional<NoteWriter> notes;
  bool down = false;       // asked for, by command or signal
  bool takenDown = false;  // done
};

}  // namespace benchtv
