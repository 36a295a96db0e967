// SetUnderTest: the set behind the platform library that a contract program is linked with, as the
// cases need it from the outside.
//
// There are two: the in-memory platform with its InMemoryTv, and the host platform with a bench TV.
// The cases call the platform's functions themselves.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace contract {

using Texts = std::vector<std::string>;
using Value = std::variant<int, std::string, Texts>;
using Text = std::optional<std::string>;  // none is a null pointer

struct Record {
  Text src;
  Text ack;
  Text dest;
  Text cmd;
  Text para;
};
enum class Way { kSync, kAsync };

struct LogLine {
  int level;
  std::string text;
};

// Every operation has taken effect when it returns, but for callbacks, which come when they come.
class SetUnderTest {
 public:
  virtual ~SetUnderTest() = default;

  // Settings. Texts must be UTF-8 here.
  virtual void change(const std::string& key, const Value& value) = 0;
  virtual Value value(const std::string& key) = 0;
  virtual void failRead(const std::string& key, int status) = 0;
  virtual void failWrite(const std::string& key, int status) = 0;
  virtual void failConnect(const std::string& key, int status) = 0;
  virtual void failInvoke(int status) = 0;

  // Command bus: someone on the set sends to the client that has joined as record.dest.
  virtual void send(int type, const Record& record, Way way) = 0;
  virtual void failInit(int status) = 0;
  virtual void failSend(int status) = 0;
  virtual void failInject(int status) = 0;

  // Application manager: the operation of that name is called on the application |app|.
  virtual void callApp(const std::string& app, const std::string& operation, const Texts& texts,
                       int reason) = 0;
  virtual void takeAppManagerAway() = 0;

  // Ends every fault, takeAppManagerAway() included.
  virtual void endFaults() = 0;

  // Processes, by name. One that is killed is a zombie until reaped.
  virtual pid_t startProcess(const std::string& name) = 0;
  virtual void killProcess(const std::string& name) = 0;
  virtual void reapProcess(const std::string& name) = 0;

  // The log lines that leave the process during |action|, with the library set to |level|.
  virtual std::vector<LogLine> linesDuring(int level, const std::function<void()>& action) = 0;

  // The set as a whole ends at once, and comes back with its settings.
  virtual void die() = 0;
  virtual void comeBack() = 0;
};

// Defined once in each program.
std::unique_ptr<SetUnderTest> bootSet();

// The one of this process.
SetUnderTest& theSet();

}  // namespace contract
