#include "set/launch_plan.h"

#include <algorithm>
#include <fstream>
#include <stdexcept>

#include "model/setting_keys.h"

namespace benchtv {
namespace {

constexpr char kHostName[] = "benchtv";
constexpr int kAirPlayPort = 7000;

// For a file of lines: without control characters.
std::string lineOf(const Product& product, const char* key) {
  const auto found = product.values.find(key);
  std::string text = found == product.values.end() ? "" : std::get<std::string>(found->second);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return text;
}

std::filesystem::path writeServices(const SetOptions& options, const Product& product) {
  const std::filesystem::path folder = options.runFolder / "mdns.d";
  std::filesystem::create_directories(folder);
  std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
  std::ofstream service(folder / "airplay.service");
  service << "name " << lineOf(product, kBrandKey) << ' ' << lineOf(product, kModelKey) << '\n'
          << "type _airplay._tcp\n"
          << "port " << kAirPlayPort << '\n'
          << "txt model=" << lineOf(product, kModelKey) << '\n'
          << "txt serialNumber=" << lineOf(product, kSerialKey) << '\n';
  if (!service.flush()) {
    throw std::runtime_error((folder / "airplay.service").string());
  }
  return folder;
}

void planMdnsd(LaunchPlan& plan, const SetOptions& options, const Product& product) {
  if (options.mdnsd.empty()) {
    return;
  }
  plan.program = options.mdnsd;
  plan.arguments = {"-n"};
  if (!options.interface.empty()) {
    plan.arguments.insert(plan.arguments.end(), {"-i", options.interface});
  }
  plan.arguments.insert(plan.arguments.end(),
                        {"-H", kHostName, writeServices(options, product).string()});
  if (!options.mdnsdLibraries.empty()) {
    plan.environment["LD_LIBRARY_PATH"] = options.mdnsdLibraries.string();
  }
}

void planDaemon(LaunchPlan& plan, const Faults& faults) {
  if (faults.value(fault::kDaemonHang) != 0) {
    plan.arguments.emplace_back("--hang");
  }
  if (faults.value(fault::kDaemonNeverReady) != 0) {
    plan.arguments.emplace_back("--never-ready");
  }
}

}  // namespace

LaunchPlan planLaunch(const std::string& process, const SetOptions& options, const Product& product,
                      const Faults& faults) {
  LaunchPlan plan;
  plan.program = options.standIns / process;
  plan.log = options.runFolder / (process + ".log");
  if (process == "mdnsd") {
    planMdnsd(plan, options, product);
  } else if (process == "airplaydemo") {
    planDaemon(plan, faults);
  }
  return plan;
}

}  // namespace benchtv
