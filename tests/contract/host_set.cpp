// The set under test is the bench TV's, on a private bus, beside this process: no keeper and no
// sandbox, so that it boots in a moment wherever D-Bus runs.
#include <fcntl.h>
#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>
#include <sdbus-c++/sdbus-c++.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "bus_protocol/Control1_proxy.h"
#include "bus_protocol/bus_names.h"
#include "csp_debug.h"
#include "set_under_test.h"
#include "waiting.h"

namespace contract {

namespace {

using Bytes = std::vector<std::uint8_t>;
using WireField = sdbus::Struct<bool, Bytes>;

constexpr char kSendKey[] = "torvo.sl2.system.action.send.key";

class Control final : public sdbus::ProxyInterfaces<tv::benchtv::Control1_proxy> {
 public:
  explicit Control(sdbus::IConnection& connection)
      : ProxyInterfaces(connection, benchtv::kSetName, benchtv::kSetPath) {}
};

Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }

WireField fieldOf(const Text& text) { return {text.has_value(), bytesOf(text.value_or(""))}; }

std::string jsonOf(const Value& value) {
  Json::Value json;
  if (const int* number = std::get_if<int>(&value)) {
    json = *number;
  } else if (const std::string* text = std::get_if<std::string>(&value)) {
    json = *text;
  } else {
    json = Json::Value(Json::arrayValue);
    for (const std::string& item : std::get<Texts>(value)) {
      json.append(item);
    }
  }
  return Json::writeString(Json::StreamWriterBuilder(), json);
}

Value valueOf(const std::string& text) {
  Json::Value json;
  std::istringstream(text) >> json;
  if (json.isInt()) {
    return json.asInt();
  }
  if (json.isString()) {
    return json.asString();
  }
  Texts items;
  for (const Json::Value& item : json) {
    items.push_back(item.asString());
  }
  return items;
}

// Starts a program that ends with this process at the latest, and returns once it runs.
pid_t start(const std::vector<std::string>& command, const std::filesystem::path& errorOutput) {
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (const std::string& argument : command) {
    arguments.push_back(const_cast<char*>(argument.c_str()));
  }
  arguments.push_back(nullptr);
  const int log = ::open(errorOutput.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  int running[2];  // the program's end closes when it is executed
  if (log < 0 || ::pipe2(running, O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "no pipe or no log");
  }
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(log, STDERR_FILENO);
    ::execvp(arguments[0], arguments.data());
    (void)!::write(running[1], "x", 1);
    ::_exit(127);
  }
  ::close(log);
  ::close(running[1]);
  char failed = 0;
  const bool isRunning = pid > 0 && ::read(running[0], &failed, 1) == 0;
  ::close(running[0]);
  if (!isRunning) {
    throw std::runtime_error("cannot execute " + command.front());
  }
  return pid;
}

// Without sdbus-c++, which loses memory when it cannot connect.
bool isListening(const std::filesystem::path& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.string().copy(address.sun_path, sizeof address.sun_path - 1);
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool isThere = ::connect(probe, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  ::close(probe);
  return isThere;
}

void reap(pid_t pid) { (void)::waitpid(pid, nullptr, 0); }

class HostSet final : public SetUnderTest {
 public:
  HostSet() {
    std::string pattern = std::filesystem::temp_directory_path() / "contract.XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), "no temporary folder");
    }
    folder = pattern;
    const std::string address = "unix:path=" + (folder / "bus.sock").string();
    // Before the first call of a library, which looks for its bus here.
    ::setenv(benchtv::kBusAddressVariable, address.c_str(), 1);
    bus = start({"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=" + address},
                folder / "bus.log");
    if (!eventually([&] { return isListening(folder / "bus.sock"); })) {
      throw std::runtime_error("no bus: see " + (folder / "bus.log").string());
    }
    connection = sdbus::createSessionBusConnectionWithAddress(address);
    connection->setMethodCallTimeout(std::chrono::microseconds(kDeadline).count());
    control = std::make_unique<Control>(*connection);
    comeBack();
  }

  ~HostSet() override {
    for (const auto& [name, pid] : processes) {
      ::kill(pid, SIGKILL);
      reap(pid);
    }
    die();
    control.reset();
    connection.reset();
    ::kill(bus, SIGKILL);
    reap(bus);
    std::filesystem::remove_all(folder);
  }

  void change(const std::string& key, const Value& value) override {
    control->SetSetting(key, jsonOf(value));
  }
  Value value(const std::string& key) override { return valueOf(control->GetSetting(key)); }
  void failRead(const std::string& key, int status) override {
    control->SetFault("setting-read", key, status);
  }
  void failWrite(const std::string& key, int status) override {
    control->SetFault("setting-write", key, status);
  }
  void failConnect(const std::string& key, int status) override {
    control->SetFault("setting-connect", key, status);
  }
  void failInvoke(int status) override { control->SetFault("setting-write", kSendKey, status); }

  void send(int type, const Record& record, Way way) override {
    const std::vector<WireField> wire = {fieldOf(record.src), fieldOf(record.ack),
                                         fieldOf(record.dest), fieldOf(record.cmd),
                                         fieldOf(record.para)};
    (void)control->SendRecord(type, way == Way::kSync, wire);
  }
  void failInit(int status) override { control->SetFault("bus-init", "", status); }
  void failSend(int status) override { control->SetFault("bus-send", "", status); }
  void failInject(int status) override { control->SetFault("bus-inject", "", status); }

  void callApp(const std::string& app, const std::string& operation, const Texts& texts,
               int reason) override {
    std::vector<Bytes> wire;
    for (const std::string& text : texts) {
      wire.push_back(bytesOf(text));
    }
    (void)control->CallApp(app, operation, wire, reason);
  }
  void takeAppManagerAway() override { control->SetFault("apm-missing", "", 1); }

  void endFaults() override { control->ClearFault("", ""); }

  // A program that sleeps, under that name.
  pid_t startProcess(const std::string& name) override {
    const std::filesystem::path program = folder / name;
    std::filesystem::copy_file("/bin/sleep", program);
    return processes[name] = start({program, "1000"}, folder / "process.log");
  }
  void killProcess(const std::string& name) override {
    ::kill(processes.at(name), SIGKILL);
    siginfo_t end;
    (void)::waitid(P_PID, static_cast<id_t>(processes.at(name)), &end, WEXITED | WNOWAIT);
  }
  void reapProcess(const std::string& name) override {
    reap(processes.at(name));
    processes.erase(name);
  }

  std::vector<LogLine> linesDuring(int level, const std::function<void()>& action) override {
    static constexpr const char* kLevelWords[] = {"off", "error", "info", "verbose"};
    ::setenv("AIRPLAY_LOG_LEVEL", kLevelWords[level], 1);
    cspDebugInit();
    const std::filesystem::path output = folder / "lines.log";
    const int before = ::dup(STDERR_FILENO);
    const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND, 0600);
    ::dup2(file, STDERR_FILENO);
    ::close(file);
    action();
    ::dup2(before, STDERR_FILENO);
    ::close(before);

    static const std::map<char, int> levels = {
        {'E', CSP_DEBUG_ERROR}, {'I', CSP_DEBUG_INFO}, {'V', CSP_DEBUG_VERBOSE}};
    std::vector<LogLine> lines;
    std::ifstream written(output);
    for (std::string line; std::getline(written, line);) {
      if (const auto found = levels.find(line.front()); found != levels.end()) {
        lines.push_back({found->second, line.substr(2)});
      }
    }
    return lines;
  }

  void die() override {
    ::kill(set, SIGKILL);
    reap(set);
  }
  void comeBack() override {
    set = start({BENCHTV_SET, "--run-dir", folder, "--state-dir", folder, "--product",
                 BENCHTV_PRODUCT, "--biz-ready", "never"},
                folder / "set.log");
    const bool isUp = eventually([&] {
      try {
        (void)control->Status();
        return true;
      } catch (const sdbus::Error&) {
        return false;
      }
    });
    if (!isUp) {
      throw std::runtime_error("no set: see " + (folder / "set.log").string());
    }
  }

 private:
  std::filesystem::path folder;
  pid_t bus = 0;
  pid_t set = 0;
  std::map<std::string, pid_t> processes;
  std::unique_ptr<sdbus::IConnection> connection;
  std::unique_ptr<Control> control;
};

}  // namespace

std::unique_ptr<SetUnderTest> bootSet() { return std::make_unique<HostSet>(); }

}  // namespace contract
