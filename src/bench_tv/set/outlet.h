// Outlet: the way out of the set to the clients on its bus.
#pragma once

#include <cstdint>
#include <string>

#include "model/value.h"
#include "set/record.h"

namespace benchtv {

// Everything goes to one |client|, a bus name, in the order of the calls, and after the answer to
// the call that is being handled. None of it fails: a client that has gone gets nothing.
class IOutlet {
 public:
  virtual ~IOutlet() = default;

  virtual void changed(const std::string& client, const std::string& key, const Value& value) = 0;
  virtual void actionDone(const std::string& client, const std::string& key, int status) = 0;
  virtual void delivered(const std::string& client, int type, bool synchronous,
                         const Record& record) = 0;
  virtual void availableChanged(const std::string& client, bool available) = 0;
  virtual void callback(const std::string& client, std::uint64_t id, const std::string& app,
                        const std::string& operation, const Texts& texts, int reason) = 0;
};

}  // namespace benchtv
