// benchtv_keeper: the first process of a bench TV. People start it by "benchtv up".
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "control/keeper/keeper.h"

int main(int argc, char** argv) {
  std::string runFolder;
  std::string busName = "daemon";
  std::string service;
  std::string logLevel = "verbose";
  bool privateRun = false;
  std::vector<std::string> setCommand;

  CLI::App app(
      "The first process of a bench TV: starts bus, set and service and ends them as one.");
  app.add_option("--run-dir", runFolder, "The bench TV's run folder")->required();
  app.add_option("--bus", busName, "daemon or broker")->check(CLI::IsMember({"daemon", "broker"}));
  app.add_option("--service", service, "The service; without it there is none");
  app.add_option("--log-level", logLevel, "AIRPLAY_LOG_LEVEL for the service");
  app.add_flag("--private-run", privateRun, "/run belongs to this bench TV alone");
  app.add_option("set", setCommand, "The set and its arguments, after --")->required();
  CLI11_PARSE(app, argc, argv);

  setenv("AIRPLAY_LOG_LEVEL", logLevel.c_str(), 1);
  benchtv::Keeper::Options options;
  options.run = benchtv::RunFolder(runFolder);
  options.bus = busName == "broker" ? benchtv::BusKind::kBroker : benchtv::BusKind::kDaemon;
  options.setCommand = setCommand;
  options.privateRun = privateRun;
  if (!service.empty()) {
    options.serviceCommand = {service};
  }

  int status = EXIT_SUCCESS;
  benchtv::Keeper keeper(options);
  try {
    keeper.run();
  } catch (const std::exception& why) {
    std::fprintf(stderr, "benchtv_keeper: %s\n", why.what());
    status = EXIT_FAILURE;
  }
  // The thread that writes notes may be in the middle of a call: end without it.
  std::_Exit(status);
}
