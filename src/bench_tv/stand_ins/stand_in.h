// StandIn: what the stand-in programs have in common: the private bus, the set on it, and a
// person's hand on them.
#pragma once

#include <json/value.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "model/value.h"

namespace benchtv {

// A verb that makes no sense now; the text says what to do.
struct StandInRefusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// The set, as a stand-in sees it. Calls throw std::runtime_error when set or bus are gone, and
// StandInRefusal when the set refuses.
class ISetLink {
 public:
  virtual ~ISetLink() = default;

  // Negative: nobody got it.
  virtual int sendRecord(const std::string& from, const std::string& to, const std::string& cmd,
                         const std::string& para) = 0;
  virtual int sendAppMessage(const std::string& source, const std::string& target,
                             const std::string& message) = 0;

  // Has |operation| called on a registered application.
  virtual void callApp(const std::string& app, const std::string& operation,
                       const Texts& texts) = 0;
  virtual void setSetting(const std::string& key, const Value& value) = 0;

  // Writes a line of the journal.
  virtual void note(const std::string& kind, const std::string& op,
                    const std::vector<std::pair<std::string, Json::Value>>& fields) = 0;
};

// What a stand-in program does. Everything is called on its one thread. Whatever an operation
// throws goes to the program's log; from act() it goes to the caller.
class IStandInPart {
 public:
  virtual ~IStandInPart() = default;

  virtual void act(const std::string& verb, const std::string& argument) = 0;
  virtual Json::Value state() const = 0;

  // It has joined and registered, at first or again.
  virtual void onJoined() {}

  // A record of the command bus; an absent text is empty.
  virtual void onCommand(const std::string& /*cmd*/, const std::string& /*para*/) {}

  // An event message of the application manager.
  virtual void onAppMessage(const std::string& /*source*/, const std::string& /*message*/) {}
};

struct StandInOptions {
  std::string process;  // its name
  std::string busName;  // which it joins on the command bus; empty: none
  std::string app;      // as which it registers at the application manager; empty: as none
};

// A line in the log of the program.
void say(const std::string& text);

// Runs |makePart|'s part until SIGTERM or SIGINT, or until the part has called |end|. A set or a
// bus that has gone is looked for four times a second, and joined again. Returns the program's exit
// status.
int runStandIn(
    const StandInOptions& options,
    const std::function<std::unique_ptr<IStandInPart>(ISetLink& set, std::function<void()> end)>&
        makePart);

}  // namespace benchtv
