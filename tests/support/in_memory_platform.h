// InMemoryTv::Platform: a call of a platform function, under way.
//
// Each function of the closed libraries makes one, which finds the living InMemoryTv or ends the
// process, and calls the operation of its own name. Private to the in_memory_*.cpp files.
#pragma once

#include <boost/shared_ptr.hpp>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app_manager_client.h"
#include "gam_client.h"
#include "in_memory_tv.h"
#include "settings_access.h"

class InMemoryTv::Platform {
 public:
  explicit Platform(const char* function);
  ~Platform();
  Platform(const Platform&) = delete;
  Platform& operator=(const Platform&) = delete;

  static bool isThere();
  // A platform function is under way on this thread: no callback may start.
  static bool isInCall();
  [[noreturn]] static void die(const std::string& complaint);
  // Ends the process when |verb| of a test comes inside a call of the service.
  static void requireOutsideCall(const char* verb);

  // Writes an entry that has neither state nor result.
  void note(const std::string& entry) { tv.record.add(entry); }

  bool isWanted(int lineLevel) const { return lineLevel <= tv.level; }
  void writeLine(int lineLevel, const std::string& line);

  void openAccessor(const std::string& key, const void* accessor,
                    std::shared_ptr<norvale::system::access::ValueHandler> handler);
  void closeAccessor(const std::string& key, const void* accessor);
  // Null for a value when the status is not 0.
  std::pair<int, std::optional<Value>> read(const std::string& key, std::size_t kind);
  int write(const std::string& key, const Value& value);
  int connect(const std::string& key, const void* accessor, int timeoutMs);
  int invoke(const std::string& key, const Texts& texts,
             std::shared_ptr<norvale::system::access::ActionHandler> handler);

  int init(const GAM_Callbacks* callbacks, const char* name);
  int send(const GAM_Message* message);
  int inject(const GAM_KeyEvent* event, int size);
  int uninit();

  bool hasAppManager();
  int registerApp(const std::string& name,
                  const boost::shared_ptr<nv::appmanager::AppInterface>& callbacks);
  int unregisterApp(const std::string& name);
  int setAppStatus(const std::string& name, int status);
  int sendMessage(const std::string& source, const std::string& target, const std::string& message);

  int pidOf(const std::string& name);

 private:
  int appManagerStatus() const;

  InMemoryTv& tv;
};

// A value as the history shows it.
std::string describe(const InMemoryTv::Value& value);
