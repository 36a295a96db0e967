// How the set starts its processes.
#pragma once

#include <string>

#include "model/product.h"
#include "set/faults.h"
#include "set/process.h"
#include "set/set_options.h"

namespace benchtv {

// For "mdnsd", "airplaydemo", "AirPlayApp" or "launcher". Writes the service that mdnsd announces
// into the run folder. Throws std::exception.
LaunchPlan planLaunch(const std::string& process, const SetOptions& options, const Product& product,
                      const Faults& faults);

}  // namespace benchtv
