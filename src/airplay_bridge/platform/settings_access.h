// The set's settings model, as the service calls it: a closed library of named values and actions.
//
// Declarations only; see csp_osal.h for who defines them.
//
// Status results: 0 = done, anything else is the library's error code. A call that fails leaves its
// out argument as it was. Calls may come from any thread, also at once, also from within a handler.
// Handlers run on a thread of the library's own, one at a time, never inside a call of the service.
#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

// The kinds of value.
namespace lomodelapi {

struct ObserverNumericInteger {
  using ValueType = int;  // 32 bits, signed
};

struct ObserverString {
  using ValueType = std::string;  // any bytes but NUL
};

struct ObserverVectorString {
  using ValueType = std::vector<std::string>;
};

}  // namespace lomodelapi

namespace norvale::system::access {

// A value of any kind, as handlers get it.
class ValueObject {
 public:
  explicit ValueObject(int value);
  explicit ValueObject(std::string value);
  explicit ValueObject(std::vector<std::string> value);

  // The integer; 0 for a value of another kind.
  int toInt() const;

  // The string, or an integer in decimal; empty for a list.
  std::string toString() const;

 private:
  std::variant<int, std::string, std::vector<std::string>> held;
};

// What an accessor calls on a change.
class ValueHandler {
 public:
  virtual ~ValueHandler() = default;

  // Called with the new value after each write of the key, by whomever, in the order of the writes.
  virtual void onValueChanged(const ValueObject& value) = 0;
};

// One key, opened. |Observer| is one of the kinds in lomodelapi. Opening never fails and does not
// touch the model: a key that does not exist shows when it is read.
template <class Observer>
class ValueAccessT {
 public:
  using ValueType = typename Observer::ValueType;

  explicit ValueAccessT(const std::string& key);

  // |handler| is called from the first successful connect() until the accessor is destroyed. The
  // destructor returns when no call of the handler is under way, unless it runs within one.
  ValueAccessT(const std::string& key, const std::shared_ptr<ValueHandler>& handler);

  ~ValueAccessT();
  ValueAccessT(const ValueAccessT&) = delete;
  ValueAccessT& operator=(const ValueAccessT&) = delete;

  // Reads the value that the model holds now.
  int get(ValueType& value);

  // Writes; on return with 0 the model has the value and will still have it after a power cut.
  int set(const ValueType& value);

  // Starts observing: from now on changes reach the handler. Waits for the model at most
  // |timeoutMs| milliseconds. A second connect of the same accessor does nothing and returns 0.
  int connect(int timeoutMs);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation;
};

extern template class ValueAccessT<lomodelapi::ObserverNumericInteger>;
extern template class ValueAccessT<lomodelapi::ObserverString>;
extern template class ValueAccessT<lomodelapi::ObserverVectorString>;

// What an action reports.
class ActionHandler {
 public:
  virtual ~ActionHandler() = default;

  // The action was carried out.
  virtual void onActionResult(const ValueObject& result) = 0;

  // It was not: |status| is the library's error code.
  virtual void onActionFailed(int status) = 0;
};

// One argument of an action.
struct ActionArgument {
  enum class Type { kText = 3 };

  Type type;
  std::string text;
};

// One action, opened. Its outcome goes to the handler, on the library's thread.
class ActionAccess {
 public:
  ActionAccess(const std::string& key, const std::shared_ptr<ActionHandler>& handler);
  ~ActionAccess();
  ActionAccess(const ActionAccess&) = delete;
  ActionAccess& operator=(const ActionAccess&) = delete;

  // Has the action carried out. Returns once the model has taken it on, with its status, and with 0
  // also in |result|, which is left as it was on failure; onActionResult() or onActionFailed()
  // follows.
  int invoke(const std::vector<ActionArgument>& arguments, int& result);

 private:
  class Implementation;
  std::unique_ptr<Implementation> implementation;
};

}  // namespace norvale::system::access
