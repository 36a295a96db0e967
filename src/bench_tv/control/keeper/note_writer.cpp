#include "control/keeper/note_writer.h"

#include <bus_protocol/bus_names.h>
#include <sdbus-c++/sdbus-c++.h>
#include <unistd.h>

#include <cstdio>

#include "bus_protocol/Control1_proxy.h"

namespace benchtv {

namespace {

using namespace std::chrono_literals;

constexpr auto kRetry = 20ms;
constexpr auto kAnswer = 5s;

class Control final : public sdbus::ProxyInterfaces<::tv::benchtv::Control1_proxy> {
 public:
  explicit Control(sdbus::IConnection& connection)
      : ProxyInterfaces(connection, kSetName, kSetPath) {
    registerProxy();
  }
  ~Control() { unregisterProxy(); }
};

// True when the set has the note, or never will.
bool isSettled(const sdbus::Error& error) {
  static constexpr const char* kNobodyThere[] = {
      "org.freedesktop.DBus.Error.ServiceUnknown", "org.freedesktop.DBus.Error.NameHasNoOwner",
      "org.freedesktop.DBus.Error.Disconnected", "org.freedesktop.DBus.Error.NoReply",
      "org.freedesktop.DBus.Error.UnknownObject"};
  for (const char* name : kNobodyThere) {
    if (error.getName() == name) {
      return false;
    }
  }
  static constexpr std::string_view kOfTheConnection = "System.Error.";
  return error.getName().compare(0, kOfTheConnection.size(), kOfTheConnection) != 0;
}

}  // namespace

NoteWriter::NoteWriter(std::string busAddress, int whenReachable)
    : address(std::move(busAddress)), reachableEvent(whenReachable) {
  // Detached: it may hang in a call when the keeper ends, which then does not wait for it.
  std::thread([this] { run(); }).detach();
}

void NoteWriter::note(std::string kind, Fields fields) {
  const std::lock_guard lock(mutex);
  queue.push_back({std::move(kind), std::move(fields)});
  changed.notify_all();
}

bool NoteWriter::flush(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex);
  return changed.wait_for(lock, patience, [this] { return queue.empty(); });
}

void NoteWriter::run() {
  while (true) {
    {
      std::unique_lock lock(mutex);
      changed.wait(lock, [this] { return !queue.empty(); });
    }
    try {
      deliver();
    } catch (const std::exception&) {
      // No bus or no set: both may be there in a moment.
    }
    std::this_thread::sleep_for(kRetry);
  }
}

// Hands over notes as they come, until the set or the bus is gone. The connection stays, so that a
// note is in the journal before what the process that it is about can do.
void NoteWriter::deliver() {
  const auto connection = sdbus::createSessionBusConnectionWithAddress(address);
  connection->setMethodCallTimeout(kAnswer);
  Control control(*connection);

  std::unique_lock lock(mutex);
  while (true) {
    changed.wait(lock, [this] { return !queue.empty(); });
    const Note note = queue.front();
    lock.unlock();
    try {
      control.Note(note.kind, note.fields);
    } catch (const sdbus::Error& error) {
      if (!isSettled(error)) {
        return;
      }
      std::fprintf(stderr, "the set did not take a note of kind %s: %s: %s\n", note.kind.c_str(),
                   error.getName().c_str(), error.getMessage().c_str());
    }
    lock.lock();
    queue.pop_front();
    changed.notify_all();
    if (queue.empty() && !std::exchange(reachable, true)) {
      const std::uint64_t one = 1;
      (void)!write(reachableEvent, &one, sizeof(one));
    }
  }
}

}  // namespace benchtv
