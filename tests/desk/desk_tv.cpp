#include "desk_tv.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <system_error>

namespace desk {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr auto kAllowance = 100s;
constexpr auto kPollMicros = 20'000;
constexpr std::size_t kLongestName = 40;  // a socket's path is short
constexpr std::size_t kLinesShown = 40;

// Ones that other bench TVs, and the same case elsewhere on this machine, do not have.
std::string uniqueName(const std::string& role) {
  const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
  std::string name = test->name();
  std::replace(name.begin(), name.end(), '/', '-');
  return name.substr(0, kLongestName) + "-" + std::to_string(getpid()) + "-" + role;
}

std::string quoted(const std::string& text) {
  std::string all = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') all += '\\';
    all += c;
  }
  return all + '"';
}

}  // namespace

std::string logs(const std::string& text) { return "kind=log source=service text=" + quoted(text); }

std::string sends(const std::string& destination, const std::string& command,
                  const std::string& parameter) {
  return "kind=bus op=send src=AirPlayBridge ack=" + quoted(destination) +
         " cmd=" + quoted(command) + " para=" + quoted(parameter);
}

std::string writes(const std::string& key, const std::string& value, const std::string& writer) {
  return "kind=setting op=write key=" + quoted(key) + " value=" + quoted(value) + " by=" + writer;
}

std::string processStarts(const std::string& name) {
  return "kind=process op=start name=" + quoted(name);
}

std::string processEnds(const std::string& name) {
  return "kind=process op=end name=" + quoted(name);
}

Undertaker::Undertaker(const std::string& tvName) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0)
    throw std::system_error(errno, std::generic_category(), "cannot make a pipe");
  process = fork();
  if (process == 0) {
    setsid();  // what interrupts the case must not interrupt this
    close(ends[1]);
    char nothing = 0;
    (void)!read(ends[0], &nothing, 1);  // returns when the case's process is gone
    try {
      if (benchtv::BenchTv::isUp(tvName)) benchtv::BenchTv::find(tvName).down();
    } catch (const std::exception& why) {
      std::cerr << "the bench TV " << tvName << " stays up: " << why.what() << std::endl;
    }
    _exit(0);
  }
  close(ends[0]);
  alive = ends[1];
}

Undertaker::~Undertaker() {
  close(alive);
  waitpid(process, nullptr, 0);
}

DeskTv::DeskTv(const std::string& role) : deadline(Clock::now() + kAllowance) {
  wanted.name = uniqueName(role);
}

DeskTv::~DeskTv() {
  if (!tv) return;
  if (::testing::Test::HasFailure()) showFailure();
  takeDown();
}

void DeskTv::start() {
  undertaker = std::make_unique<Undertaker>(wanted.name);
  wanted.timeout = allowanceLeft();
  tv = benchtv::BenchTv::start(wanted);
  if (!tv->description()["sandbox"].asBool())
    throw std::runtime_error(
        "this machine allows no sandbox (user, process, network and time namespace, bwrap), "
        "without which whole bench TVs cannot be told apart");
}

void DeskTv::boot() {
  start();
  tv->waitUntilSupervising();
}

void DeskTv::bootUntilReady() {
  start();
  sees(logs("Daemon socket is ready: YES"));
}

int DeskTv::bootUntilServiceEnd() {
  start();
  return sees(processEnds("service"))["status"].asInt();
}

Event DeskTv::sees(const Expression& what, std::uint64_t after) const {
  return tv->waitFor(what, allowanceLeft(), after);
}

Event DeskTv::seesInOrder(std::initializer_list<Expression> all, std::uint64_t after) const {
  Event last;
  for (const Expression& what : all) {
    last = sees(what, after);
    after = last["seq"].asUInt64();
  }
  return last;
}

Events DeskTv::all(const Expression& what) const {
  Events found = tv->events();
  found.erase(std::remove_if(found.begin(), found.end(),
                             [&](const Event& event) { return !what.matches(event); }),
              found.end());
  return found;
}

void DeskTv::waitUntil(const std::string& what, const std::function<bool()>& condition) const {
  while (!condition()) {
    if (allowanceLeft() == 0ms) throw std::runtime_error("waited in vain for " + what);
    usleep(kPollMicros);
  }
}

void DeskTv::waitUntilServiceIsBack(std::uint64_t after) const {
  sees(logs("H [host] settings: the set is there"), after);
  sees(logs("H [host] command bus: the set is there"), after);
  sees(logs("H [host] application manager: the set is there"), after);
}

milliseconds DeskTv::allowanceLeft() const {
  return std::max(0ms, std::chrono::duration_cast<milliseconds>(deadline - Clock::now()));
}

void DeskTv::showFailure() const {
  const benchtv::RunFolder& run = tv->runFolder();
  std::cout << "The journal of " << wanted.name << " ends:\n"
            << benchtv::lastLines(run.journal(), kLinesShown)
            << "The service's log: " << run.log("service").native() << std::endl;
}

void DeskTv::takeDown() {
  const std::filesystem::path folder = tv->runFolder().path();
  try {
    for (const Event& error : tv->down())
      ADD_FAILURE() << "an error of the bench itself, from " << error["source"].asString() << ": "
                    << error["text"].asString();
  } catch (const std::exception& why) {
    ADD_FAILURE() << why.what();
  }
  if (!::testing::Test::HasFailure()) std::filesystem::remove_all(folder);
}

void Desk::SetUpTestSuite() {
  // A service that ends by a signal on purpose shall not leave a core file somewhere.
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

}  // namespace desk
