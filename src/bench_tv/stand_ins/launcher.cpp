// Stand-in for the TV's user interface, which is the application "launcher".
#include "stand_ins/tv_ui.h"

int main() {
  benchtv::StandInOptions options;
  options.process = "launcher";
  options.app = "launcher";
  return benchtv::runStandIn(options, [](benchtv::ISetLink& set, const std::function<void()>&) {
    return std::make_unique<benchtv::TvUi>(set);
  });
}
