// ValueHandlerT: a settings change handler that calls a member function.
#pragma once

#include "settings_access.h"

namespace norvale {

// |owner|, not owned, must outlive the accessor that holds this.
template <class Owner>
class ValueHandlerT : public system::access::ValueHandler {
 public:
  using Method = void (Owner::*)(const system::access::ValueObject& value);

  ValueHandlerT(Owner* newOwner, Method newMethod) : owner(newOwner), method(newMethod) {}

  void onValueChanged(const system::access::ValueObject& value) override {
    (owner->*method)(value);
  }

 private:
  Owner* const owner;
  const Method method;
};

}  // namespace norvale
