// ConsentRequests: the sessions that wait for the viewer's consent.
#pragma once

#include <atomic>
#include <map>
#include <optional>
#include <string>

namespace norvale {

// Handed from the thread that adds to the thread that takes, without a lock and without a race:
//
// - add() puts the request on a stack of arrivals, with one compare-and-swap. Any thread may add.
// - find() and remove() first empty that stack with one exchange, which makes everything in it the
//   taker's own, and file it in a map that nobody else touches. There they look the id up. One
//   thread takes; it is the one on which the application manager's answers arrive.
// - A stack that is only ever emptied whole has no node that comes back, so no ABA.
// - The exchange reads the newest head. So an id whose add() has returned before it was made known
//   to the UI is found by the answer that follows.
//
// Requests that nobody answers stay for the life of the process.
class ConsentRequests {
 public:
  ConsentRequests() = default;
  ~ConsentRequests();
  ConsentRequests(const ConsentRequests&) = delete;
  ConsentRequests& operator=(const ConsentRequests&) = delete;

  // Remembers the start parameter |para| under |id|; of two pending requests with one id the first
  // stays.
  void add(const std::string& id, const std::string& para);

  // The parameter of |id|; nothing for an id that is not pending.
  std::optional<std::string> find(const std::string& id);

  // Forgets |id|, so that it is good once.
  void remove(const std::string& id);

 private:
  struct Arrival;

  void fileArrivals();

  std::atomic<Arrival*> arrivals{nullptr};     // newest first
  std::map<std::string, std::string> pending;  // the taker's own
};

}  // namespace norvale
