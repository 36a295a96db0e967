// benchtv: the command line of the bench TV, a thin skin over BenchTv.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <iostream>

#include "control/bench_tv.h"
#include "control/cli/commands.h"

namespace {

constexpr char kDescription[] = R"(A simulated television for desks, with the real service on it.

Exit status: 0 done, 1 failed, 2 wrong usage, 3 timed out, 4 the service ended by itself.)";

constexpr char kFooter[] = R"(Examples:
  benchtv up                               boot the default product
  benchtv up --product factory --name b    a second set, in factory mode
  benchtv events --follow                  everything that happens, in order
  benchtv wait 'kind=bus cmd=start' --timeout 5
  benchtv down
)";

enum ExitStatus { kDone = 0, kFailed = 1, kUsage = 2, kTimedOut = 3, kServiceEnded = 4 };

int failWith(ExitStatus status, const std::exception& error) {
  std::cerr << "benchtv: " << error.what() << "\n";
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  CLI::App app{kDescription, "benchtv"};
  std::string name = "tv";
  try {
    app.footer(kFooter);
    app.require_subcommand(1);
    app.fallthrough();
    app.add_option("--name", name, "Which bench TV; several can be up at once")
        ->capture_default_str();
    benchtv::addCommands(app, name);
    app.parse(argc, argv);
    return kDone;
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const CLI::RuntimeError& failure) {
    return failure.get_exit_code();
  } catch (const CLI::ParseError& error) {
    (void)app.exit(error);
    return kUsage;
  } catch (const benchtv::UsageError& error) {
    return failWith(kUsage, error);
  } catch (const benchtv::TimedOut& error) {
    return failWith(kTimedOut, error);
  } catch (const benchtv::ServiceEnded& error) {
    return failWith(kServiceEnded, error);
  } catch (const std::exception& error) {
    return failWith(kFailed, error);
  }
}
