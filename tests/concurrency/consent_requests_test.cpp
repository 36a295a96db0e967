// Consent requests, added on one thread and answered on another, as fast as both can.
#include "consent_requests.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using norvale::ConsentRequests;

namespace {

constexpr int kRequests = 20000;

std::string idOf(int number) { return "BRIDGE-" + std::to_string(number); }
std::string paraOf(int number) { return "AirPlayApp cwd=/" + std::to_string(number); }

// As the service does it: what has been published must be there.
TEST(ConsentRequestsUnderTwoThreads, HoldEveryIdFromItsPublicationUntilItsRemoval) {
  ConsentRequests requests;
  std::atomic<int> published{0};
  std::thread daemon([&] {
    for (int number = 0; number < kRequests; ++number) {
      requests.add(idOf(number), paraOf(number));
      published.store(number + 1, std::memory_order_release);
    }
  });

  int wrong = 0;
  for (int number = 0; number < kRequests; ++number) {
    while (published.load(std::memory_order_acquire) <= number) {
      std::this_thread::yield();
    }
    wrong += requests.find(idOf(number)) != paraOf(number);
    requests.remove(idOf(number));
    wrong += requests.find(idOf(number)) != std::nullopt;
  }
  daemon.join();

  EXPECT_EQ(wrong, 0);
}

// Nothing but the requests themselves orders the two threads, so nothing hides a race in them.
TEST(ConsentRequestsUnderTwoThreads, AreFoundByGuessingToo) {
  ConsentRequests requests;
  std::thread daemon([&] {
    for (int number = 0; number < kRequests; ++number) {
      requests.add(idOf(number), paraOf(number));
    }
  });

  int wrong = 0;
  for (int number = 0; number < kRequests;) {
    if (const auto para = requests.find(idOf(number))) {
      wrong += *para != paraOf(number);
      requests.remove(idOf(number));
      ++number;
    }
  }
  daemon.join();

  EXPECT_EQ(wrong, 0);
}

TEST(ConsentRequestsUnderTwoThreads, LoseNothingWhenManyThreadsAdd) {
  constexpr int kThreads = 4;
  ConsentRequests requests;
  std::vector<std::thread> daemons;
  daemons.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    daemons.emplace_back([&requests, thread] {
      for (int number = thread; number < kRequests; number += kThreads) {
        requests.add(idOf(number), paraOf(number));
      }
    });
  }

  // Looks while they add.
  for (int number = 0; number < kRequests; ++number) {
    (void)requests.find(idOf(number));
  }
  for (std::thread& daemon : daemons) {
    daemon.join();
  }

  int wrong = 0;
  for (int number = 0; number < kRequests; ++number) {
    wrong += requests.find(idOf(number)) != paraOf(number);
  }
  EXPECT_EQ(wrong, 0);
}

// Half of them have been filed when they go, half have not.
TEST(ConsentRequestsUnderTwoThreads, MayGoWithMuchInThem) {
  ConsentRequests requests;
  std::thread daemon([&] {
    for (int number = 0; number < kRequests; ++number) {
      requests.add(idOf(number), paraOf(number));
    }
  });
  (void)requests.find(idOf(0));
  daemon.join();
}

}  // namespace
