// DeskTv: the bench TV of one case, a whole one with the real service on it.
//
// Everything is awaited by condition. All waits of a case draw on one allowance, which ends
// before ctest's patience does, so that a case that waits in vain still takes its bench TV down.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "control/bench_tv.h"

namespace desk {

using Event = Json::Value;
using Events = std::vector<Event>;
using benchtv::Expression;

// Expressions for events of the journal.
std::string logs(const std::string& text);  // a line of the service, whole
std::string sends(const std::string& destination, const std::string& command,
                  const std::string& parameter);  // the service, on the command bus
std::string writes(const std::string& key, const std::string& value, const std::string& writer);
std::string processStarts(const std::string& name);
std::string processEnds(const std::string& name);

// Takes a bench TV down when this process ends without having done so.
class Undertaker {
 public:
  explicit Undertaker(const std::string& tvName);
  ~Undertaker();
  Undertaker(const Undertaker&) = delete;
  Undertaker& operator=(const Undertaker&) = delete;

 private:
  int alive = -1;
  pid_t process = -1;
};

// Waits throw std::runtime_error, which fails a case. To be a member of a fixture: when it goes, it
// takes the bench TV down, fails the case for errors of the bench itself, and after a failure shows
// the end of the journal and leaves the run folder.
class DeskTv {
 public:
  // |role| tells several bench TVs of one case apart.
  explicit DeskTv(const std::string& role = "tv");
  ~DeskTv();
  DeskTv(const DeskTv&) = delete;
  DeskTv& operator=(const DeskTv&) = delete;

  benchtv::BenchTv::Options wanted;  // before boot() and start(); the name is there already

  void boot();                // until the service supervises
  void bootUntilReady();      // until it has found the daemon ready
  void start();               // until the set answers
  int bootUntilServiceEnd();  // the exit status, or the negated signal

  benchtv::BenchTv* operator->() { return &*tv; }
  benchtv::ControlLink control() const { return tv->control(); }

  // The first event after the one numbered |after| that is as |what| says.
  Event sees(const Expression& what, std::uint64_t after = 0) const;

  // One after the other, others in between; returns the last.
  Event seesInOrder(std::initializer_list<Expression> all, std::uint64_t after = 0) const;

  Events all(const Expression& what) const;
  bool has(const Expression& what) const { return !all(what).empty(); }
  std::uint64_t now() const { return tv->lastSeq(); }

  // For what the journal does not tell.
  void waitUntil(const std::string& what, const std::function<bool()>& condition) const;

  // The three libraries of the service have found the set again, after the event numbered |after|.
  void waitUntilServiceIsBack(std::uint64_t after) const;

 private:
  std::chrono::milliseconds allowanceLeft() const;
  void showFailure() const;
  void takeDown();

  const std::chrono::steady_clock::time_point deadline;
  std::optional<benchtv::BenchTv> tv;
  std::unique_ptr<Undertaker> undertaker;
};

class Desk : public ::testing::Test {
 protected:
  static void SetUpTestSuite();

  DeskTv tv;
};

}  // namespace desk
