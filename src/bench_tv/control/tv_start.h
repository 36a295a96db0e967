// How a bench TV is started: everything is checked first, then the keeper is started.
#pragma once

#include "control/bench_tv.h"

namespace benchtv {

struct StartedTv {
  RunFolder run;
  pid_t outside;  // the child of this process that waits for the keeper, or the keeper itself
};

// Returns when the set answers. Throws std::runtime_error, and then nothing is left running.
StartedTv startTv(const BenchTv::Options& options);

}  // namespace benchtv
