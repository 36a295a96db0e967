#include "control/keeper/keeper.h"

#include <bus_protocol/bus_names.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "control/processes.h"
#include "model/value.h"

namespace benchtv {

namespace {

using namespace std::chrono_literals;

constexpr int kPatienceMillis = 2000;  // from the request to end to the end by force
constexpr auto kFlush = 500ms;
constexpr auto kFlushBeforeStart = 100ms;
constexpr std::size_t kLongestCommand = 1024;

FileDescriptor signalsOf(std::initializer_list<int> numbers) {
  sigset_t wanted;
  sigemptyset(&wanted);
  for (int number : numbers) {
    sigaddset(&wanted, number);
  }
  sigprocmask(SIG_BLOCK, &wanted, nullptr);
  return FileDescriptor(signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK));
}

std::string endText(int status) {
  return status < 0 ? "was ended by signal " + std::to_string(-status)
                    : "ended with exit status " + std::to_string(status);
}

}  // namespace

Keeper::Keeper(Options given)
    : options(std::move(given)),
      bus("bus", busCommand(options.bus, options.run), options.run.log("bus")),
      set("set", options.setCommand, options.run.log("set")),
      service("service", options.serviceCommand, options.run.log("service")) {}

void Keeper::run() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  signals = signalsOf({SIGCHLD, SIGTERM, SIGINT, SIGHUP});
  setReachable = FileDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));

  const std::string address = options.run.busAddress();
  setenv(kBusAddressVariable, address.c_str(), 1);
  if (options.bus == BusKind::kBroker) {
    // The launcher is a client of the bus that it launches.
    setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
    if (options.privateRun) {
      systemLog = offerSystemLog();
    }
  }
  writeBusConfiguration(options.run);
  listener = boundSocket(options.run.keeperSocket(), SOCK_STREAM);
  notes.emplace(address, setReachable.get());

  start(bus);
  start(set);
  while (!down) {
    std::vector<pollfd> readable{
        {signals.get(), POLLIN, 0}, {setReachable.get(), POLLIN, 0}, {listener.get(), POLLIN, 0}};
    for (const auto& [descriptor, client] : clients) {
      readable.push_back({descriptor, POLLIN, 0});
    }
    if (poll(readable.data(), readable.size(), -1) < 0) {
      continue;
    }

    if (readable[0].revents != 0) {
      reap();
    }
    if (readable[1].revents != 0) {
      // The set has answered: what it serves is there from the service's first call on.
      std::uint64_t count = 0;
      (void)!read(setReachable.get(), &count, sizeof(count));
      if (!options.serviceCommand.empty()) {
        startService();
      }
    }
    if (readable[2].revents != 0) {
      acceptClient();
    }
    for (std::size_t i = 3; i < readable.size() && !down; ++i) {
      if (readable[i].revents != 0) {
        serve(clients.at(readable[i].fd));
      }
    }
  }
  if (!takenDown) {
    takeDown();
  }
}

void Keeper::start(ChildProgram& program) {
  // The keeper's copy of the bus's socket closes on return: when the bus has ended, nobody listens.
  FileDescriptor listening;
  if (&program == &bus && !bus.runs()) {
    listening = listenForBus(options.run);
  }
  pid_t announced = 0;
  const auto announce = [this, &program, &announced](pid_t pid) {
    announced = pid;
    notes->note("process", {{"op", jsonText("start")},
                            {"name", jsonText(program.role())},
                            {"pid", std::to_string(pid)}});
    // So that the journal has the service's start before its first line. Without a set to take the
    // note it starts all the same.
    if (&program == &service) {
      (void)notes->flush(kFlushBeforeStart);
    }
  };
  try {
    program.start(listening.get(), announce);
  } catch (const std::exception&) {
    if (announced != 0) {
      noteEnd(program, announced, true);
    }
    throw;
  }
}

void Keeper::startService() {
  try {
    start(service);
  } catch (const std::exception& why) {
    // As if it had ended at once: the set stays up to be looked at.
    std::fprintf(stderr, "benchtv_keeper: %s\n", why.what());
  }
}

void Keeper::stop(ChildProgram& program) {
  if (!program.runs()) {
    return;
  }
  stopping = &program;
  kill(program.pid(), SIGTERM);
  kill(program.pid(), SIGCONT);
  waitForEnd(program, kPatienceMillis);
  if (program.runs()) {
    kill(program.pid(), SIGKILL);
    waitForEnd(program, kPatienceMillis);
  }
  stopping = nullptr;
}

