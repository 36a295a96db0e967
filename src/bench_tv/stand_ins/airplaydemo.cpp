// Stand-in for the receiver daemon: joins the command bus of the set as "AirPlayDaemon", makes its
// marker file when it is ready, and plays the receiver and the phones that find it.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <fstream>

#include "stand_ins/receiver.h"

namespace {

constexpr char kReadyMarker[] = "/tmp/semaphore_ipc";

struct Faults {
  bool hangs = false;
  bool neverReady = false;
};

class Daemon : public benchtv::Receiver {
 public:
  Daemon(benchtv::ISetLink& setLink, const Faults& daemonFaults)
      : Receiver(setLink), faults(daemonFaults) {}

  void onJoined() override {
    if (!faults.neverReady && !std::ofstream(kReadyMarker, std::ios::app)) {
      benchtv::say(std::string("cannot make ") + kReadyMarker);
    }
    // As one that hangs does, it does not act on SIGTERM either.
    if (faults.hangs) {
      for (;;) {
        pause();
      }
    }
  }

 private:
  Faults faults;
};

}  // namespace

int main(int argc, char** argv) {
  CLI::App app("Stand-in for the receiver daemon.");
  Faults faults;
  app.add_flag("--hang", faults.hangs, "join the command bus and then read nothing more");
  app.add_flag("--never-ready", faults.neverReady, "never make the marker file");
  CLI11_PARSE(app, argc, argv);

  benchtv::StandInOptions options;
  options.process = "airplaydemo";
  options.busName = "AirPlayDaemon";
  // That of a daemon which was killed says nothing about this one.
  unlink(kReadyMarker);
  const int status =
      benchtv::runStandIn(options, [&](benchtv::ISetLink& set, const std::function<void()>&) {
        return std::make_unique<Daemon>(set, faults);
      });
  if (!faults.neverReady) {
    unlink(kReadyMarker);
  }
  return status;
}
