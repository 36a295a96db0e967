// BusFront: the set's four interfaces on the private bus.
#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "set/outlet.h"

namespace sdbus {
class IConnection;
class IProxy;
}  // namespace sdbus

namespace benchtv {

class TvSet;
class SetObject;

// One thread, the set's. The connection may go and come back; with it go all clients.
class BusFront : public IOutlet {
 public:
  explicit BusFront(std::string address);
  ~BusFront() override;

  // Takes the set's name on the bus and serves |set| from then on. Throws std::runtime_error with a
  // text that says what to do.
  void connect(TvSet& set);
  bool isConnected() const { return connection != nullptr; }

  // What to poll for, and for how many milliseconds at most (-1: for ever).
  struct Wait {
    int descriptor;
    short events;
    int millis;
  };
  Wait wait() const;

  // Handles what has come in, and sends what the set had to say. After a loss of the connection it
  // is no longer connected.
  void process();

  // IOutlet:
  void changed(const std::string& client, const std::string& key, const Value& value) override;
  void actionDone(const std::string& client, const std::string& key, int status) override;
  void delivered(const std::string& client, int type, bool synchronous,
                 const Record& record) override;
  void availableChanged(const std::string& client, bool available) override;
  void callback(const std::string& client, std::uint64_t id, const std::string& app,
                const std::string& operation, const Texts& texts, int reason) override;

 private:
  friend class SetObject;

  // Remembers |client| until it leaves the bus. Throws sdbus::Error when it is not there.
  void expect(const std::string& client);
  void gone(const std::string& client);
  void disconnect();
  void flush();

  std::string address;
  TvSet* set = nullptr;  // not owned
  std::unique_ptr<sdbus::IConnection> connection;
  std::unique_ptr<sdbus::IProxy> daemon;  // the bus itself
  std::unique_ptr<SetObject> object;
  std::set<std::string> clients;
  std::vector<std::function<void(SetObject&)>> outbox;
};

}  // namespace benchtv
