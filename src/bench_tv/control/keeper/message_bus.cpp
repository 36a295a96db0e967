#include "control/keeper/message_bus.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace benchtv {

namespace {

constexpr char kSystemLog[] = "/run/systemd/journal/socket";

// Everything is allowed: who gets at the socket at all may do what they like. The limits are wide,
// so that what a test sends in bulk, or a client that reads nothing for 21 s, hits none.
constexpr char kConfiguration[] =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-BUS Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>systemd:</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow own="*"/>
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
  </policy>
  <limit name="max_message_size">134217728</limit>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_replies_per_connection">100000</limit>
  <limit name="max_match_rules_per_connection">100000</limit>
  <limit name="max_names_per_connection">10000</limit>
  <limit name="max_completed_connections">10000</limit>
  <limit name="max_connections_per_user">10000</limit>
</busconfig>
)";

}  // namespace

std::vector<std::string> busCommand(BusKind kind, const RunFolder& run) {
  switch (kind) {
    case BusKind::kDaemon:
      return {"dbus-daemon", "--config-file=" + run.busConfiguration().native(), "--nofork",
              "--nopidfile", "--nosyslog"};
    case BusKind::kBroker:
      return {"dbus-broker-launch", "--scope", "user", "--config-file", run.busConfiguration()};
  }
  return {};
}

void writeBusConfiguration(const RunFolder& run) {
  std::ofstream out(run.busConfiguration());
  out << kConfiguration;
  out.close();
  if (!out) {
    throw std::runtime_error("cannot write " + run.busConfiguration().native());
  }
}

FileDescriptor listenForBus(const RunFolder& run) {
  return boundSocket(run.busSocket(), SOCK_STREAM);
}

FileDescriptor offerSystemLog() {
  if (std::filesystem::exists(kSystemLog)) {
    return {};
  }
  std::filesystem::create_directories(std::filesystem::path(kSystemLog).parent_path());
  return boundSocket(kSystemLog, SOCK_DGRAM);
}

FileDescriptor boundSocket(const std::string& path, int type) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);

  std::error_code notThere;
  std::filesystem::remove(path, notThere);
  FileDescriptor socket(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (!socket.isOpen() ||
      bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      (type == SOCK_STREAM && listen(socket.get(), SOMAXCONN) != 0)) {
    throw std::system_error(errno, std::generic_category(), "cannot listen on " + path);
  }
  return socket;
}

}  // namespace benchtv
