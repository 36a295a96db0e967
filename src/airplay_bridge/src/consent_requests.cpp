#include "consent_requests.h"

#include <memory>
#include <utility>

namespace norvale {

struct ConsentRequests::Arrival {
  std::string id;
  std::string para;
  Arrival* next;
};

ConsentRequests::~ConsentRequests() { fileArrivals(); }

void ConsentRequests::add(const std::string& id, const std::string& para) {
  auto* arrival = new Arrival{id, para, arrivals.load(std::memory_order_relaxed)};
  while (!arrivals.compare_exchange_weak(arrival->next, arrival, std::memory_order_release,
                                         std::memory_order_relaxed)) {
  }
}

std::optional<std::string> ConsentRequests::find(const std::string& id) {
  fileArrivals();
  const auto found = pending.find(id);
  return found == pending.end() ? std::nullopt : std::optional(found->second);
}

void ConsentRequests::remove(const std::string& id) {
  fileArrivals();
  pending.erase(id);
}

void ConsentRequests::fileArrivals() {
  Arrival* newest = arrivals.exchange(nullptr, std::memory_order_acquire);

  // Oldest first, so that the first of two with one id is the one that stays.
  Arrival* oldest = nullptr;
  while (newest != nullptr) {
    Arrival* const next = newest->next;
    newest->next = oldest;
    oldest = newest;
    newest = next;
  }
  while (oldest != nullptr) {
    const std::unique_ptr<Arrival> arrival(oldest);
    oldest = arrival->next;
    pending.emplace(std::move(arrival->id), std::move(arrival->para));
  }
}

}  // namespace norvale
