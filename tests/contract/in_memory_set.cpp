// The set under test is an InMemoryTv, with a callback thread for each library.
#include <cstdlib>
#include <cstring>

#include "app_manager_client.h"
#include "csp_debug.h"
#include "in_memory_tv.h"
#include "set_under_test.h"

namespace contract {

namespace {

using nv::appmanager::AppInterface;

int callOperation(AppInterface& app, const std::string& operation, const Texts& texts, int reason) {
  struct TextRow {
    const char* name;
    int (AppInterface::*call)(const std::string&, const std::string&);
  };
  struct ReasonRow {
    const char* name;
    int (AppInterface::*call)(const std::string&, int);
  };
  static constexpr TextRow kTextRows[] = {{"onRunning", &AppInterface::onRunning},
                                          {"onDestroy", &AppInterface::onDestroy},
                                          {"onSuspend", &AppInterface::onSuspend}};
  static constexpr ReasonRow kReasonRows[] = {{"onSTRSuspending", &AppInterface::onSTRSuspending},
                                              {"onSTRSuspend", &AppInterface::onSTRSuspend},
                                              {"onSTRResume", &AppInterface::onSTRResume},
                                              {"onSTRResuming", &AppInterface::onSTRResuming}};
  for (const TextRow& row : kTextRows) {
    if (operation == row.name) {
      return (app.*row.call)(texts.at(0), texts.at(1));
    }
  }
  for (const ReasonRow& row : kReasonRows) {
    if (operation == row.name) {
      return (app.*row.call)(texts.at(0), reason);
    }
  }
  if (operation == "notifyAppEventMessage") {
    return app.notifyAppEventMessage(texts.at(0), texts.at(1), texts.at(2));
  }
  if (operation == "onKeyEvent") {
    GAM_KeyEvent key;
    std::memcpy(&key, texts.at(0).data(), sizeof key);
    return app.onKeyEvent(key);
  }
  std::abort();
}

class InMemorySet final : public SetUnderTest {
 public:
  void change(const std::string& key, const Value& value) override { tv.changes(key, value); }
  Value value(const std::string& key) override { return tv.setting(key); }
  void failRead(const std::string& key, int status) override {
    tv.failRead(key, status);
    faulty.push_back(key);
  }
  void failWrite(const std::string& key, int status) override {
    tv.failWrite(key, status);
    faulty.push_back(key);
  }
  void failConnect(const std::string& key, int status) override {
    tv.failConnect(key, status);
    faulty.push_back(key);
  }

  void failInvoke(int status) override { tv.failInvoke(status); }

  void send(int type, const Record& record, Way way) override {
    tv.post(type, {record.src, record.ack, record.dest, record.cmd, record.para},
            way == Way::kSync ? InMemoryTv::Way::kSync : InMemoryTv::Way::kAsync);
  }
  void failInit(int status) override { tv.gamInitResult(status); }
  void failSend(int status) override { tv.gamSendResult(status); }
  void failInject(int status) override { tv.gamInjectResult(status); }

  void callApp(const std::string& app, const std::string& operation, const Texts& texts,
               int reason) override {
    tv.postToApp(
        [=](AppInterface& callbacks) { return callOperation(callbacks, operation, texts, reason); },
        app);
  }
  void takeAppManagerAway() override { tv.noAppManager(); }

  void endFaults() override {
    for (const std::string& key : faulty) {
      tv.works(key);
    }
    faulty.clear();
    tv.failInvoke(0);
    tv.gamInitResult(0);
    tv.gamSendResult(0);
    tv.gamInjectResult(0);
    tv.hasAppManager();
  }

  pid_t startProcess(const std::string& name) override {
    tv.runs(name, ++lastPid);
    return lastPid;
  }
  void killProcess(const std::string& name) override { tv.runs(name, 0); }
  void reapProcess(const std::string& /*name*/) override {}

  std::vector<LogLine> linesDuring(int level, const std::function<void()>& action) override {
    tv.logLevel(static_cast<cspDebugLevel>(level));
    tv.takeLog();
    tv.takeRawLog();
    action();
    const std::vector<std::string> entries = tv.takeLog();
    const std::vector<std::string> texts = tv.takeRawLog();
    std::vector<LogLine> lines;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      const char first = entries[i].front();
      lines.push_back({first == 'E'   ? CSP_DEBUG_ERROR
                       : first == 'l' ? CSP_DEBUG_INFO
                                      : CSP_DEBUG_VERBOSE,
                       texts[i]});
    }
    return lines;
  }

  void die() override { tv.dies(); }
  void comeBack() override { tv.comesBack(); }

 private:
  InMemoryTv tv{Delivery::kThreads};
  std::vector<std::string> faulty;
  pid_t lastPid = 1000;
};

}  // namespace

std::unique_ptr<SetUnderTest> bootSet() { return std::make_unique<InMemorySet>(); }

}  // namespace contract
