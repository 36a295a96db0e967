// Settings: the set's settings model.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "model/product.h"
#include "model/value.h"
#include "set/faults.h"
#include "set/journal.h"
#include "set/outlet.h"
#include "set/settings_store.h"

namespace benchtv {

// Who writes, for the journal. Faults apply to the service alone.
enum class Writer { kService, kSet, kBench };

// A status is 0 or a negated errno (-ENOENT no such key, -EINVAL a value of another kind), or what
// a fault says.
class Settings {
 public:
  // What was written in an earlier life of the set wins over what the product says.
  Settings(const Product& product, SettingsStore& store, const Faults& faults, Journal& journal,
           IOutlet& outlet);

  // As the service reads: faults apply. |value| is left alone on failure.
  int read(const std::string& key, Value& value) const;

  // The value is in the store, and in the journal, before this returns; observers hear of it then.
  int write(const std::string& key, const Value& value, Writer writer);

  int observe(const std::string& key, const std::string& client);
  int invoke(const std::string& key, const std::string& client, const Texts& texts);

  // Null where the key does not exist or the product leaves it out. No fault applies.
  const Value* find(const std::string& key) const;

  void clientGone(const std::string& client);

  // Called with the key after each observe() that succeeded.
  void whenObserved(std::function<void(const std::string& key)> handler) {
    observed = std::move(handler);
  }

 private:
  int carryOut(const Texts& texts);

  std::map<std::string, Value> values;
  std::map<std::string, std::vector<std::string>> observers;  // in the order of observing
  SettingsStore& store;
  const Faults& faults;
  Journal& journal;
  IOutlet& outlet;
  std::function<void(const std::string&)> observed = [](const std::string&) {};
};

}  // namespace benchtv
