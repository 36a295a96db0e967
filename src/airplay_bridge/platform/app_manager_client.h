// The client of the set's application manager, as the service calls it: a closed library.
//
// Declarations only; see csp_osal.h for who defines them.
//
// Calls may come from any thread, also at once, also from within a callback. Callbacks run on a
// thread of the library's own, one at a time; one that blocks delays the next.
#pragma once

#include <boost/shared_ptr.hpp>
#include <string>

struct GAM_KeyEvent;  // gam_client.h

namespace nv::appmanager {

// What the application manager calls on an application. The order of the operations is the set's:
// with the two entries of the virtual destructor the table has 23. Results go back to the
// application manager, which logs them. Texts may hold any byte but NUL.
class AppInterface {
 public:
  virtual ~AppInterface() = default;

  virtual int onRunning(const std::string& appUrl, const std::string& param) = 0;
  virtual int onDestroy(const std::string& appUrl, const std::string& param) = 0;
  virtual int onSuspend(const std::string& appUrl, const std::string& param) = 0;
  virtual int reserved1() = 0;
  virtual int reserved2() = 0;
  virtual int reserved3() = 0;

  // Suspend to RAM and resume: |reason| 2 is the one that the service acts upon.
  virtual int onSTRSuspending(const std::string& appUrl, int reason) = 0;
  virtual int onSTRSuspend(const std::string& appUrl, int reason) = 0;
  virtual int onSTRResume(const std::string& appUrl, int reason) = 0;
  virtual int onSTRResuming(const std::string& appUrl, int reason) = 0;
  virtual int reserved4() = 0;
  virtual int reserved5() = 0;
  virtual int reserved6() = 0;
  virtual int reserved7() = 0;
  virtual int reserved8() = 0;

  // A message |msg| from the application |src| to |dst|.
  virtual int notifyAppEventMessage(const std::string& src, const std::string& dst,
                                    const std::string& msg) = 0;

  // A key of the remote control; the record is good for the call only.
  virtual int onKeyEvent(const GAM_KeyEvent& key) = 0;
  virtual std::string reservedText() = 0;
  virtual int reserved9() = 0;
  virtual int reserved10() = 0;
  virtual int reserved11() = 0;
};

}  // namespace nv::appmanager

namespace nv::apmclient {

// Status results: 0 = done. The service examines none.
class AppManagerClient {
 public:
  // The process's client, owned by the library, or null while there is no application manager.
  // Cheap, never blocks; any thread. The object stays valid for the life of the process.
  static AppManagerClient* getInstance();

  // From now on |callbacks| gets the callbacks of the application |name|; the library shares the
  // ownership until unregisterApp(). When the application is known, it gets the event message
  // "register_ok".
  virtual int registerApp(const std::string& name,
                          const boost::shared_ptr<nv::appmanager::AppInterface>& callbacks) = 0;

  // No callback for |name| starts after it has returned.
  virtual int unregisterApp(const std::string& name) = 0;

  // Records the state of the application: 1 started, 2 paused, 4 stopped, 8 suspend to RAM.
  virtual int setAppStatus(const std::string& name, int status) = 0;

  // Delivers |message| to the application |target|, as its event message from |source|.
  virtual int sendMessage(const std::string& source, const std::string& target,
                          const std::string& message) = 0;

 protected:
  ~AppManagerClient() = default;
};

}  // namespace nv::apmclient
