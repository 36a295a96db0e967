// benchtv_set: the simulated set as a program.
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

#include "bus_protocol/bus_names.h"
#include "set/bus_front.h"
#include "set/event_loop.h"
#include "set/refusal.h"
#include "set/set_options.h"
#include "set/tv_set.h"

namespace {

using benchtv::SetOptions;

std::filesystem::path besideProgram(const char* name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
}

std::optional<double> secondsOf(const std::string& text) {
  if (text == "never") {
    return std::nullopt;
  }
  std::size_t read = 0;
  double seconds = -1;
  try {
    seconds = std::stod(text, &read);
  } catch (const std::exception&) {
    read = 0;
  }
  if (read != text.size() || !(seconds >= 0 && seconds < 1e6)) {
    throw benchtv::Refusal(R"(--biz-ready is a number of seconds or "never", not ")" + text + "\"");
  }
  return seconds;
}

// Throws Refusal; ends the process with a message for wrong options, and for --help.
SetOptions parse(int argc, char** argv) {
  CLI::App app("The simulated set of the bench TV. The bus address is taken from " +
               std::string(benchtv::kBusAddressVariable) + ".");
  SetOptions options;
  options.standIns = besideProgram("stand_ins");
  std::string bizReady = "0";
  app.add_option("--run-dir", options.runFolder, "folder of journal and logs")->required();
  app.add_option("--state-dir", options.stateFolder, "folder of the settings")->required();
  app.add_option("--product", options.product, "product file")->required();
  app.add_option("--stand-ins", options.standIns, "folder of the stand-in programs");
  app.add_option("--mdnsd", options.mdnsd, "the real mdnsd; without it a stand-in runs");
  app.add_option("--mdnsd-lib", options.mdnsdLibraries, "folder of its libraries");
  app.add_option("--iface", options.interface, "network interface on which mdnsd announces");
  app.add_option("--biz-ready", bizReady, "seconds until the business layer is ready, or never");
  app.add_option("--marker", options.markers, "marker file to make at the start")
      ->allow_extra_args(false);
  app.add_option("--fault", options.faults, "NAME=VALUE or NAME:KEY=VALUE")
      ->allow_extra_args(false);
  try {
    app.parse(argc, argv);
    options.bizReady = secondsOf(bizReady);
  } catch (const CLI::ParseError& error) {
    std::exit(app.exit(error));
  }
  const char* address = std::getenv(benchtv::kBusAddressVariable);
  if (!address || !*address) {
    throw benchtv::Refusal(std::string("no bus address in ") + benchtv::kBusAddressVariable);
  }
  options.busAddress = address;
  return options;
}

void prepareProcess() {
  umask(0077);
  signal(SIGPIPE, SIG_IGN);
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGTERM);
  sigaddset(&ends, SIGINT);
  sigprocmask(SIG_BLOCK, &ends, nullptr);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    prepareProcess();
    const SetOptions options = parse(argc, argv);
    benchtv::BusFront front(options.busAddress);
    benchtv::TvSet set(options, front);
    benchtv::EventLoop loop(set, front);
    // Nothing is served before the loop runs, and a set that finds no bus has touched nothing.
    front.connect(set);
    set.start();
    loop.run();
    set.end();
    if (front.isConnected()) {
      front.process();
    }
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "benchtv_set: %s\n", error.what());
    return 1;
  }
}
