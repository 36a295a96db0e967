#include "set/settings_store.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <optional>

namespace benchtv {
namespace {

constexpr int kBusyMillis = 200;

// Every text of a list ends with a NUL, which no text holds.
std::string bytesOf(const Value& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) {
    return std::to_string(*number);
  }
  if (const auto* text = std::get_if<std::string>(&value)) {
    return *text;
  }
  std::string bytes;
  for (const std::string& text : std::get<Texts>(value)) {
    bytes += text + '\0';
  }
  return bytes;
}

std::optional<Value> valueOf(const std::string& word, const std::string& bytes) {
  if (word == kindWord(Kind::kInteger)) {
    return parseValue(Kind::kInteger, bytes);
  }
  if (word == kindWord(Kind::kText)) {
    return bytes;
  }
  if (word != kindWord(Kind::kTexts)) {
    return std::nullopt;
  }
  Texts texts;
  for (std::size_t at = 0; at < bytes.size();) {
    texts.emplace_back(bytes.c_str() + at);
    at += texts.back().size() + 1;
  }
  return texts;
}

std::string columnBytes(sqlite3_stmt* statement, int column) {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
  return {bytes ? bytes : "", static_cast<std::size_t>(sqlite3_column_bytes(statement, column))};
}

void bindBytes(sqlite3_stmt* statement, int position, const std::string& bytes) {
  sqlite3_bind_blob64(statement, position, bytes.data(), bytes.size(), SQLITE_STATIC);
}

void bindWord(sqlite3_stmt* statement, int position, const std::string& word) {
  sqlite3_bind_text64(statement, position, word.data(), word.size(), SQLITE_STATIC, SQLITE_UTF8);
}

}  // namespace

void SettingsStore::Close::operator()(sqlite3* open) const { sqlite3_close(open); }
void SettingsStore::Close::operator()(sqlite3_stmt* open) const { sqlite3_finalize(open); }

SettingsStore::SettingsStore(const std::filesystem::path& stateFolder, const std::string& product)
    : folder(stateFolder) {
  std::error_code error;
  const bool made = std::filesystem::create_directories(folder, error);
  if (made) {
    std::filesystem::permissions(folder, std::filesystem::perms::owner_all, error);
  }
  if (error || access(folder.c_str(), W_OK | X_OK) != 0) {
    throw StoreError("the state folder " + folder.string() + " cannot be written (" +
                     (error ? error.message() : std::strerror(errno)) +
                     "): make it writable or choose another with --state");
  }

  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2((folder / "settings.db").c_str(), &opened,
                                   SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  database.reset(opened);
  if (code != SQLITE_OK) {
    fail(code);
  }
  sqlite3_busy_timeout(database.get(), kBusyMillis);
  // Exclusive: there is one owner, and a second one is told so.
  execute("PRAGMA locking_mode = EXCLUSIVE");
  execute("PRAGMA journal_mode = WAL");
  // In WAL mode this loses nothing that was committed, whatever becomes of the process.
  execute("PRAGMA synchronous = NORMAL");
  execute("CREATE TABLE IF NOT EXISTS owner (product TEXT NOT NULL)");
  execute(
      "CREATE TABLE IF NOT EXISTS setting "
      "(key TEXT PRIMARY KEY, kind TEXT NOT NULL, value BLOB NOT NULL) WITHOUT ROWID");
  claim(product);
  insert = prepare("INSERT OR REPLACE INTO setting (key, kind, value) VALUES (?1, ?2, ?3)");
}

SettingsStore::~SettingsStore() = default;

std::map<std::string, Value> SettingsStore::load() {
  std::map<std::string, Value> values;
  const Statement select = prepare("SELECT key, kind, value FROM setting");
  int code = SQLITE_ROW;
  while ((code = sqlite3_step(select.get())) == SQLITE_ROW) {
    const auto value = valueOf(columnBytes(select.get(), 1), columnBytes(select.get(), 2));
    if (value) {
      values[columnBytes(select.get(), 0)] = *value;
    }
  }
  if (code != SQLITE_DONE) {
    fail(code);
  }
  return values;
}

void SettingsStore::write(const std::string& key, const Value& value) {
  const std::string bytes = bytesOf(value);
  const std::string word = kindWord(kindOf(value));
  bindWord(insert.get(), 1, key);
  bindWord(insert.get(), 2, word);
  bindBytes(insert.get(), 3, bytes);
  const int code = sqlite3_step(insert.get());
  sqlite3_reset(insert.get());
  sqlite3_clear_bindings(insert.get());
  if (code != SQLITE_DONE) {
    fail(code);
  }
}

void SettingsStore::claim(const std::string& product) {
  const Statement select = prepare("SELECT product FROM owner");
  const int code = sqlite3_step(select.get());
  if (code == SQLITE_ROW) {
    const std::string owner = columnBytes(select.get(), 0);
    if (owner != product) {
      throw StoreError("the state folder " + folder.string() + " belongs to the product \"" +
                       owner + "\", not to \"" + product +
                       "\": remove it or choose another with --state");
    }
    return;
  }
  if (code != SQLITE_DONE) {
    fail(code);
  }
  const Statement add = prepare("INSERT INTO owner (product) VALUES (?1)");
  bindWord(add.get(), 1, product);
  if (sqlite3_step(add.get()) != SQLITE_DONE) {
    fail(sqlite3_errcode(database.get()));
  }
}

SettingsStore::Statement SettingsStore::prepare(const char* sql) {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v2(database.get(), sql, -1, &prepared, nullptr);
  if (code != SQLITE_OK) {
    fail(code);
  }
  return Statement(prepared);
}

void SettingsStore::execute(const char* sql) {
  const int code = sqlite3_exec(database.get(), sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) {
    fail(code);
  }
}

void SettingsStore::fail(int code) {
  const std::string file = (folder / "settings.db").string();
  switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      throw StoreError("the state folder " + folder.string() +
                       " is in use by another set: choose another with --state");
    case SQLITE_NOTADB:
    case SQLITE_CORRUPT:
      throw StoreError(file + " is no settings store (" + sqlite3_errstr(code) +
                       "): remove it or choose another folder with --state");
  }
  throw StoreError(file + ": " +
                   (database ? sqlite3_errmsg(database.get()) : sqlite3_errstr(code)));
}

}  // namespace benchtv
