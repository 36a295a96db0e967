// SystemAPMGetter: how the application-manager link reaches the set's application-manager client.
#pragma once

namespace nv::apmclient {
class AppManagerClient;
}

namespace norvale {

class SystemAPMGetter {
 public:
  // The client, owned by its library, or null while there is none. Ask anew for each use.
  virtual nv::apmclient::AppManagerClient* getAppManagerClient() = 0;

 protected:
  ~SystemAPMGetter() = default;
};

}  // namespace norvale