void Keeper::waitForEnd(const ChildProgram& program, int milliseconds) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (reap(); program.runs(); reap()) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left <= 0ms) {
      return;
    }
    pollfd signalled{signals.get(), POLLIN, 0};
    poll(&signalled, 1, static_cast<int>(left.count()));
  }
}

void Keeper::reap() {
  signalfd_siginfo signalled{};
  while (read(signals.get(), &signalled, sizeof(signalled)) == sizeof(signalled)) {
    if (signalled.ssi_signo != SIGCHLD) {
      down = true;
    }
  }

  int status = 0;
  for (pid_t pid; (pid = waitpid(-1, &status, WNOHANG)) > 0;) {
    for (ChildProgram* program : {&bus, &set, &service}) {
      if (program->reaped(pid, status)) {
        noteEnd(*program, pid, program == stopping);
      }
    }
  }
}

void Keeper::noteEnd(const ChildProgram& program, pid_t pid, bool wanted) {
  const int status = *program.ended();
  notes->note("process", {{"op", jsonText("end")},
                          {"name", jsonText(program.role())},
                          {"pid", std::to_string(pid)},
                          {"status", std::to_string(status)}});

  // The service may end as it likes, and a person or test may end anything. But bus and set have no
  // reason of their own to.
  const bool byHand = status == 0 || status == -SIGKILL || status == -SIGTERM || status == -SIGINT;
  if (&program == &service || wanted || byHand) {
    return;
  }
  const std::string text = "the " + program.role() + " " + endText(status) + ": see " +
                           options.run.log(program.role()).native();
  notes->note("error", {{"source", jsonText("keeper")}, {"text", jsonText(text)}});
  unreported = text;
}

void Keeper::acceptClient() {
  FileDescriptor socket(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket.isOpen()) {
    return;
  }
  const int descriptor = socket.get();
  clients[descriptor] = Client{std::move(socket), ""};
}

void Keeper::serve(Client& client) {
  const int descriptor = client.socket.get();
  std::array<char, 1024> part;
  const ssize_t got = recv(descriptor, part.data(), part.size(), 0);
  if (got <= 0 || client.unread.size() > kLongestCommand) {
    if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
      clients.erase(descriptor);
    }
    return;
  }

  client.unread.append(part.data(), static_cast<std::size_t>(got));
  for (std::size_t end; !down && (end = client.unread.find('\n')) != std::string::npos;) {
    const std::string reply = answer(client.unread.substr(0, end)) + "\n";
    client.unread.erase(0, end + 1);
    // Who does not wait for the answer does not get it.
    (void)send(descriptor, reply.data(), reply.size(), MSG_NOSIGNAL);
  }
}

std::string Keeper::answer(const std::string& command) {
  try {
    const std::size_t blank = command.find(' ');
    const std::string verb = command.substr(0, blank);
    const std::string role = blank == std::string::npos ? "" : command.substr(blank + 1);
    if (verb == "down") {
      return takeDown();
    }
    if (verb == "start") {
      start(programOf(role));
      return "ok";
    }
    if (verb == "stop") {
      stop(programOf(role));
      return "ok";
    }
    if (verb == "state") {
      const ChildProgram& program = programOf(role);
      if (program.runs()) {
        return "ok running " + std::to_string(program.pid());
      }
      return program.ended() ? "ok ended " + std::to_string(*program.ended()) : "ok not started";
    }
    return "error: the keeper knows start, stop, state and down, and not \"" + verb + "\"";
  } catch (const std::exception& why) {
    return std::string("error: ") + why.what();
  }
}

std::string Keeper::takeDown() {
  down = true;
  takenDown = true;
  // The set last but one, so that the journal has how the service ended.
  stop(service);
  if (set.runs() && bus.runs() && notes->flush(kFlush)) {
    unreported.clear();
  }
  stop(set);
  stop(bus);
  killAll();
  return unreported.empty() ? "ok" : "error: " + unreported;
}

void Keeper::killAll() {
  // Whoever is killed leaves its children to the keeper, so this takes as many rounds as the tree
  // is high.
  while (true) {
    for (const ProcessInfo& process : processTree(getpid())) {
      if (process.pid != getpid()) {
        kill(process.pid, SIGKILL);
      }
    }
    if (waitpid(-1, nullptr, 0) < 0 && errno == ECHILD) {
      return;
    }
  }
}

ChildProgram& Keeper::programOf(const std::string& role) {
  for (ChildProgram* program : {&bus, &set, &service}) {
    if (program->role() == role) {
      return *program;
    }
  }
  throw std::runtime_error("\"" + role + "\" is none of bus, set and service");
}

}  // namespace benchtv
