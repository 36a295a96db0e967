// MessageBus: the private bus that the keeper starts: dbus-daemon or dbus-broker.
#pragma once

#include <string>
#include <vector>

#include "control/file_descriptor.h"
#include "control/run_folder.h"

namespace benchtv {

enum class BusKind { kDaemon, kBroker };

// The command that starts the bus. It takes over a socket from listenForBus().
std::vector<std::string> busCommand(BusKind kind, const RunFolder& run);

// Writes what the bus reads at its start. Throws std::runtime_error.
void writeBusConfiguration(const RunFolder& run);

// A fresh listening socket in place of one that may be there from an earlier bus. Clients can
// connect from now on, and are served once the bus runs. Throws std::system_error.
FileDescriptor listenForBus(const RunFolder& run);

// dbus-broker-launch runs only where it finds a socket of the system's log. Makes one where there
// is none and the place is private; what arrives there is lost. Throws std::system_error.
FileDescriptor offerSystemLog();

// A listening or, for datagrams, bound socket at |path|. Throws std::system_error.
FileDescriptor boundSocket(const std::string& path, int type);

}  // namespace benchtv
