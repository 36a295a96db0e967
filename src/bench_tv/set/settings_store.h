// SettingsStore: the settings that were ever written, in SQLite.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "model/value.h"

struct sqlite3;
struct sqlite3_stmt;

namespace benchtv {

// The text says what to do.
struct StoreError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// One owner at a time. A write that has returned survives any end of the process; a power cut of
// the desk itself may take back the last ones.
class SettingsStore {
 public:
  // Opens or makes settings.db in |folder|, which is made too. Throws StoreError when the folder
  // cannot be written, belongs to another product or is in use by another set.
  SettingsStore(const std::filesystem::path& folder, const std::string& product);
  ~SettingsStore();
  SettingsStore(const SettingsStore&) = delete;
  SettingsStore& operator=(const SettingsStore&) = delete;

  // All that was ever written, by key. Throws StoreError.
  std::map<std::string, Value> load();

  // Throws StoreError.
  void write(const std::string& key, const Value& value);

 private:
  struct Close {
    void operator()(sqlite3* database) const;
    void operator()(sqlite3_stmt* statement) const;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  Statement prepare(const char* sql);
  void execute(const char* sql);
  void claim(const std::string& product);
  [[noreturn]] void fail(int code);

  std::filesystem::path folder;
  std::unique_ptr<sqlite3, Close> database;
  Statement insert;
};

}  // namespace benchtv
