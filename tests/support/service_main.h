// The service's entry point, as add_service_test() links it.
#pragma once

// main() of the service, renamed in its object file; hands over to cspliceMain() at once. Ends with
// quick_exit(0) or never: call it through runToItsEnd(), or end its loop by VirtualLibc::endAt().
extern "C" int airplay_bridge_main(int argc, char** argv);
